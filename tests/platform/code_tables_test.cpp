// Holds the tables against the C library's converters, with code of its own.
#include <iconv.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "platform/text_sniffing.h"

namespace jv::sniffing {
namespace {

/// Whether @p text is whole and valid for @p converter, and no part of it is user-defined.
bool accepts(iconv_t converter, std::string text) {
  char32_t decoded[16];
  char* source = text.data();
  char* target = reinterpret_cast<char*>(decoded);
  std::size_t left = text.size();
  std::size_t room = sizeof decoded;
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  if (iconv(converter, &source, &left, &target, &room) == static_cast<std::size_t>(-1) || left != 0) return false;
  iconv(converter, nullptr, nullptr, &target, &room);
  const std::u32string_view characters(decoded, (sizeof decoded - room) / sizeof(char32_t));
  return std::ranges::none_of(characters, [](char32_t c) { return c >= 0xE000 && c <= 0xF8FF; });
}

struct Form {
  const char* converter;
  std::uint32_t encoding;
  std::string before;  // the pair
  std::string after;
  unsigned firstLead, lastLead;
  unsigned firstTrail, lastTrail;
  bool exact;  // the encoding holds what the converter holds and nothing else
};

char byte(unsigned value) { return static_cast<char>(value); }

TEST(CodeTables, HoldWhatTheConvertersHold) {
  std::vector<Form> forms = {
      {"EUC-JP", 0x0920, "", "", 0xA1, 0xFE, 0xA1, 0xFE, false},
      {"EUC-JP", 0x0920, "", "", 0x8E, 0x8E, 0xA1, 0xFE, true},
      {"EUC-JISX0213", 0x0920, "\x8F", "", 0xA1, 0xFE, 0xA1, 0xFE, false},
      {"CP932", 0x0001, "", "", 0x81, 0x9F, 0x40, 0xFC, false},
      {"CP932", 0x0001, "", "", 0xE0, 0xFC, 0x40, 0xFC, false},
      {"BIG5", 0x0A03, "", "", 0xA1, 0xFE, 0x40, 0xFE, false},
      {"EUC-KR", 0x0940, "", "", 0xA1, 0xFE, 0xA1, 0xFE, true},
      {"UHC", 0x0003, "", "", 0x81, 0xFE, 0x41, 0xFE, false},
      {"EUC-CN", 0x0930, "", "", 0xA1, 0xFE, 0xA1, 0xFE, true},
      {"GBK", 0x0019, "", "", 0x81, 0xFE, 0x40, 0xFE, false},
      {"EUC-TW", 0x0931, "", "", 0xA1, 0xFE, 0xA1, 0xFE, true},
      {"ISO-2022-JP", 0x0820, "\x1B$B", "\x1B(B", 0x21, 0x7E, 0x21, 0x7E, false},
      {"ISO-2022-JP-2", 0x0820, "\x1B$(D", "\x1B(B", 0x21, 0x7E, 0x21, 0x7E, true},
      {"ISO-2022-JP-3", 0x0820, "\x1B$(O", "\x1B(B", 0x21, 0x7E, 0x21, 0x7E, false},
      {"ISO-2022-KR", 0x0840, "\x1B$)C\x0E", "\x0F", 0x21, 0x7E, 0x21, 0x7E, true},
  };
  for (unsigned plane = 0xA1; plane <= 0xB0; ++plane) {
    forms.push_back({"EUC-TW", 0x0931, std::string("\x8E") + byte(plane), "", 0xA1, 0xFE, 0xA1, 0xFE, true});
  }
  for (const Form& form : forms) {
    SCOPED_TRACE(form.converter);
    const iconv_t converter = iconv_open("UTF-32LE", form.converter);
    if (converter == reinterpret_cast<iconv_t>(-1)) continue;  // not every machine has all of them
    unsigned held = 0;
    for (unsigned lead = form.firstLead; lead <= form.lastLead; ++lead) {
      for (unsigned trail = form.firstTrail; trail <= form.lastTrail; ++trail) {
        const std::string text = form.before + byte(lead) + byte(trail) + form.after;
        const bool accepted = accepts(converter, text);
        const bool isCharacter = sniffed(form.encoding, bytesOf(text)) == Counts{0, 1};
        held += accepted ? 1 : 0;
        const bool agreed = form.exact ? accepted == isCharacter : !accepted || isCharacter;
        ASSERT_TRUE(agreed) << std::hex << lead << ' ' << trail << (accepted ? " is a character" : " is none");
      }
    }
    EXPECT_TRUE(held > 60 || form.before.starts_with('\x8E')) << "only planes may be empty";
    iconv_close(converter);
  }
}

}  // namespace
}  // namespace jv::sniffing
