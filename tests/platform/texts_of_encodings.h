/// Texts at random that are an encoding's own, or nearly, for the tests of the text sniffer.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/text_sniffer/Scan.h"

namespace jv::sniffing {

/// Draws text that is an encoding's own, with as many faults as asked for.
class TextOf {
 public:
  TextOf(std::uint32_t encoding, std::uint32_t seed) : random_(seed) {
    if (const EightBitRules* rules = findEightBitRules(encoding)) {
      add(*rules->pairs, 0);
      for (unsigned byte = 0x80; byte < 0x100; ++byte) {
        if ((rules->roles[static_cast<std::uint8_t>(byte)] & kSingle) != 0)
          others_.emplace_back(1, static_cast<char>(byte));
      }
      others_.insert(others_.end(), {"\x8E\xB1", "\x8F\xB0\xA1", "\x8E\xA2\xA1\xA1", "two words", "\r\n"});
      return;
    }
    for (const Designation& designation : findIso2022Rules(encoding)->designations) {
      if (designation.set->pairs != nullptr) add(*designation.set->pairs, 0x80);
      others_.push_back('\x1B' + std::string(designation.escape));
    }
    others_.insert(others_.end(), {"\x0E", "\x0F", "\n", " ", "\x1B(B", "ab"});
  }

  std::string draw(std::size_t length, unsigned faultsInAThousand) {
    std::string text;
    while (text.size() < length) {
      const auto lot = static_cast<unsigned>(random_() % 1000);
      if (lot < faultsInAThousand) {
        text += static_cast<char>(random_());
      } else if (lot < 950) {
        text += pairs_[random_() % pairs_.size()];
      } else {
        text += others_[random_() % others_.size()];
      }
    }
    text.resize(length);
    return text;
  }

 private:
  void add(const CodeTable& table, unsigned highBit) {
    for (unsigned lead = 0x80; lead < 0x100; ++lead) {
      for (unsigned trail = 0x40 | highBit; trail < 0x100; ++trail) {
        if (!table.holds(static_cast<std::uint8_t>(lead), static_cast<std::uint8_t>(trail))) continue;
        pairs_.push_back({static_cast<char>(lead & ~highBit), static_cast<char>(trail & ~highBit)});
      }
    }
  }

  std::mt19937 random_;
  std::vector<std::string> pairs_;
  std::vector<std::string> others_;
};

/// Memory that ends with the text, so that a sanitizer sees a read beyond it.
class ExactBuffer {
 public:
  explicit ExactBuffer(std::string_view text, std::size_t offset = 0)
      : memory_(std::make_unique<std::uint8_t[]>(offset + text.size())), bytes_(memory_.get() + offset, text.size()) {
    std::ranges::copy(text, memory_.get() + offset);
  }
  Bytes bytes() const { return bytes_; }

 private:
  std::unique_ptr<std::uint8_t[]> memory_;
  Bytes bytes_;
};

}  // namespace jv::sniffing
