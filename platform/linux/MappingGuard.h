/// Keeps the process alive when a mapped file is shrunk by somebody else while it is read.
#pragma once

#include <cstddef>
#include <optional>

namespace jv {

/// Guards the mapping of @p size bytes at @p start from now on: reading a page that the file lost gives zeros instead
/// of ending the process. The signal's handler is taken over while any mapping is guarded, and given back afterwards;
/// faults elsewhere go where they went before. None when as many mappings are guarded as can be (64): then read.
std::optional<int> guardMapping(const void* start, std::size_t size) noexcept;

/// Whether the mapping at @p place lost pages so far.
bool mappingShrank(int place) noexcept;

/// Ends the guard. The mapping must not be read any more.
void endGuard(int place) noexcept;

}  // namespace jv
