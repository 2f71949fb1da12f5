/// The plain form of what the text sniffer computes, for tests and fuzzing to hold the quick one against.
#pragma once

#include <cstdint>

#include "platform/linux/text_sniffer/Counts.h"

namespace jv::sniffing {

/// How @p text fits @p encoding, one of those that the sniffer knows: character by character from the first to the
/// last, the counts cut off at @p maxErrors and @p maxFeatures when all is done.
Counts countByReference(std::uint32_t encoding, Bytes text, std::uint64_t maxErrors, std::uint64_t maxFeatures);

}  // namespace jv::sniffing
