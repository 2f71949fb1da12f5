/// Four questions about a buffer of bytes, each answered in one forward pass.
///
/// They are heuristics, permissive in the particular ways that each one states, and no validators. All are pure: any
/// thread, no allocation, nothing touched but the buffer. The pointer is not read when the length is zero (or
/// negative, where the length is signed), so it may be null then.
#pragma once

#include <stdbool.h>
#include <stdint.h>

#include <JorvaneFoundation/foundation/JVExport.h>

JV_BEGIN_C

/// Line-break types, as `sniffLineBreakType` returns them and the sniffer table holds them.
enum {
  JVLineBreakTypeNone = 0,  ///< no line break of any kind
  JVLineBreakTypeCR = 1,    ///< carriage return alone
  JVLineBreakTypeCRLF = 2,  ///< carriage return and line feed
  JVLineBreakTypeLF = 3     ///< line feed alone
};

/// The line-break type that the caller of `sniffWithEnabledEncodings` regards as normal; 0 at load. Plain data that any
/// thread may write: writers and detections take turns. `JVEncodingDetector` sets it to 0 for every detection.
extern JV_EXPORT uint32_t JVDefaultLineBreakType;

/// Whether the @p length bytes could be UTF-8. The whole buffer is looked at.
///
/// False when a byte of C0 to EF is followed by a byte that is no continuation byte (80 to BF), when there is any byte
/// of F0 to FF, and when three continuation bytes stand in a row. Everything else passes: the empty buffer, lone
/// continuation bytes, C0 and C1, encoded surrogates, a sequence cut off by the end. So text with characters outside
/// the Basic Multilingual Plane (emoji, for example) is not possible UTF-8 by this measure.
JV_EXPORT bool isPossibleUTF8(const uint8_t* bytes, int64_t length) JV_NOEXCEPT;

/// Whether the bytes look like UTF-16 without a mark, in either byte order: one of the first 2000 bytes, the very first
/// left out, is a carriage return or line feed behind a zero byte. Text without line breaks there is not recognised.
JV_EXPORT bool isPossibleUTF16(const uint8_t* bytes, uint64_t length) JV_NOEXCEPT;

/// Whether any byte is 80 or above, or is ESC (1B), which the 7-bit encodings that switch character sets begin with.
JV_EXPORT bool containsHighASCII(const uint8_t* bytes, uint64_t length) JV_NOEXCEPT;

/// The line-break type that the bytes use most, counted until one of them has been seen 21 times: CRLF wins over CR
/// when there are more of it, and LF over the winner when there are more of it. `JVLineBreakTypeNone` without breaks.
/// The bytes 0D 00 0A count as one CRLF, which makes it work on UTF-16 of either byte order.
JV_EXPORT int64_t sniffLineBreakType(const uint8_t* bytes, int64_t length) JV_NOEXCEPT;

JV_END_C
