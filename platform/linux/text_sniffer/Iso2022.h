/// The 7-bit encodings that switch between character sets by escape sequences and shifts: ISO-2022-JP and -KR.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "platform/linux/text_sniffer/CodeTable.h"
#include "platform/linux/text_sniffer/Counts.h"

namespace jv::sniffing {

inline constexpr std::uint8_t kShiftOut = 0x0E;
inline constexpr std::uint8_t kShiftIn = 0x0F;
inline constexpr std::uint8_t kEscape = 0x1B;

/// What the bytes 21 to 7E stand for: pairs, or single characters up to the last of the set.
struct GraphicSet {
  const CodeTable* pairs;   ///< by the two bytes with their high bits on; null: a set of single bytes
  std::uint8_t lastSingle;  ///< in a set of single bytes
  std::uint8_t number;      ///< among the sets of pairs, from 0 on
};

inline constexpr GraphicSet kAsciiSet = {nullptr, 0x7E, 0};

/// An escape sequence and the set that it brings.
struct Designation {
  std::string_view escape;  ///< what follows ESC
  const GraphicSet* set;
  bool forShiftOut;  ///< the set is used between SO and SI; otherwise at once
};

/// An encoding.
struct Iso2022Rules {
  std::uint32_t encoding;  ///< Core encoding number
  std::span<const Designation> designations;
  /// What nearly all text uses beside ASCII, switched on by ESC $ B or ESC $ @ and off by ESC ( B or ESC ( J; or null.
  const GraphicSet* usual;
};

/// What a text has switched on so far. At first ASCII, and nothing for SO to bring in.
struct Iso2022State {
  const GraphicSet* direct = &kAsciiSet;
  const GraphicSet* behindShiftOut = nullptr;
  bool shiftedOut = false;

  [[nodiscard]] const GraphicSet& active() const { return shiftedOut ? *behindShiftOut : *direct; }
};

/// All sets of pairs, by their numbers.
std::span<const GraphicSet* const> graphicPairSets();

/// The rules of @p encoding; null when it is none of these.
const Iso2022Rules* findIso2022Rules(std::uint32_t encoding);

constexpr bool isGraphic(std::uint8_t byte) { return byte > 0x20 && byte < 0x7F; }
constexpr std::uint8_t high(std::uint8_t byte) { return static_cast<std::uint8_t>(byte | 0x80); }

/// Whether @p text begins with @p escape, which has two or three characters.
inline bool startsWith(Bytes text, std::string_view escape) {
  return text.size() >= escape.size() && text[0] == escape[0] && text[1] == escape[1] &&
         (escape.size() == 2 || text[2] == escape[2]);
}

inline std::size_t readEscape(const Iso2022Rules& rules, Iso2022State& state, Bytes text, std::size_t at,
                              Counts& counts) {
  const Bytes behind = text.subspan(at + 1);
  for (const Designation& designation : rules.designations) {
    if (!startsWith(behind, designation.escape)) continue;
    (designation.forShiftOut ? state.behindShiftOut : state.direct) = designation.set;
    return at + 1 + designation.escape.size();
  }
  ++counts.errors;
  return at + 1;
}

inline std::size_t readPair(const CodeTable& pairs, Bytes text, std::size_t at, Counts& counts) {
  if (text.size() - at < 2 || !isGraphic(text[at + 1])) {
    ++counts.errors;
    return at + 1;
  }
  ++(pairs.holds(high(text[at]), high(text[at + 1])) ? counts.features : counts.errors);
  return at + 2;
}

/// Judges the character, control or escape sequence at @p at, inside @p text, and gives the position behind it. What
/// counts as one error:
/// - two bytes of 21 to 7E that are no character of the set of pairs that is on;
/// - the first byte of a pair that is cut off, and a byte that the set of single bytes lacks;
/// - ESC before anything but a sequence of this encoding; SO and SI before a set has been named for them;
/// - a byte of 80 or above.
/// Spaces and controls may stand anywhere between characters; the end of a line ends what SO began.
inline std::size_t readCharacter(const Iso2022Rules& rules, Iso2022State& state, Bytes text, std::size_t at,
                                 Counts& counts) {
  const std::uint8_t byte = text[at];
  if (byte == kEscape) return readEscape(rules, state, text, at, counts);
  if (isGraphic(byte)) {
    const GraphicSet& set = state.active();
    if (set.pairs != nullptr) return readPair(*set.pairs, text, at, counts);
    if (byte > set.lastSingle) ++counts.errors;
  } else if (byte >= 0x80) {
    ++counts.errors;
  } else if (byte == kShiftOut || byte == kShiftIn) {
    if (state.behindShiftOut == nullptr) {
      ++counts.errors;
    } else {
      state.shiftedOut = byte == kShiftOut;
    }
  } else if (byte == '\n' || byte == '\r') {
    state.shiftedOut = false;
  }
  return at + 1;
}

}  // namespace jv::sniffing
