#include "encoding_report.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>

#include <JorvaneFoundation/encoding/string_encodings.h>

#include "text_forms.h"

namespace jv {
namespace {

using JVFoundation::EncodingCandidate;
using JVFoundation::EncodingDetection;
using JVFoundation::EncodingRule;

constexpr std::uint64_t kMostCounted = 300;

struct RuleText {
  EncodingRule rule;
  const char* name;
  const char* sentence;
};

// clang-format off
constexpr auto kRules = std::to_array<RuleText>({
    {EncodingRule::declaresItself, "declares-itself", "property lists and XML name their own encoding; not opened"},
    {EncodingRule::unreadable,     "unreadable",      "cannot be read"},
    {EncodingRule::empty,          "empty",           "empty"},
    {EncodingRule::byteOrderMark,  "byte-order-mark", "begins with a byte-order mark"},
    {EncodingRule::plainASCII,     "plain-ascii",     "no byte above 7F and no escape character"},
    {EncodingRule::legacyEncoding, "legacy-encoding", "fits the legacy encoding without an error"},
    {EncodingRule::lineBreaks,     "line-breaks",     "fits a legacy encoding, but not with these line breaks: the default"},
    {EncodingRule::possibleUTF8,   "possible-utf-8",  "fits no legacy encoding, and may be UTF-8"},
    {EncodingRule::possibleUTF16,  "possible-utf-16", "fits neither, and has zero bytes before line breaks"},
    {EncodingRule::nothingFits,    "nothing-fits",    "fits nothing: the default"},
});
// clang-format on

const RuleText& textOf(EncodingRule rule) {
  const auto* row = std::ranges::find(kRules, rule, &RuleText::rule);
  return row == kRules.end() ? kRules.back() : *row;
}

/// Whether the file's bytes were looked at, so that there are line breaks to tell.
bool wasRead(const EncodingDetection& found) {
  return found.rule != EncodingRule::declaresItself && found.rule != EncodingRule::unreadable;
}

/// Candidates are sniffed under a Core number; Shift_JIS as the Mac encoding that contains it.
std::string_view nameOfCandidate(const EncodingCandidate& candidate) {
  if (candidate.encoding == kCFStringEncodingMacJapanese) return "Shift_JIS";
  return JVFoundation::nameOfStringEncoding(JVFoundation::stringEncodingOf(candidate.encoding));
}

std::string counted(std::uint64_t count, std::string_view what) {
  std::string text = std::to_string(count);
  if (count >= kMostCounted) text += '+';
  return text.append(" ").append(what).append(count == 1 ? "" : "s");
}

std::string explanationOf(const EncodingDetection& found) {
  std::string text = std::string("    ") + textOf(found.rule).sentence + '\n';
  for (const EncodingCandidate& candidate : found.candidates) {
    std::string line = std::string("    ").append(nameOfCandidate(candidate)).append(": ");
    line += counted(candidate.errors, "error") + ", " + counted(candidate.features, "multi-byte character") + '\n';
    text += line;
  }
  return text;
}

std::string inText(std::string_view name, const EncodingDetection& found, const ReportOptions& options) {
  std::string text = printableName(name);
  text.append(": ").append(JVFoundation::nameOfStringEncoding(found.encoding));
  text += " (" + std::to_string(found.encoding) + ")";
  if (options.lineBreaks && wasRead(found))
    text.append(", ").append(JVFoundation::nameOfLineBreakType(found.lineBreakType));
  text += '\n';
  if (options.explain) text += explanationOf(found);
  return text;
}

std::string inJSON(std::string_view name, const EncodingDetection& found, const ReportOptions& options) {
  nlohmann::ordered_json object;
  object["file"] = name;
  if (!isUTF8(name)) object["fileHex"] = hexadecimalOf(name);
  object["encoding"] = JVFoundation::nameOfStringEncoding(found.encoding);
  object["number"] = found.encoding;
  object["rule"] = textOf(found.rule).name;
  if (options.lineBreaks && wasRead(found))
    object["lineBreaks"] = JVFoundation::nameOfLineBreakType(found.lineBreakType);
  if (options.explain) {
    auto& candidates = object["candidates"] = nlohmann::ordered_json::array();
    for (const EncodingCandidate& candidate : found.candidates) {
      candidates.push_back(
          {{"encoding", nameOfCandidate(candidate)}, {"errors", candidate.errors}, {"features", candidate.features}});
    }
  }
  constexpr auto kReplaced = nlohmann::ordered_json::error_handler_t::replace;
  return object.dump(-1, ' ', false, kReplaced) + '\n';
}

}  // namespace

std::string reportOf(std::string_view name, const EncodingDetection& found, const ReportOptions& options) {
  return options.form == ReportForm::json ? inJSON(name, found, options) : inText(name, found, options);
}

}  // namespace jv
