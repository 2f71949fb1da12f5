#include <JorvaneFoundation/encoding/string_encodings.h>

#include <algorithm>
#include <array>

extern const std::uint64_t JVUnknownStringEncoding = 0xFFFFFFFF;

namespace JVFoundation {
namespace {

constexpr std::uint64_t kOtherEncoding = 0x80000000;

struct Encoding {
  std::uint32_t core;
  std::uint64_t string;
  std::string_view name;
};

constexpr Encoding without(std::uint32_t core, std::string_view name) { return {core, kOtherEncoding | core, name}; }

// clang-format off
constexpr auto kEncodings = std::to_array<Encoding>({
    {kCFStringEncodingASCII,       NSASCIIStringEncoding,       "ASCII"},
    {kCFStringEncodingUTF8,        NSUTF8StringEncoding,        "UTF-8"},
    {kCFStringEncodingUnicode,     NSUnicodeStringEncoding,     "UTF-16"},
    {kCFStringEncodingDOSJapanese, NSShiftJISStringEncoding,    "Shift_JIS"},
    {kCFStringEncodingEUC_JP,      NSJapaneseEUCStringEncoding, "EUC-JP"},
    {kCFStringEncodingISO_2022_JP, NSISO2022JPStringEncoding,   "ISO-2022-JP"},
    without(kCFStringEncodingMacJapanese,       "x-mac-japanese"),
    without(kCFStringEncodingMacChineseTrad,    "x-mac-chinesetrad"),
    without(kCFStringEncodingDOSChineseTrad,    "CP950"),
    without(kCFStringEncodingEUC_TW,            "EUC-TW"),
    without(kCFStringEncodingBig5,              "Big5"),
    without(kCFStringEncodingMacKorean,         "x-mac-korean"),
    without(kCFStringEncodingDOSKorean,         "CP949"),
    without(kCFStringEncodingISO_2022_KR,       "ISO-2022-KR"),
    without(kCFStringEncodingEUC_KR,            "EUC-KR"),
    without(kCFStringEncodingMacChineseSimp,    "x-mac-chinesesimp"),
    without(kCFStringEncodingDOSChineseSimplif, "CP936"),
    without(kCFStringEncodingEUC_CN,            "GB2312"),
});
// clang-format on

}  // namespace

std::uint64_t stringEncodingOf(std::uint32_t encoding) noexcept {
  const auto* row = std::ranges::find(kEncodings, encoding, &Encoding::core);
  return row == kEncodings.end() ? kOtherEncoding | encoding : row->string;
}

std::string_view nameOfStringEncoding(std::uint64_t encoding) noexcept {
  const auto* row = std::ranges::find(kEncodings, encoding, &Encoding::string);
  return row == kEncodings.end() ? "unknown" : row->name;
}

}  // namespace JVFoundation
