/// The multi-encoding sniffing itself, on a table that is passed in, so that it is re-entrant.
#pragma once

#include <JorvaneFoundation/encoding/detection.h>
#include <JorvaneFoundation/encoding/sniffer_table.h>

#include <cstdint>
#include <span>
#include <vector>

namespace jv {

inline constexpr std::uint32_t kNumberOfSniffers = 17;

/// Rows that are known by their place, and the only ones that are not decided by the text sniffer.
inline constexpr std::uint32_t kUTF16Row = 0;
inline constexpr std::uint32_t kUTF8Row = 1;

/// A sniffer table: so many rows that take part, with a terminator behind the last of all. The count is read afresh
/// wherever it is used.
struct SnifferTable {
  JVSniffer* rows;
  const std::uint32_t& count;
};

/// What a call found out on its way, for those who ask why.
struct SniffTrace {
  JVFoundation::EncodingRule rule = JVFoundation::EncodingRule::nothingFits;
  /// Asked for by not being null: the text sniffer's counts, then made to the end for every candidate.
  std::vector<JVFoundation::EncodingCandidate>* candidates = nullptr;
};

/// `sniffWithEnabledEncodings` on @p table. Allocates nothing but for @p trace's candidates, and throws only there.
std::int64_t sniff(SnifferTable table, std::span<const std::uint8_t> text, bool checkLineBreaks, SniffTrace& trace);

}  // namespace jv
