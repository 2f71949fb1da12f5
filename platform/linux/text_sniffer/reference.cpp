#include "platform/linux/text_sniffer/reference.h"

#include <algorithm>
#include <cstddef>

#include "platform/linux/text_sniffer/EightBitRules.h"
#include "platform/linux/text_sniffer/Iso2022.h"

namespace jv::sniffing {

Counts countByReference(std::uint32_t encoding, Bytes text, std::uint64_t maxErrors, std::uint64_t maxFeatures) {
  const EightBitRules* eightBit = findEightBitRules(encoding);
  const Iso2022Rules* iso2022 = findIso2022Rules(encoding);
  Iso2022State state;
  Counts counts;
  for (std::size_t at = 0; at < text.size();) {
    at = eightBit != nullptr ? readCharacter(*eightBit, text, at, counts)
                             : readCharacter(*iso2022, state, text, at, counts);
  }
  return {std::min(counts.errors, maxErrors), std::min(counts.features, maxFeatures)};
}

}  // namespace jv::sniffing
