#include <JorvaneFoundation/foundation/NSUUID.h>

#include <gtest/gtest.h>

#include <unordered_set>

namespace {

using JVFoundation::NSUUID;

TEST(NSUUID, IndexesComeOutInByteOrder) {
  struct Case {
    std::uint64_t index;
    const char* text;
  };
  const Case cases[] = {
      {0, "00000000-0000-0000-0000-000000000000"},
      {1, "01000000-0000-0000-0000-000000000000"},
      {0x0102030405060708, "08070605-0403-0201-0000-000000000000"},
      {0xFEDCBA9876543210, "10325476-98BA-DCFE-0000-000000000000"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(NSUUID::UUIDWithIndex(c.index).UUIDString(), c.text);
    EXPECT_EQ(NSUUID::UUIDWithString(c.text), NSUUID::UUIDWithIndex(c.index));
  }
  EXPECT_EQ(NSUUID::UUIDWithIndex(0), NSUUID::zeroUUID());
  EXPECT_LT(NSUUID::zeroUUID(), NSUUID::UUIDWithIndex(1));
}

TEST(NSUUID, ReadsItsOwnTextInEitherCaseAndNoOther) {
  const NSUUID id(NSUUID::Bytes{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0xA, 0xB, 0xC, 0xDE, 0xF0, 0xFF});
  EXPECT_EQ(id.UUIDString(), "00010203-0405-0607-0809-0A0B0CDEF0FF");
  EXPECT_EQ(NSUUID::UUIDWithString("00010203-0405-0607-0809-0a0b0cdef0ff"), id);
  for (const char* bad : {
           "",
           "00010203-0405-0607-0809-0A0B0CDEF0F",    // short
           "00010203-0405-0607-0809-0A0B0CDEF0FF0",  // long
           "000102030-405-0607-0809-0A0B0CDEF0FF",   // hyphen elsewhere
           "00010203-0405-0607-0809-0A0B0CDEF0FG",   // no digit
           "{0010203-0405-0607-0809-0A0B0CDEF0FF",   // no digit in front
           "00010203-0405-0607-0809--A0B0CDEF0FF",   // hyphen for a digit
       }) {
    EXPECT_FALSE(NSUUID::UUIDWithString(bad)) << bad;
  }
}

TEST(NSUUID, RandomOnesDifferAndSayThatTheyAreRandom) {
  std::unordered_set<NSUUID> seen;
  for (int i = 0; i < 1000; ++i) {
    const NSUUID id = NSUUID::UUID();
    EXPECT_EQ(id.bytes()[6] >> 4, 4);
    EXPECT_EQ(id.bytes()[8] >> 6, 2);
    seen.insert(id);
  }
  EXPECT_EQ(seen.size(), 1000U);
}

}  // namespace
