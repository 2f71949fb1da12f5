/// The way of one encoding through a text, in as many steps as the caller likes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/linux/text_sniffer/Counts.h"
#include "platform/linux/text_sniffer/EightBitRules.h"
#include "platform/linux/text_sniffer/Iso2022.h"
#include "platform/linux/text_sniffer/QuickReaders.h"

namespace jv::sniffing {

class Scan {
 public:
  Scan() = default;

  /// A scan for @p encoding that is to begin at @p start, before which the text holds nothing but bytes below 80 other
  /// than ESC, SO and SI. None when the encoding is not known. Without @p quick it reads character by character.
  static std::optional<Scan> of(std::uint32_t encoding, std::size_t start = 0,
                                const QuickReaders* quick = quickReaders());

  /// Reads on in @p text, the same in every call, up to @p end; the character that begins before it is read whole.
  /// Stops earlier, behind the character that brings the errors to @p errorLimit.
  void advance(Bytes text, std::size_t end, std::uint64_t errorLimit);

  [[nodiscard]] const Counts& counts() const { return counts_; }

 private:
  const EightBitRules* eightBit_ = nullptr;
  const Iso2022Rules* iso2022_ = nullptr;  // one of the two
  const QuickReaders* quick_ = nullptr;
  Iso2022State state_;
  std::size_t at_ = 0;
  Counts counts_;
};

}  // namespace jv::sniffing
