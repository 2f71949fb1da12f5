#include <JorvaneFoundation/encoding/JVEncodingDetector.h>

#include <JorvaneFoundation/encoding/byte_sniffers.h>

#include "encoding/detection_steps.h"

namespace {

std::uint64_t detectWithExportedTable(std::span<const std::uint8_t> text) {
  if (text.empty()) return NSUTF8StringEncoding;
  const jv::SnifferTable table = {JVSniffers, JVNumberOfSniffers};
  jv::enableJapaneseAndUnicode(table);
  JVDefaultEncoding = kCFStringEncodingUTF8;
  JVDefaultLineBreakType = JVLineBreakTypeNone;
  const std::int64_t result = sniffWithEnabledEncodings(text.data(), text.size(), true);
  return jv::encodingOfResult(table, result, JVDefaultEncoding);
}

}  // namespace

std::uint64_t JVEncodingDetector::encodingForFileAtURL(const std::optional<JVFoundation::NSURL>& url) const {
  if (!url) return JVUnknownStringEncoding;
  if (jv::declaresItsEncoding(url->pathExtension())) return JVUnknownStringEncoding;
  return jv::withContentsOf(url->path(), detectWithExportedTable).value_or(JVUnknownStringEncoding);
}
