/// `sniffLineBreakType` once more, byte by byte.
#pragma once

#include <JorvaneFoundation/encoding/byte_sniffers.h>

#include <cstddef>
#include <cstdint>

#include "support/input.h"

namespace jv::fuzz {

inline std::int64_t lineBreakTypeOf(Bytes text) {
  constexpr int kEnough = 21;
  const auto is = [text](std::size_t at, std::uint8_t byte) { return at < text.size() && text[at] == byte; };
  int cr = 0;
  int crlf = 0;
  int lf = 0;
  for (std::size_t at = 0; at < text.size() && cr < kEnough && crlf < kEnough && lf < kEnough;) {
    if (is(at, 0x0A)) {
      ++lf;
      at += 1;
    } else if (is(at, 0x0D) && is(at + 1, 0x00) && is(at + 2, 0x0A)) {
      ++crlf;
      at += 4;
    } else if (is(at, 0x0D) && is(at + 1, 0x0A)) {
      ++crlf;
      at += 2;
    } else {
      if (is(at, 0x0D)) ++cr;
      at += 1;
    }
  }
  if (cr == 0 && crlf == 0 && lf == 0) return JVLineBreakTypeNone;
  if (crlf > cr) return lf > crlf ? JVLineBreakTypeLF : JVLineBreakTypeCRLF;
  return lf > cr ? JVLineBreakTypeLF : JVLineBreakTypeCR;
}

}  // namespace jv::fuzz
