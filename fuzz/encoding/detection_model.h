/// Sniffing and detection once more, in the plainest words, with nothing saved.
#pragma once

#include <JorvaneFoundation/encoding/sniffer_table.h>

#include <array>
#include <cstdint>

#include "support/input.h"

namespace jv::fuzz {

/// A table of so many rows and a terminator.
struct Table {
  std::array<JVSniffer, 18> rows;
  std::uint32_t count;
};

/// What `sniffWithEnabledEncodings` returns for @p table, whose marks are made.
std::int64_t modelOfSniff(Table& table, Bytes text, bool checkLineBreaks);

/// The string encoding number of a file of these bytes.
std::uint64_t modelOfDetection(const Table& initial, Bytes text);

}  // namespace jv::fuzz
