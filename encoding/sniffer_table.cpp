#include <JorvaneFoundation/encoding/sniffer_table.h>

#include <JorvaneFoundation/encoding/byte_sniffers.h>
#include <JorvaneFoundation/encoding/string_encodings.h>

#include <cstddef>

#include "encoding/sniff_engine.h"

// Clients in any language read and write the rows by these places.
static_assert(sizeof(JVSniffer) == 32);
static_assert(offsetof(JVSniffer, encoding) == 0);
static_assert(offsetof(JVSniffer, snifferEncoding) == 4);
static_assert(offsetof(JVSniffer, lineBreakType) == 8);
static_assert(offsetof(JVSniffer, enabled) == 16);
static_assert(offsetof(JVSniffer, matched) == 24);

JVSniffer JVSniffers[jv::kNumberOfSniffers + 1] = {
#include "encoding/initial_table.inl"
};
std::uint32_t JVNumberOfSniffers = jv::kNumberOfSniffers;
std::uint32_t JVDefaultEncoding = 0;

std::int64_t sniffWithEnabledEncodings(const std::uint8_t* bytes, std::uint64_t length, bool checkLineBreaks) noexcept {
  jv::SniffTrace trace;
  return jv::sniff({JVSniffers, JVNumberOfSniffers}, {bytes, length}, checkLineBreaks, trace);
}
