// The byte sniffers and the whole detection, beside reading the same bytes once and beside other libraries.
// Names are SUBJECT|TEXT|SIZE. With --text_megabytes=N the large texts have that size (64 when not given).

#include <JorvaneFoundation/encoding/byte_sniffers.h>
#include <JorvaneFoundation/encoding/detection.h>
#include <JorvaneFoundation/encoding/sniffer_table.h>
#include <JorvaneFoundation/encoding/string_encodings.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "encoding/floor.h"
#include "encoding/peers.h"
#include "encoding/texts.h"

namespace {

using jv::bench::Text;
using Bytes = std::span<const std::uint8_t>;

std::int64_t lengthOf(Bytes text) { return static_cast<std::int64_t>(text.size()); }

/// With every row of the table, so that every legacy encoding is looked at.
std::int64_t sniffWithAllRows(Bytes text) {
  for (std::uint32_t r = 0; r < JVNumberOfSniffers; ++r) {
    JVSniffers[r].enabled = 1;
    JVSniffers[r].matched = 0;
  }
  return sniffWithEnabledEncodings(text.data(), text.size(), true);
}

template <class Scan>
void measure(const std::string& name, std::vector<Bytes> pieces, Scan scan) {
  benchmark::RegisterBenchmark(name.c_str(), [pieces = std::move(pieces), scan](benchmark::State& state) {
    std::size_t next = 0;
    std::int64_t bytes = 0;
    for (auto _ : state) {
      const Bytes piece = pieces[next];
      next = next + 1 == pieces.size() ? 0 : next + 1;
      bytes += lengthOf(piece);
      benchmark::DoNotOptimize(scan(piece));
    }
    state.SetBytesProcessed(bytes);
  });
}

/// A peer's answer becomes the label, so that a quick wrong one is seen to be wrong.
void measurePeer(const std::string& name, std::vector<Bytes> pieces, const jv::bench::Peer& peer) {
  for (Bytes& piece : pieces) piece = piece.first(std::min(piece.size(), peer.largest));
  std::string answer = peer.ask(pieces.front());
  if (answer.empty()) answer = "none";
  benchmark::RegisterBenchmark(name.c_str(), [pieces = std::move(pieces), peer, answer](benchmark::State& state) {
    std::size_t next = 0;
    std::int64_t bytes = 0;
    for (auto _ : state) {
      const Bytes piece = pieces[next];
      next = next + 1 == pieces.size() ? 0 : next + 1;
      bytes += lengthOf(piece);
      benchmark::DoNotOptimize(peer.ask(piece));
    }
    state.SetBytesProcessed(bytes);
    state.SetLabel(answer);
  });
}

bool isRightlyDetected(const Text& text, const std::vector<Bytes>& pieces) {
  return std::ranges::all_of(
      pieces, [&](Bytes piece) { return JVFoundation::detectEncoding(piece).encoding == text.encoding; });
}

void registerAll(const Text& text, const std::string& size, const std::vector<Bytes>& pieces) {
  if (pieces.empty() || !isRightlyDetected(text, pieces)) {
    std::cerr << "wrong answer for " << text.name << ", " << size << '\n';
    std::exit(1);
  }
  const auto named = [&](std::string_view subject) { return std::string(subject) + "|" + text.name + "|" + size; };
  measure(named("floor"), pieces, jv::bench::readOnce);
  measure(named("isPossibleUTF8"), pieces, [](Bytes t) { return isPossibleUTF8(t.data(), lengthOf(t)); });
  measure(named("isPossibleUTF16"), pieces, [](Bytes t) { return isPossibleUTF16(t.data(), t.size()); });
  measure(named("containsHighASCII"), pieces, [](Bytes t) { return containsHighASCII(t.data(), t.size()); });
  measure(named("sniffLineBreakType"), pieces, [](Bytes t) { return sniffLineBreakType(t.data(), lengthOf(t)); });
  measure(named("detectEncoding"), pieces, [](Bytes t) { return JVFoundation::detectEncoding(t).encoding; });
  measure(named("all rows"), pieces, sniffWithAllRows);
  for (const jv::bench::Peer& peer : jv::bench::peers()) measurePeer(named(peer.name), pieces, peer);
}

/// Takes --text_megabytes=N out of the arguments.
std::size_t takeMegabytes(int& argc, char** argv) {
  constexpr std::string_view kOption = "--text_megabytes=";
  std::size_t megabytes = 64;
  char** end = std::remove_if(argv + 1, argv + argc, [&](const char* argument) {
    if (!std::string_view(argument).starts_with(kOption)) return false;
    megabytes = std::max(std::strtoul(argument + kOption.size(), nullptr, 10), 1UL);
    return true;
  });
  argc = static_cast<int>(end - argv);
  return megabytes;
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t megabytes = takeMegabytes(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;

  static const std::vector<Text> texts = jv::bench::makeTexts(megabytes << 20);
  for (const Text& text : texts) {
    registerAll(text, "large", {Bytes(text.bytes)});
    // Different ones in turn, so that branch predictors do not learn one by heart.
    std::vector<Bytes> small = jv::bench::piecesOf(text, 4096);
    small.resize(std::min<std::size_t>(small.size(), 256));
    registerAll(text, "4 KB", small);
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
