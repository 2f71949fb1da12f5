#include "platform/linux/text_sniffer/EightBitRules.h"

#include <algorithm>

#include "platform/linux/text_sniffer/code_tables.h"

namespace jv::sniffing {
namespace {

// Backslash, no-break space, copyright, trade mark, ellipsis: Mac Japanese has them, code page 932 does not.
constexpr bool kMacJapaneseSingles = true;

constexpr ByteRoles kShiftJisRoles =
    kMacJapaneseSingles ? ByteRoles({{0x80, 0x80}, {0xA0, 0xDF}, {0xFD, 0xFF}}, {{0x81, 0x9F}, {0xE0, 0xFC}},
                                    {{0x40, 0x7E}, {0x80, 0xFC}})
                        : ByteRoles({{0xA1, 0xDF}}, {{0x81, 0x9F}, {0xE0, 0xFC}}, {{0x40, 0x7E}, {0x80, 0xFC}});
// The trails that a lead must have all of to be full. The large code pages fill the rows of the national standards only
// where the standards do.
constexpr ByteRange kShiftJisTrails = {0x40, 0xFC};
constexpr ByteRange kAllTrails = {0x40, 0xFE};
constexpr ByteRange kEucTrails = {0xA1, 0xFE};

constexpr ByteRoles kEucRoles({}, {{0xA1, 0xFE}}, {{0xA1, 0xFE}});

// clang-format off
constexpr EightBitRules kRules[] = {
    {.encoding = 0x0001,  // Mac Japanese, code page 932
     .roles = kShiftJisRoles,
     .pairs = &kShiftJis,
     .habits = {0x8, kShiftJisTrails}},
    {.encoding = 0x0920,  // EUC-JP; 8E and half-width katakana are a pair like any other
     .roles = ByteRoles({}, {{0x8E, 0x8E}, {0xA1, 0xFE}}, {{0xA1, 0xFE}}, {{0x8F, 0x8F}}),
     .pairs = &kEucJp,
     .habits = {0xA, kEucTrails},
     .behind = {&kEucJpCodeSet3, 1}},
    {.encoding = 0x0002,  // Mac traditional Chinese, code page 950
     .roles = ByteRoles({{0x80, 0x82}, {0xA0, 0xA0}, {0xFD, 0xFF}}, {{0xA1, 0xFC}}, {{0x40, 0x7E}, {0xA1, 0xFE}}),
     .pairs = &kMacChineseTrad,
     .habits = {0xA, kAllTrails}},
    {.encoding = 0x0931,  // EUC-TW
     .roles = ByteRoles({}, {{0xA1, 0xFE}}, {{0xA1, 0xFE}}, {{0x8E, 0x8E}}),
     .pairs = &kEucTw,
     .habits = {0xA, kEucTrails},
     .behind = kEucTwPlanes,
     .planeByte = true},
    {.encoding = 0x0A03,  // Big5
     .roles = ByteRoles({}, {{0xA1, 0xFE}}, {{0x40, 0x7E}, {0xA1, 0xFE}}),
     .pairs = &kBig5,
     .habits = {0xA, kAllTrails}},
    {.encoding = 0x0003,  // Mac Korean, code page 949
     .roles = ByteRoles({{0x80, 0x84}, {0xFF, 0xFF}}, {{0x81, 0xFE}}, {{0x41, 0x7D}, {0x81, 0xFE}}),
     .pairs = &kMacKorean,
     .habits = {0xA, kEucTrails}},
    {.encoding = 0x0940,  // EUC-KR
     .roles = kEucRoles,
     .pairs = &kKsX1001,
     .habits = {0xA, kEucTrails}},
    {.encoding = 0x0019,  // Mac simplified Chinese, code page 936
     .roles = ByteRoles({{0x80, 0x82}, {0xA0, 0xA0}, {0xFD, 0xFF}}, {{0x81, 0xFE}}, {{0x40, 0x7E}, {0x80, 0xFE}}),
     .pairs = &kMacChineseSimp,
     .habits = {0xA, kAllTrails}},
    {.encoding = 0x0930,  // EUC-CN
     .roles = kEucRoles,
     .pairs = &kGb2312,
     .habits = {0xA, kEucTrails}},
};
// clang-format on

constexpr std::uint8_t kFirstPlane = 0xA1;

}  // namespace

std::span<const EightBitRules> eightBitRules() { return kRules; }

const EightBitRules* findEightBitRules(std::uint32_t encoding) {
  const auto* found = std::ranges::find(kRules, encoding, &EightBitRules::encoding);
  return found == std::end(kRules) ? nullptr : found;
}

std::size_t readIntroduced(const EightBitRules& rules, Bytes text, std::size_t at, Counts& counts) {
  const std::size_t length = rules.planeByte ? 4 : 3;
  const Bytes tail = text.subspan(at + 1, std::min(length, text.size() - at) - 1);
  const bool whole = tail.size() == length - 1 &&
                     std::ranges::all_of(tail, [&](std::uint8_t byte) { return (rules.roles[byte] & kTrail) != 0; });
  if (!whole) {
    ++counts.errors;
    return at + 1;
  }
  const std::size_t plane = rules.planeByte ? tail[0] - kFirstPlane : 0U;
  const bool assigned = plane < rules.behind.size() && rules.behind[plane].holds(tail[length - 3], tail[length - 2]);
  ++(assigned ? counts.features : counts.errors);
  return at + length;
}

}  // namespace jv::sniffing
