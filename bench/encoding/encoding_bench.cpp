// The byte sniffers and the whole detection, beside reading the same bytes once and beside other libraries.
//
//   bench_encoding [--short]
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <JorvaneFoundation/encoding/byte_sniffers.h>
#include <JorvaneFoundation/encoding/detection.h>
#include <JorvaneFoundation/encoding/sniffer_table.h>
#include <JorvaneFoundation/encoding/string_encodings.h>

#include "encoding/floor.h"
#include "encoding/peers.h"
#include "encoding/texts.h"
#include "support/report.h"

namespace {

using jv::bench::Candidate;
using jv::bench::Measure;
using jv::bench::Subject;
using jv::bench::Text;
using jv::bench::Who;
using Bytes = std::span<const std::uint8_t>;
/// Looks at a text. What it finds is given back, so that it cannot be left out.
using Scan = std::function<std::int64_t(Bytes)>;

std::int64_t lengthOf(Bytes text) { return static_cast<std::int64_t>(text.size()); }

std::int64_t detect(Bytes text) { return static_cast<std::int64_t>(JVFoundation::detectEncoding(text).encoding); }

/// With every row of the table, so that every legacy encoding is looked at.
std::int64_t sniffWithAllRows(Bytes text) {
  for (std::uint32_t r = 0; r < JVNumberOfSniffers; ++r) {
    JVSniffers[r].enabled = 1;
    JVSniffers[r].matched = 0;
  }
  return sniffWithEnabledEncodings(text.data(), text.size(), true);
}

double nanosecondsOfProcessorTime() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// What is kept, so that no call can be left out.
volatile std::int64_t sink;

/// Measures looks at pieces of a text, different ones in turn, so that branch predictors do not learn one by heart.
struct Meter {
  enum Unit { kGigabytesASecond, kMicroseconds };

  std::vector<Bytes> pieces;
  Unit unit;
  double atLeast;  ///< nanoseconds that a measurement goes on for

  /// @param largest  no more of a piece is looked at
  [[nodiscard]] Measure of(const Scan& scan, std::size_t largest = SIZE_MAX) const {
    return [self = *this, scan, largest]() mutable -> std::optional<double> {
      for (Bytes& piece : self.pieces) piece = piece.first(std::min(piece.size(), largest));
      const double nanoseconds = self.nanosecondsOf(scan);
      return self.unit == kMicroseconds ? nanoseconds / 1e3
                                        : static_cast<double>(self.pieces.front().size()) / nanoseconds;
    };
  }

