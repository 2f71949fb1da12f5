#include <JorvaneFoundation/foundation/Value.h>

#include <gtest/gtest.h>

#include <iterator>
#include <string>

namespace {

using JVFoundation::Dictionary;
using JVFoundation::Value;

TEST(Value, AnswersOnlyForItsOwnKind) {
  const char* nothing = nullptr;
  EXPECT_EQ(Value(nothing), Value(""));
  const Value values[] = {7, "text", Value::Data{1, 2}, Value::Array{1, "two"}, Dictionary{}, 7.0};
  for (std::size_t at = 0; at < std::size(values); ++at) {
    SCOPED_TRACE(at);
    const Value& value = values[at];
    const bool answers[] = {value.number() != nullptr, value.text() != nullptr, value.data() != nullptr,
                            value.array() != nullptr, value.dictionary() != nullptr};
    for (std::size_t kind = 0; kind < std::size(answers); ++kind) EXPECT_EQ(answers[kind], kind == at % 5);
    for (const Value& other : values) EXPECT_EQ(value == other, &value == &other);
  }
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
}

}  // namespace
