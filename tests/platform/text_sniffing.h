/// Sniffs one text in one encoding, for the tests of the text sniffer.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include <gtest/gtest.h>

#include <JorvaneFoundation/platform/TextSniffer.h>

#include "platform/linux/text_sniffer/Counts.h"

namespace jv::sniffing {

inline constexpr std::uint32_t kAllEncodings[] = {0x0001, 0x0820, 0x0920, 0x0002, 0x0931, 0x0A03,
                                                  0x0003, 0x0840, 0x0940, 0x0019, 0x0930};

inline Bytes bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline Counts sniffed(std::uint32_t encoding, Bytes text, std::uint64_t maximum = 300,
                      const JVPlatform::SniffHints& hints = {}) {
  const auto platform = JVPlatform::textSniffer();
  JVPlatform::TECSnifferObjectRef sniffer = nullptr;
  EXPECT_EQ(platform->TECCreateSniffer(&sniffer, {&encoding, 1}), 0);
  Counts counts;
  EXPECT_EQ(platform->TECSniffTextEncoding(sniffer, text, {&encoding, 1}, {&counts.errors, 1}, maximum,
                                           {&counts.features, 1}, maximum, hints),
            0);
  EXPECT_EQ(platform->TECDisposeSniffer(sniffer), 0);
  return counts;
}

inline void PrintTo(const Counts& counts, std::ostream* out) {
  *out << counts.errors << " errors, " << counts.features << " features";
}

}  // namespace jv::sniffing
