#include <JorvaneFoundation/foundation/NSUUID.h>

#include <gtest/gtest.h>

namespace {

using JVFoundation::NSUUID;

TEST(NSUUID, IndexesComeOutInByteOrder) {
  const NSUUID id = NSUUID::UUIDWithIndex(0x0102030405060708);
  EXPECT_EQ(id.UUIDString(), "08070605-0403-0201-0000-000000000000");
  EXPECT_EQ(NSUUID::UUIDWithIndex(0), NSUUID::zeroUUID());
}

TEST(NSUUID, ReadsItsOwnTextInEitherCaseAndNoOther) {
  const NSUUID id(NSUUID::Bytes{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0xA, 0xB, 0xC, 0xDE, 0xF0, 0xFF});
  EXPECT_EQ(id.UUIDString(), "00010203-0405-0607-0809-0A0B0CDEF0FF");
  EXPECT_EQ(NSUUID::UUIDWithString("00010203-0405-0607-0809-0a0b0cdef0ff"), id);
  for (const char* bad : {
           "00010203-0405-0607-0809-0A0B0CDEF0F",   // short
           "000102030-405-0607-0809-0A0B0CDEF0FF",  // hyphen elsewhere
           "00010203-0405-0607-0809--A0B0CDEF0FF",  // hyphen for a digit
       }) {
    EXPECT_FALSE(NSUUID::UUIDWithString(bad)) << bad;
  }
}

TEST(NSUUID, RandomOnesDifferAndSayThatTheyAreRandom) {
  const NSUUID id = NSUUID::UUID();
  EXPECT_NE(id, NSUUID::UUID());
  EXPECT_EQ(id.bytes()[6] >> 4, 4);
  EXPECT_EQ(id.bytes()[8] >> 6, 2);
}

}  // namespace