 private:
  /// Nanoseconds of processor time for a look at one piece.
  [[nodiscard]] double nanosecondsOf(const Scan& scan) const {
    for (std::size_t passes = 1;; passes *= 2) {
      const double begin = nanosecondsOfProcessorTime();
      for (std::size_t pass = 0; pass < passes; ++pass) {
        for (const Bytes piece : pieces) sink = scan(piece);
      }
      const double taken = nanosecondsOfProcessorTime() - begin;
      if (taken >= atLeast) return taken / static_cast<double>(passes * pieces.size());
    }
  }
};

std::vector<Candidate> sniffers(const Meter& meter) {
  return {
      {Who::kFloor, "every byte read once", meter.of(jv::bench::readOnce)},
      {Who::kOurs, "isPossibleUTF8", meter.of([](Bytes t) { return isPossibleUTF8(t.data(), lengthOf(t)); })},
      {Who::kOurs, "containsHighASCII", meter.of([](Bytes t) { return containsHighASCII(t.data(), t.size()); })},
      {Who::kOurs, "isPossibleUTF16", meter.of([](Bytes t) { return isPossibleUTF16(t.data(), t.size()); })},
      {Who::kOurs, "sniffLineBreakType", meter.of([](Bytes t) { return sniffLineBreakType(t.data(), lengthOf(t)); })},
  };
}

/// A peer's answer stands with its name, so that a quick wrong one is seen to be wrong.
std::vector<Candidate> detections(const Meter& meter) {
  std::vector<Candidate> all{
      {Who::kFloor, "every byte read once", meter.of(jv::bench::readOnce)},
      {Who::kOurs, "detectEncoding", meter.of(detect)},
      {Who::kOurs, "all candidates counted", meter.of(sniffWithAllRows)},
  };
  for (const jv::bench::Peer& peer : jv::bench::peers()) {
    all.push_back({Who::kPeer, peer.name, {}});
    if (!peer.ask) continue;
    const Bytes first = meter.pieces.front();
    const std::string answer = peer.ask(first.first(std::min(first.size(), peer.largest)));
    all.back().name += answer.empty() ? " (no answer)" : " (" + answer + ")";
    all.back().measure = meter.of([peer](Bytes text) { return std::ssize(peer.ask(text)); }, peer.largest);
  }
  return all;
}

void requireRightAnswers(const Text& text, const std::vector<Bytes>& pieces) {
  const auto isRight = [&](Bytes piece) { return JVFoundation::detectEncoding(piece).encoding == text.encoding; };
  if (!pieces.empty() && std::ranges::all_of(pieces, isRight)) return;
  std::fprintf(stderr, "wrong answer for %s\n", text.name.c_str());
  std::exit(1);
}

/// One text in the two sizes.
struct Meters {
  std::string name;
  Meter large, small;
};

std::vector<Meters> metersOf(const std::vector<Text>& texts, std::size_t numberOfPieces, double atLeast) {
  std::vector<Meters> all;
  for (const Text& text : texts) {
    std::vector<Bytes> pieces = jv::bench::piecesOf(text, 4096);
    pieces.resize(std::min(pieces.size(), numberOfPieces));
    requireRightAnswers(text, {Bytes(text.bytes)});
    requireRightAnswers(text, pieces);
    all.push_back(
        {text.name, {{Bytes(text.bytes)}, Meter::kGigabytesASecond, atLeast}, {pieces, Meter::kMicroseconds, atLeast}});
  }
  return all;
}

}  // namespace

int main(int argc, char** argv) {
  const bool isShort = argc > 1 && std::string_view(argv[1]) == "--short";
  const int rounds = isShort ? 3 : 9;
  const std::size_t megabytes = isShort ? 8 : 64;
  const std::vector<Text> texts = jv::bench::makeTexts(megabytes << 20);
  const std::vector<Meters> meters = metersOf(texts, isShort ? 32 : 256, isShort ? 1e6 : 2e7);
  const std::string large = std::to_string(megabytes) + " MB in memory";

  const Subject largeDetections("Detecting the encoding, " + large, "GB/s", jv::bench::Better::kMore);
  for (const Meters& of : meters) {
    if (of.name != "UTF-16") largeDetections.compare(of.name, detections(of.large), rounds);
  }
  std::puts(
      "\nuchardet is given no more than the first 16 MB, ICU the first MB. UTF-16 shows within 2000 bytes, so it has "
      "no pace.");
  const Subject smallDetections("Detecting the encoding, 4 KB in memory", "µs");
  for (const Meters& of : meters) smallDetections.compare(of.name, detections(of.small), rounds);

  // Of a large text, those that read it to its end.
  const Subject largeSniffers("Byte sniffers, " + large, "GB/s", jv::bench::Better::kMore);
  for (const auto& [at, readers] : {std::pair<std::size_t, std::size_t>{0, 3}, {1, 2}}) {
    std::vector<Candidate> all = sniffers(meters[at].large);
    all.resize(readers);
    largeSniffers.compare(meters[at].name, all, rounds);
  }
  const Subject smallSniffers("Byte sniffers, 4 KB in memory", "µs");
  for (const std::size_t at : {0, 1}) smallSniffers.compare(meters[at].name, sniffers(meters[at].small), rounds);
}
