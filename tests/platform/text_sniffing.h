/// Texts for the tests of the text sniffer, and what it says of one.
#pragma once

#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <JorvaneFoundation/platform/TextSniffer.h>

#include "platform/linux/text_sniffer/Counts.h"
#include "platform/linux/text_sniffer/reference.h"

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

/// Draws text that is an encoding's own, with as many faults as asked for.
class TextOf {
 public:
  TextOf(std::uint32_t encoding, std::uint32_t seed)
      : random_(seed),
        start_(encoding == 0x0820   ? "\x1B$B"
               : encoding == 0x0840 ? "\x1B$)C\x0E"
                                    : "") {
    const auto take = [&](const std::string& piece, std::vector<std::string>& pieces, bool isPair) {
      const Counts counts = countByReference(encoding, bytesOf(start_ + piece), 9, 9);
      if (counts.errors == 0 && (counts.features == 1 || !isPair)) pieces.push_back(piece);
    };
    for (unsigned pair = 0x2121; pair < 0x10000; ++pair) {
      take({static_cast<char>(pair >> 8), static_cast<char>(pair)}, pairs_, true);
    }
    for (const char* other :
         {"\x8E\xB1", "\x8F\xB0\xA1", "\x8E\xA2\xA1\xA1", "two words", "\r\n", "\x80", "\xFD", "\x0E", "\x0F", "\x1B(B",
          "\x1B(I", "\x1B$@", "\x1B$B", "\x1B$(D", "\x1B$(P", "\x1B$)C"}) {
      take(other, others_, false);
    }
  }

  std::vector<std::uint8_t> draw(std::size_t length, unsigned faultsInAThousand) {
    std::string text = start_;
    while (text.size() < length) {
      const auto lot = static_cast<unsigned>(random_() % 1000);
      if (lot < faultsInAThousand) {
        text += static_cast<char>(random_());
      } else {
        const std::vector<std::string>& pieces = lot < 950 ? pairs_ : others_;
        text += pieces[random_() % pieces.size()];
      }
    }
    return {text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length)};
  }

 private:
  std::mt19937 random_;
  std::string start_;
  std::vector<std::string> pairs_;
  std::vector<std::string> others_;
};

}  // namespace jv::sniffing
