// Holds sniffing with any rows of the table, and the whole detection by each of its faces, against a plain model.

#include <JorvaneFoundation/encoding/JVEncodingDetector.h>
#include <JorvaneFoundation/encoding/detection.h>
#include <JorvaneFoundation/encoding/sniffer_table.h>
#include <JorvaneFoundation/foundation/NSURL.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "encoding/detection_model.h"
#include "support/input.h"
#include "support/line_breaks.h"

namespace {

using jv::fuzz::Bytes;
using jv::fuzz::require;
using jv::fuzz::Table;
using JVFoundation::EncodingCandidate;

const Table& initialTable() {
  static const Table table = [] {
    Table made = {{}, JVNumberOfSniffers};
    std::ranges::copy(JVSniffers, made.rows.begin());
    return made;
  }();
  return table;
}

void holdSniff(Bytes text, std::uint64_t enabledRows, std::uint32_t count, bool checkLineBreaks) {
  Table table = initialTable();
  table.count = count;
  for (std::size_t r = 0; r + 1 < table.rows.size(); ++r) {
    table.rows[r].enabled = enabledRows >> r & 1;
    table.rows[r].matched = table.rows[r].enabled != 0 ? 0 : -1;
  }
  std::ranges::copy(table.rows, JVSniffers);
  JVNumberOfSniffers = count;
  const std::int64_t result = sniffWithEnabledEncodings(text.data(), text.size(), checkLineBreaks);
  require(result == jv::fuzz::modelOfSniff(table, text, checkLineBreaks), "the result of the sniff");
  const auto same = [](const JVSniffer& a, const JVSniffer& b) { return a.matched == b.matched; };
  require(std::ranges::equal(JVSniffers, table.rows, same), "the marks of the sniff");
  std::ranges::copy(initialTable().rows, JVSniffers);
  JVNumberOfSniffers = initialTable().count;
}

void holdCandidates(const std::vector<EncodingCandidate>& candidates) {
  require(candidates.size() <= 3, "no more candidates than were asked about");
  const auto fits = [](const EncodingCandidate& a, const EncodingCandidate& b) {
    return a.errors != b.errors ? a.errors < b.errors : a.features > b.features;
  };
  require(std::ranges::is_sorted(candidates, fits), "the best candidate first");
  for (const EncodingCandidate& candidate : candidates) {
    require(candidate.errors <= 300 && candidate.features <= 300, "counts within their caps");
  }
}

/// Asks about a file of these bytes.
std::uint64_t askDetector(Bytes text) {
  static const int file = memfd_create("text", MFD_CLOEXEC);
  require(file >= 0 && ftruncate(file, 0) == 0, "a file in memory");
  require(pwrite(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()), "a file in memory");
  const auto url = JVFoundation::NSURL::fileURLWithPath("/proc/self/fd/" + std::to_string(file));
  return JVEncodingDetector().encodingForFileAtURL(url);
}

void holdDetection(Bytes text) {
  const std::uint64_t expected = jv::fuzz::modelOfDetection(initialTable(), text);
  const auto found = JVFoundation::detectEncoding(text);
  require(found.encoding == expected, "the encoding");
  const auto explained = JVFoundation::detectEncoding(text, {.lineBreaks = true, .candidates = true});
  require(explained.encoding == expected && explained.rule == found.rule, "the same when asked for more");
  require(text.empty() || explained.lineBreakType == jv::fuzz::lineBreakTypeOf(text), "the line breaks");
  holdCandidates(explained.candidates);
  require(askDetector(text) == expected, "the same from a file");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  initialTable();
  jv::fuzz::Input input(data, size);
  const std::size_t offset = input.number() % 64;
  const std::uint64_t enabledRows = input.number(3);
  const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(input.number() % 32, 17));
  const bool checkLineBreaks = input.flag();
  const jv::fuzz::ExactCopy copy(input.text(), offset);
  holdSniff(copy.bytes(), enabledRows, count, checkLineBreaks);
  holdDetection(copy.bytes());
  return 0;
}
