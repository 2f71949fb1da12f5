#include <JorvaneFoundation/foundation/Value.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using JVFoundation::Dictionary;
using JVFoundation::NSNumber;
using JVFoundation::Value;
using namespace std::literals;

TEST(Value, AnswersOnlyForItsOwnKind) {
  struct Case {
    Value value;
    Value::Kind kind;
  };
  const Case cases[] = {
      {7, Value::Kind::number},
      {true, Value::Kind::number},
      {std::int64_t{7}, Value::Kind::number},
      {std::uint64_t{7}, Value::Kind::number},
      {7.0, Value::Kind::number},
      {"text", Value::Kind::text},
      {""sv, Value::Kind::text},
      {Value::Data{1, 2}, Value::Kind::data},
      {Value::Array{1, "two"}, Value::Kind::array},
      {Dictionary{}, Value::Kind::dictionary},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.kind));
    EXPECT_EQ(c.value.kind(), c.kind);
    EXPECT_EQ(c.value.number() != nullptr, c.kind == Value::Kind::number);
    EXPECT_EQ(c.value.text() != nullptr, c.kind == Value::Kind::text);
    EXPECT_EQ(c.value.data() != nullptr, c.kind == Value::Kind::data);
    EXPECT_EQ(c.value.array() != nullptr, c.kind == Value::Kind::array);
    EXPECT_EQ(c.value.dictionary() != nullptr, c.kind == Value::Kind::dictionary);
    EXPECT_EQ(c.value.find("key"), nullptr);
    for (const Case& other : cases) EXPECT_EQ(c.value == other.value, &c == &other);
  }
}

TEST(Value, TextsMayHoldZeroBytesAndNullIsEmpty) {
  EXPECT_EQ(*Value("a\0b"s).text(), "a\0b"s);
  const char* nothing = nullptr;
  EXPECT_EQ(*Value(nothing).text(), "");
}

TEST(Value, LooksUpByKeyAndKind) {
  const Value result = Dictionary{{"JVTaskStatus", -666}, {"JVTaskError", "no such file"}};
  EXPECT_EQ(*result.number("JVTaskStatus"), NSNumber(-666));
  EXPECT_EQ(*result.text("JVTaskError"), "no such file");
  EXPECT_EQ(result.text("JVTaskStatus"), nullptr);
  EXPECT_EQ(result.number("JVTaskError"), nullptr);
  EXPECT_EQ(result.text("JVTaskOutput"), nullptr);
}

TEST(Value, CopiesShareTheirContents) {
  Value copy = 0;
  const std::string* text = nullptr;
  {
    const Value original = Dictionary{{"key", std::string(1000, 'x')}};
    copy = original;
    text = original.text("key");
  }
  EXPECT_EQ(copy.text("key"), text);
}

TEST(Dictionary, KeepsTheOrderOfInsertion) {
  Dictionary built;
  built.set("z", 1).set("a", 2).set("m", 3).set("z", 4);
  std::string keys;
  for (const auto& [key, value] : built) keys += key;
  EXPECT_EQ(keys, "zam");
  EXPECT_EQ(*built.find("z"), Value(4));
  EXPECT_EQ(built, (Dictionary{{"m", 3}, {"a", 2}, {"z", 1}, {"z", 4}})) << "the order is no part of equality";
  EXPECT_NE(built, (Dictionary{{"m", 3}, {"a", 2}, {"y", 4}}));
  EXPECT_NE(built, (Dictionary{{"m", 3}, {"a", 2}}));
}

TEST(Dictionary, ChangesDoNotReachTheValueMadeBefore) {
  Dictionary built{{"key", "before"}};
  const Value value = built;
  built.set("key", "after");
  EXPECT_EQ(*value.text("key"), "before");
}

}  // namespace
