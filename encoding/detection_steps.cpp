#include "encoding/detection_steps.h"

#include <JorvaneFoundation/encoding/string_encodings.h>

#include <algorithm>
#include <array>

#include "foundation/ascii.h"

namespace jv {
namespace {

constexpr std::array<std::uint64_t, 5> kEnabled = {NSUTF8StringEncoding, NSISO2022JPStringEncoding,
                                                   NSJapaneseEUCStringEncoding, NSShiftJISStringEncoding,
                                                   NSUnicodeStringEncoding};

/// The encoding of the first marked row, or null.
const std::uint32_t* firstMarked(SnifferTable table) {
  for (std::uint32_t r = 0; r < table.count; ++r) {
    if (table.rows[r].matched == 1) return &table.rows[r].encoding;
  }
  return nullptr;
}

std::uint32_t coreEncodingOfResult(SnifferTable table, std::int64_t result, std::uint32_t defaultEncoding) {
  if (result == 0) return defaultEncoding;
  if (result == JVPlainASCIISniffResult) return kCFStringEncodingASCII;
  if (const std::uint32_t* marked = firstMarked(table)) return *marked;
  return result == 1 ? std::uint32_t{kCFStringEncodingUTF8} : table.rows[table.count].encoding;
}

}  // namespace

bool declaresItsEncoding(std::optional<std::string_view> extension) {
  return !extension || equalInEitherCase(*extension, "plist") || equalInEitherCase(*extension, "xml");
}

void enableJapaneseAndUnicode(SnifferTable table) {
  for (std::uint32_t r = 0; r < table.count; ++r) {
    JVSniffer& row = table.rows[r];
    const bool enabled = std::ranges::find(kEnabled, JVFoundation::stringEncodingOf(row.encoding)) != kEnabled.end();
    row.enabled = enabled ? 1 : 0;
    row.matched = enabled ? 0 : -1;
  }
}

std::uint64_t encodingOfResult(SnifferTable table, std::int64_t result, std::uint32_t defaultEncoding) {
  const std::uint32_t encoding = coreEncodingOfResult(table, result, defaultEncoding);
  return encoding == JVUnknownStringEncoding ? JVUnknownStringEncoding : JVFoundation::stringEncodingOf(encoding);
}

}  // namespace jv
