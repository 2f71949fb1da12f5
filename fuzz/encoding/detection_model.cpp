#include "encoding/detection_model.h"

#include <JorvaneFoundation/encoding/byte_sniffers.h>
#include <JorvaneFoundation/encoding/string_encodings.h>

#include <algorithm>
#include <initializer_list>
#include <vector>

#include "encoding/byte_reference.h"
#include "platform/linux/text_sniffer/reference.h"
#include "support/line_breaks.h"

namespace jv::fuzz {
namespace {

struct Fit {
  std::uint32_t encoding;
  sniffing::Counts counts;
};

bool beginsWith(Bytes text, std::initializer_list<std::uint8_t> mark) {
  return text.size() >= mark.size() && std::equal(mark.begin(), mark.end(), text.begin());
}

bool fitsBetter(const Fit& a, const Fit& b) {
  if (a.counts.errors != b.counts.errors) return a.counts.errors < b.counts.errors;
  return a.counts.features > b.counts.features;
}

/// The candidates, best first. A repeat of the one before, in the order of the table, is left out.
std::vector<Fit> fitsOf(const Table& table, Bytes text) {
  std::vector<Fit> fits;
  std::uint32_t before = 0;
  for (std::uint32_t r = 0; r < table.count; ++r) {
    const JVSniffer& row = table.rows[r];
    if (row.enabled == 0 || row.snifferEncoding == 0 || row.snifferEncoding == before) continue;
    before = row.snifferEncoding;
    const Fit fit = {before, sniffing::countByReference(before, text, 300, 300)};
    fits.insert(std::ranges::upper_bound(fits, fit, fitsBetter), fit);
  }
  return fits;
}

/// Those without errors that have as many features as the best.
std::vector<std::uint32_t> bestOf(const std::vector<Fit>& fits) {
  std::vector<std::uint32_t> best;
  for (const Fit& fit : fits) {
    if (fit.counts.errors == 0 && fit.counts.features == fits.front().counts.features) best.push_back(fit.encoding);
  }
  return best;
}

std::int64_t filterByLineBreaks(Table& table, std::int64_t text) {
  std::int64_t count = 0;
  for (std::uint32_t r = 0; r < table.count; ++r) {
    JVSniffer& row = table.rows[r];
    const std::int64_t own = row.lineBreakType;
    if (text == 1 && own == 2) row.matched = 0;
    if (text == 2 && own == 1) row.matched = 0;
    if ((text == 0 || text == 3) && own == 2) row.matched = 0;
    if (row.matched == 1) ++count;
  }
  return count;
}

}  // namespace

std::int64_t modelOfSniff(Table& table, Bytes text, bool checkLineBreaks) {
  JVSniffer& utf16 = table.rows[0];
  JVSniffer& utf8 = table.rows[1];
  const auto choose = [](JVSniffer& row) -> std::int64_t { return row.matched = 1; };
  const bool possibleUTF16 = utf16.enabled != 0 && reference::isPossibleUTF16(text);
  const bool possibleUTF8 = utf8.enabled != 0 && reference::isPossibleUTF8(text);

  if (utf16.enabled != 0 && (beginsWith(text, {0xFF, 0xFE}) || beginsWith(text, {0xFE, 0xFF}))) return choose(utf16);
  if (utf8.enabled != 0 && beginsWith(text, {0xEF, 0xBB, 0xBF})) return choose(utf8);

  const std::vector<Fit> fits = fitsOf(table, text);
  if (fits.empty()) return possibleUTF16 ? choose(utf16) : possibleUTF8 ? choose(utf8) : 0;
  if (!reference::containsHighASCII(text)) return JVPlainASCIISniffResult;

  const std::vector<std::uint32_t> best = bestOf(fits);
  std::int64_t chosen = static_cast<std::int64_t>(best.size());
  if (best.empty()) {
    if (!possibleUTF8 && !possibleUTF16) return 0;
    JVSniffer& row = possibleUTF8 ? utf8 : utf16;
    if (&row - table.rows.data() < table.count) choose(row);
    chosen = 1;
  }
  for (std::uint32_t r = 0; r < table.count; ++r) {
    JVSniffer& row = table.rows[r];
    if (row.enabled != 0 && std::ranges::find(best, row.snifferEncoding) != best.end()) choose(row);
  }
  return checkLineBreaks ? filterByLineBreaks(table, lineBreakTypeOf(text)) : chosen;
}

std::uint64_t modelOfDetection(const Table& initial, Bytes text) {
  if (text.empty()) return NSUTF8StringEncoding;
  Table table = initial;
  for (const std::size_t r : {0U, 1U, 3U, 4U, 5U}) table.rows[r].enabled = 1;
  const std::int64_t result = modelOfSniff(table, text, true);
  if (result == JVPlainASCIISniffResult) return NSASCIIStringEncoding;
  if (result == 0) return NSUTF8StringEncoding;
  const auto* marked = std::ranges::find(table.rows, 1, &JVSniffer::matched);
  switch (marked - table.rows.data()) {
    case 0:
      return NSUnicodeStringEncoding;
    case 1:
      return NSUTF8StringEncoding;
    case 3:
      return NSShiftJISStringEncoding;
    case 4:
      return NSISO2022JPStringEncoding;
    case 5:
      return NSJapaneseEUCStringEncoding;
    default:
      return 0;
  }
}

}  // namespace jv::fuzz
