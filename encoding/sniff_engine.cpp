#include "encoding/sniff_engine.h"

#include <JorvaneFoundation/encoding/byte_sniffers.h>
#include <JorvaneFoundation/encoding/string_encodings.h>
#include <JorvaneFoundation/platform/SystemLog.h>
#include <JorvaneFoundation/platform/TextSniffer.h>

#include <array>
#include <memory>

#include "encoding/byte_kernels.h"

namespace jv {
namespace {

using JVFoundation::EncodingRule;
using Text = std::span<const std::uint8_t>;

constexpr std::uint64_t kMaxErrors = 300;
constexpr std::uint64_t kMaxFeatures = 300;

/// The encodings that the text sniffer is asked about, and its answers, in parallel lists.
struct Candidates {
  std::array<std::uint32_t, kNumberOfSniffers + 1> encodings;
  std::array<std::uint64_t, kNumberOfSniffers + 1> errors = {};
  std::array<std::uint64_t, kNumberOfSniffers + 1> features = {};
  std::size_t count = 0;

  void append(std::uint32_t encoding) {
    if (count < encodings.size()) encodings[count++] = encoding;
  }
};

/// The row of a byte-order mark at the front of @p text, or null. A UTF-32 mark is one of UTF-16 here.
JVSniffer* markedRow(JVSniffer* rows, Text text) {
  if (rows[kUTF16Row].enabled != 0 && text.size() >= 2 &&
      ((text[0] == 0xFF && text[1] == 0xFE) || (text[0] == 0xFE && text[1] == 0xFF))) {
    return &rows[kUTF16Row];
  }
  if (rows[kUTF8Row].enabled != 0 && text.size() >= 3 && text[0] == 0xEF && text[1] == 0xBB && text[2] == 0xBF) {
    return &rows[kUTF8Row];
  }
  return nullptr;
}

/// The sniffed encodings of the enabled rows, repeats in neighbouring entries dropped.
Candidates candidatesOf(const SnifferTable& table) {
  Candidates list;
  for (std::uint32_t r = 0; r < table.count; ++r) {
    const JVSniffer& row = table.rows[r];
    if (row.enabled == 0 || row.snifferEncoding == 0) continue;
    if (list.count > 0 && list.encodings[list.count - 1] == row.snifferEncoding) continue;
    list.append(row.snifferEncoding);
  }
  return list;
}

/// Has the platform count errors and features of all candidates and sort them. False when it failed.
bool askTextSniffer(Candidates& list, Text text, const JVPlatform::SniffHints& hints) {
  const std::shared_ptr<JVPlatform::TextSniffer> platform = JVPlatform::textSniffer();
  const std::span encodings(list.encodings.data(), list.count);
  JVPlatform::TECSnifferObjectRef sniffer = nullptr;
  if (platform->TECCreateSniffer(&sniffer, encodings) != 0) return false;
  if (platform->TECSniffTextEncoding(sniffer, text, encodings, std::span(list.errors.data(), list.count), kMaxErrors,
                                     std::span(list.features.data(), list.count), kMaxFeatures, hints) != 0) {
    return false;  // a sniffer that failed is not given back
  }
  platform->TECDisposeSniffer(sniffer);
  return true;
}

/// How many entries at the front are free of errors and have no fewer features than the one before.
std::size_t leadingRun(const Candidates& list) {
  std::size_t length = 0;
  while (length < list.count && list.errors[length] == 0 &&
         (length == 0 || list.features[length] >= list.features[length - 1])) {
    ++length;
  }
  return length;
}

/// Marks the enabled rows that stand for one of @p chosen.
void mark(const SnifferTable& table, std::span<const std::uint32_t> chosen) {
  for (std::uint32_t r = 0; r < table.count; ++r) {
    JVSniffer& row = table.rows[r];
    if (row.enabled == 0) continue;
    const bool knownByPlace = r == kUTF16Row || r == kUTF8Row;
    for (const std::uint32_t encoding : chosen) {
      if ((knownByPlace && encoding == row.encoding) || encoding == row.snifferEncoding) row.matched = 1;
    }
  }
}

/// Whether text with line breaks of type @p text speaks against a row whose text normally has type @p row. Carriage
/// returns, alone or in pairs, exclude each other; other text excludes the pairs only.
bool contradicts(std::int64_t row, std::int64_t text) {
  const bool hasReturns = text == JVLineBreakTypeCR || text == JVLineBreakTypeCRLF;
  if (!hasReturns) return row == JVLineBreakTypeCRLF;
  return row != text && (row == JVLineBreakTypeCR || row == JVLineBreakTypeCRLF);
}

/// Unmarks the rows that the text's line breaks contradict, and counts the marks that are left. Every row is looked at,
/// enabled or not, so marks of an earlier call count again.
std::int64_t filterByLineBreaks(const SnifferTable& table, std::int64_t lineBreakType) {
  constexpr std::uint32_t kNeverAnEncoding = 0xBEEFFEED;
  std::int64_t count = 0;
  std::uint32_t resultEncoding = 0xFFFFFFFF;
  for (std::uint32_t r = 0; r < table.count; ++r) {
    JVSniffer& row = table.rows[r];
    if (contradicts(row.lineBreakType, lineBreakType)) row.matched = 0;
    if (row.matched != 1) continue;
    ++count;
    resultEncoding = row.encoding;
  }
  if (resultEncoding == kNeverAnEncoding) {
    JVPlatform::systemLog()->log("This is to get rid of resultEncoding not used warnings. Duh.");
  }
  return count;
}

/// Without a legacy candidate UTF-16 comes before UTF-8, and plain ASCII is UTF-8.
std::int64_t sniffUnicodeAlone(JVSniffer* rows, Text text, EncodingRule& rule) {
  const ByteKernels& kernels = byteKernels();
  if (rows[kUTF16Row].enabled != 0 && kernels.isPossibleUTF16(text)) {
    rule = EncodingRule::possibleUTF16;
    rows[kUTF16Row].matched = 1;
    return 1;
  }
  if (rows[kUTF8Row].enabled != 0 && kernels.isPossibleUTF8(text)) {
    rule = EncodingRule::possibleUTF8;
    rows[kUTF8Row].matched = 1;
    return 1;
  }
  return 0;
}

void record(const Candidates& list, std::vector<JVFoundation::EncodingCandidate>& candidates) {
  candidates.reserve(list.count);
  for (std::size_t i = 0; i < list.count; ++i) {
    candidates.push_back({list.encodings[i], list.errors[i], list.features[i]});
  }
}

}  // namespace

// All tests of the text are pure, so each is made only when its answer is needed; the platform is asked in a fixed
// order, so that its failures show in that order.
std::int64_t sniff(SnifferTable table, Text text, bool checkLineBreaks, SniffTrace& trace) {
  if (JVSniffer* row = markedRow(table.rows, text)) {
    trace.rule = EncodingRule::byteOrderMark;
    row->matched = 1;
    return 1;
  }

  Candidates list = candidatesOf(table);
  if (list.count == 0) return sniffUnicodeAlone(table.rows, text, trace.rule);

  const ByteKernels& kernels = byteKernels();
  const std::size_t plain = kernels.plainPrefix(text, 0);
  const bool countAll = trace.candidates != nullptr;
  if (!askTextSniffer(list, text, {.plainPrefix = plain, .errorFreeOnly = !countAll})) return 0;
  if (countAll) record(list, *trace.candidates);

  if (!kernels.containsHighASCII(text.subspan(plain))) {
    trace.rule = EncodingRule::plainASCII;
    return JVPlainASCIISniffResult;
  }

  std::size_t chosen = leadingRun(list);
  trace.rule = EncodingRule::legacyEncoding;
  if (chosen == 0) {
    // UTF-8 before UTF-16 here, unlike where there was no candidate at all.
    if (table.rows[kUTF8Row].enabled != 0 && kernels.isPossibleUTF8(text)) {
      trace.rule = EncodingRule::possibleUTF8;
      list.encodings[0] = kCFStringEncodingUTF8;
    } else if (table.rows[kUTF16Row].enabled != 0 && kernels.isPossibleUTF16(text)) {
      trace.rule = EncodingRule::possibleUTF16;
      list.encodings[0] = kCFStringEncodingUnicode;
    } else {
      trace.rule = EncodingRule::nothingFits;
      return 0;
    }
    chosen = 1;
  }

  // The default encoding would be moved to the front of several candidates here; all of them get marked, so their order
  // cannot be seen.
  mark(table, {list.encodings.data(), chosen});
  if (!checkLineBreaks) return static_cast<std::int64_t>(chosen);
  if (table.count == 0) return 0;
  const std::int64_t lineBreakType = sniffLineBreakType(text.data(), static_cast<std::int64_t>(text.size()));
  const std::int64_t count = filterByLineBreaks(table, lineBreakType);
  if (count == 0) trace.rule = EncodingRule::lineBreaks;
  return count;
}

}  // namespace jv
