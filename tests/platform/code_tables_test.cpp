// Holds the tables against the C library's converters, with code of its own.
#include <iconv.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "platform/text_sniffing.h"

namespace jv::sniffing {
namespace {

/// Whether @p text is a whole character to @p converter, and no user-defined one.
bool accepts(iconv_t converter, std::string text) {
  char32_t decoded[16];
  char* source = text.data();
  char* target = reinterpret_cast<char*>(decoded);
  std::size_t left = text.size();
  std::size_t room = sizeof decoded;
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  if (iconv(converter, &source, &left, &target, &room) == static_cast<std::size_t>(-1) || left != 0) return false;
  iconv(converter, nullptr, nullptr, &target, &room);
  return room == sizeof decoded - sizeof(char32_t) && !(decoded[0] >= 0xE000 && decoded[0] <= 0xF8FF);
}

struct Form {
  const char* converter;
  std::uint32_t encoding;
  std::string before;  // the pair
  bool exact;          // the encoding holds what the converter holds and nothing else
};

char byte(unsigned value) { return static_cast<char>(value); }

TEST(CodeTables, HoldWhatTheConvertersHold) {
  std::vector<Form> forms = {
      {"EUC-JP", 0x0920, "", false},
      {"EUC-JISX0213", 0x0920, "\x8F", false},
      {"CP932", 0x0001, "", false},
      {"BIG5", 0x0A03, "", false},
      {"EUC-KR", 0x0940, "", true},
      {"UHC", 0x0003, "", false},
      {"EUC-CN", 0x0930, "", true},
      {"GBK", 0x0019, "", false},
      {"EUC-TW", 0x0931, "", true},
      {"ISO-2022-JP", 0x0820, "\x1B$B", false},
      {"ISO-2022-JP-2", 0x0820, "\x1B$(D", true},
      {"ISO-2022-JP-3", 0x0820, "\x1B$(O", false},
      {"ISO-2022-KR", 0x0840, "\x1B$)C\x0E", true},
  };
  for (unsigned plane = 0xA1; plane <= 0xB0; ++plane) {
    forms.push_back({"EUC-TW", 0x0931, std::string("\x8E") + byte(plane), true});
  }
  for (const Form& form : forms) {
    SCOPED_TRACE(form.converter);
    const iconv_t converter = iconv_open("UTF-32LE", form.converter);
    if (converter == reinterpret_cast<iconv_t>(-1)) continue;  // not every machine has all of them
    const bool has7Bits = form.before.starts_with('\x1B');
    unsigned held = 0;
    for (unsigned lead = has7Bits ? 0x21 : 0x81; lead <= (has7Bits ? 0x7E : 0xFE); ++lead) {
      for (unsigned trail = has7Bits ? 0x21 : 0x40; trail <= (has7Bits ? 0x7E : 0xFE); ++trail) {
        const std::string text = form.before + byte(lead) + byte(trail);
        const bool accepted = accepts(converter, text);
        const bool isCharacter = sniffed(form.encoding, bytesOf(text)) == Counts{0, 1};
        held += accepted ? 1 : 0;
        ASSERT_TRUE(accepted == isCharacter || (isCharacter && !form.exact)) << std::hex << lead << ' ' << trail;
      }
    }
    EXPECT_TRUE(held > 60 || form.before.starts_with('\x8E')) << "only planes may be empty";
    iconv_close(converter);
  }
}

}  // namespace
}  // namespace jv::sniffing
