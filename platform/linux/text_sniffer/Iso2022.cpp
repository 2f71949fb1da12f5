#include "platform/linux/text_sniffer/Iso2022.h"

#include <algorithm>

#include "platform/linux/text_sniffer/code_tables.h"

namespace jv::sniffing {
namespace {

constexpr GraphicSet kKatakanaSet = {nullptr, 0x5F, 0};
constexpr GraphicSet kJisX0208Set = {&kJisX0208, 0, 0};
constexpr GraphicSet kJisX0212Set = {&kJisX0212, 0, 1};
constexpr GraphicSet kJisX0213Plane1Set = {&kJisX0213Plane1, 0, 2};
constexpr GraphicSet kJisX0213Plane2Set = {&kJisX0213Plane2, 0, 3};
constexpr GraphicSet kKsX1001Set = {&kKsX1001, 0, 4};

constexpr const GraphicSet* kPairSets[] = {&kJisX0208Set, &kJisX0212Set, &kJisX0213Plane1Set, &kJisX0213Plane2Set,
                                           &kKsX1001Set};

// clang-format off
constexpr Designation kJapanese[] = {
    {"$B",  &kJisX0208Set,       false},
    {"(B",  &kAsciiSet,          false},
    {"(J",  &kAsciiSet,          false},  // JIS X 0201 Roman: as many characters as ASCII
    {"$@",  &kJisX0208Set,       false},  // the edition of 1978
    {"(I",  &kKatakanaSet,       false},
    {"$(D", &kJisX0212Set,       false},
    {"$(O", &kJisX0213Plane1Set, false},  // the edition of 2000
    {"$(Q", &kJisX0213Plane1Set, false},  // the edition of 2004
    {"$(P", &kJisX0213Plane2Set, false},
};

constexpr Designation kKorean[] = {
    {"$)C", &kKsX1001Set, true},
};

constexpr Iso2022Rules kRules[] = {
    {0x0820, kJapanese, &kJisX0208Set},
    {0x0840, kKorean, nullptr},
};
// clang-format on

}  // namespace

std::span<const GraphicSet* const> graphicPairSets() { return kPairSets; }

const Iso2022Rules* findIso2022Rules(std::uint32_t encoding) {
  const auto* found = std::ranges::find(kRules, encoding, &Iso2022Rules::encoding);
  return found == std::end(kRules) ? nullptr : found;
}

}  // namespace jv::sniffing
