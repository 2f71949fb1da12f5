/// The two numberings of encodings, and the names that people know them by.
///
/// Core encoding numbers (32 bits) fill the sniffer table. String encoding numbers (64 bits) are what detections
/// return; a Core number v that has none of its own there is 0x80000000 | v.
#pragma once

#include <stdint.h>

#include <JorvaneFoundation/foundation/JVExport.h>

JV_BEGIN_C

/// Core encoding numbers.
enum {
  kCFStringEncodingMacJapanese = 0x0001,
  kCFStringEncodingMacChineseTrad = 0x0002,
  kCFStringEncodingMacKorean = 0x0003,
  kCFStringEncodingMacChineseSimp = 0x0019,
  kCFStringEncodingUnicode = 0x0100,  ///< UTF-16
  kCFStringEncodingDOSJapanese = 0x0420,
  kCFStringEncodingDOSChineseSimplif = 0x0421,
  kCFStringEncodingDOSKorean = 0x0422,
  kCFStringEncodingDOSChineseTrad = 0x0423,
  kCFStringEncodingASCII = 0x0600,
  kCFStringEncodingISO_2022_JP = 0x0820,
  kCFStringEncodingISO_2022_KR = 0x0840,
  kCFStringEncodingEUC_JP = 0x0920,
  kCFStringEncodingEUC_CN = 0x0930,
  kCFStringEncodingEUC_TW = 0x0931,
  kCFStringEncodingEUC_KR = 0x0940,
  kCFStringEncodingBig5 = 0x0A03,
  kCFStringEncodingUTF8 = 0x08000100
};

/// String encoding numbers.
enum {
  NSASCIIStringEncoding = 1,
  NSJapaneseEUCStringEncoding = 3,
  NSUTF8StringEncoding = 4,
  NSShiftJISStringEncoding = 8,
  NSUnicodeStringEncoding = 10,
  NSISO2022JPStringEncoding = 21
};

/// No encoding could be decided: 0xFFFFFFFF.
extern JV_EXPORT const uint64_t JVUnknownStringEncoding;

JV_END_C

#ifdef __cplusplus
#include <string_view>

namespace JVFoundation {

/// The string encoding number of Core encoding number @p encoding.
[[nodiscard]] JV_EXPORT std::uint64_t stringEncodingOf(std::uint32_t encoding) noexcept;

/// The usual name of a string encoding number, as mail and web headers spell it ("Shift_JIS", "EUC-JP", "ASCII"); of a
/// Core number without one, the name of its code page or script; "unknown" for `JVUnknownStringEncoding` and for what
/// no row of the sniffer table stands for. A text of static lifetime.
[[nodiscard]] JV_EXPORT std::string_view nameOfStringEncoding(std::uint64_t encoding) noexcept;

}  // namespace JVFoundation
#endif
