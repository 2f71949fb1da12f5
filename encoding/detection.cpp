#include <JorvaneFoundation/encoding/detection.h>

#include <JorvaneFoundation/encoding/byte_sniffers.h>
#include <JorvaneFoundation/encoding/string_encodings.h>
#include <JorvaneFoundation/foundation/NSURL.h>

#include <array>
#include <type_traits>

#include "encoding/detection_steps.h"

namespace JVFoundation {
namespace {

constexpr auto kInitialSniffers = std::to_array<JVSniffer>({
#include "encoding/initial_table.inl"
});
using Rows = std::remove_const_t<decltype(kInitialSniffers)>;
static_assert(std::tuple_size_v<Rows> == jv::kNumberOfSniffers + 1);

jv::SnifferTable tableOf(Rows& rows) { return {rows.data(), jv::kNumberOfSniffers}; }

/// What every detection begins with.
const Rows& enabledRows() {
  static const Rows enabled = [] {
    Rows rows = kInitialSniffers;
    jv::enableJapaneseAndUnicode(tableOf(rows));
    return rows;
  }();
  return enabled;
}

}  // namespace

EncodingDetection detectEncoding(std::span<const std::uint8_t> text, EncodingDetectionOptions options) {
  EncodingDetection found;
  if (text.empty()) {
    found.encoding = NSUTF8StringEncoding;
    found.rule = EncodingRule::empty;
    return found;
  }

  Rows rows = enabledRows();
  const jv::SnifferTable table = tableOf(rows);
  jv::SniffTrace trace;
  if (options.candidates) trace.candidates = &found.candidates;
  const std::int64_t result = jv::sniff(table, text, true, trace);
  found.encoding = jv::encodingOfResult(table, result, kCFStringEncodingUTF8);
  found.rule = trace.rule;
  if (options.lineBreaks) {
    found.lineBreakType = sniffLineBreakType(text.data(), static_cast<std::int64_t>(text.size()));
  }
  return found;
}

EncodingDetection detectEncoding(std::string_view text, EncodingDetectionOptions options) {
  return detectEncoding(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()), options);
}

EncodingDetection detectEncodingOfFile(std::string_view path, EncodingDetectionOptions options) {
  EncodingDetection unanswered;
  if (jv::declaresItsEncoding(NSURL::fileURLWithPath(path).pathExtension())) {
    unanswered.rule = EncodingRule::declaresItself;
    return unanswered;
  }
  const auto detect = [options](std::span<const std::uint8_t> text) { return detectEncoding(text, options); };
  return jv::withContentsOf(path, detect).value_or(unanswered);
}

std::string_view nameOfLineBreakType(std::int64_t type) noexcept {
  constexpr std::string_view kNames[] = {"none", "CR", "CRLF", "LF"};
  return type >= JVLineBreakTypeNone && type <= JVLineBreakTypeLF ? kNames[type] : "unknown";
}

}  // namespace JVFoundation
