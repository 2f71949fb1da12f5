#include "FakeKeychain.h"

namespace {

using namespace jvtest;
using JVFoundation::Dictionary;
using JVFoundation::Value;
using testing::ElementsAre;
using testing::IsEmpty;

std::string found(const std::string& account) { return "find|s|" + account + "|||0|0|0|"; }

Dictionary item(std::string_view account) { return {{"class", "genp"}, {"svce", "s"}, {"acct", account}}; }

class GenericPasswords : public OnFakeKeychain {
 protected:
  std::vector<std::string> readAll() { return shown(JVKeychain::genericPasswordsWithService("s", &error)); }
  std::vector<std::string> readSome(const std::vector<std::string>& accounts) {
    return shown(JVKeychain::genericPasswordsWithAccounts(accounts, "s", &error));
  }
  bool save(std::optional<std::string_view> separator = "/", std::string_view service = "s",
            std::string_view account = "a") {
    return JVKeychain::saveGenericPassword(bytes("p"), service, account, separator, &error);
  }
};

TEST_F(GenericPasswords, OfAServiceAreLookedUpOneByOne) {
  EXPECT_THAT(readAll(), IsEmpty()) << "nothing stored gives an empty dictionary";
  EXPECT_EQ(error, std::nullopt);

  keychain.calls.clear();
  keychain.queryAnswer = Value(Value::Array{item("a"), item("b"), item("gone"), item("a")});
  keychain.lookups = {{0, "1"}, {0, std::string("\0\xFF", 2)}, {-25300}, {0, "2"}};
  EXPECT_THAT(readAll(), ElementsAre("a=2", std::string("b=\0\xFF", 4))) << "a later one replaces an earlier one";
  EXPECT_EQ(error, std::nullopt);
  EXPECT_THAT(keychain.calls, ElementsAre("query|s|*|*", found("a"), found("b"), found("gone"), found("a")));
}

TEST_F(GenericPasswords, OfAccountsAreAskedForOneByOne) {
  EXPECT_THAT(readSome({}), IsEmpty());
  EXPECT_EQ(error, std::nullopt);
  EXPECT_THAT(keychain.calls, IsEmpty()) << "nothing to ask";

  keychain.queryAnswer = Value(Value::Array{item("x"), item("y")});
  struct Case {
    const char* why;
    std::vector<std::string> accounts;
    const char *first, *second;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {"the last item wins", {"B", "A"}, "query|s|B|*", "query|s|A|*", {"B=2", "A=4"}},
      {"an empty one repeats the one before", {"A", ""}, "query|s|A|*", "query|s|A|*", {"A=2", "=4"}},
      {"in front it stands for all", {"", "A"}, "query|s|*|*", "query|s|A|*", {"=2", "A=4"}},
      {"repeated ones are asked for again", {"A", "A"}, "query|s|A|*", "query|s|A|*", {"A=4"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    keychain.calls.clear();
    keychain.lookups = {{0, "1"}, {0, "2"}, {0, "3"}, {0, "4"}};
    EXPECT_EQ(readSome(c.accounts), c.expected);
    EXPECT_EQ(keychain.calls[0], c.first);
    EXPECT_EQ(keychain.calls[3], c.second);
  }
}

TEST_F(GenericPasswords, AFailureDropsAllOfAServiceAndKeepsWhatTheAccountsBeforeGave) {
  keychain.queryAnswer = Value(Value::Array{item("a"), item("b")});
  keychain.lookups = {{0, "1"}, {-25293}};
  EXPECT_THAT(readAll(), ElementsAre("(none)"));
  EXPECT_THAT(error, IsStatus(kReading, -25293));
  keychain.lookups = {{0, "1"}, {0, "2"}, {0, "3"}, {-25293}};
  EXPECT_THAT(readSome({"A", "B", "C"}), ElementsAre("A=2", "B=3"));
  EXPECT_THAT(error, IsStatus(kReading, -25293));
  for (const auto& noArray : {std::optional<Value>("text"), std::optional<Value>()}) {
    keychain.queryAnswer = noArray;
    EXPECT_THAT(readAll(), ElementsAre("(none)"));
    EXPECT_THAT(error, IsStatus(kReading, -25306)) << "also for status 0 with nothing";
  }
  keychain.queryStatus = -25308;
  EXPECT_THAT(readSome({"A", "B"}), IsEmpty());
  EXPECT_THAT(error, IsStatus(kReading, -25308));
}

TEST_F(GenericPasswords, SavingAddsOrChangesAndLabels) {
  EXPECT_TRUE(save());
  EXPECT_EQ(error, std::nullopt);
  EXPECT_THAT(keychain.calls, ElementsAre("query|s|a|*", "add|s|a|||0|0|0|p", "modify|s/a|p"));

  keychain.calls.clear();
  keychain.queryAnswer = Value(Value::Array{item("gone"), item("theirs"), item("a")});
  keychain.lookups = {{-25300}, {}};
  EXPECT_TRUE(save(std::nullopt));
  EXPECT_THAT(keychain.calls, ElementsAre("query|s|a|*", found("gone"), found("theirs"), "modify|s(null)theirs|p"))
      << "a found item is labelled with its own names";

  keychain.calls.clear();
  keychain.queryAnswer = Value("text");
  EXPECT_TRUE(save("\xE2\x80\x94", "\xC3\xA9", "u")) << "what is no array is nothing";
  EXPECT_EQ(keychain.calls[1], "add|\xC3|u|||0|0|0|p") << "names are cut short";
  EXPECT_EQ(keychain.calls[2], "modify|\xC3\xA9\xE2\x80\x94u|p") << "the label is not";
}

TEST_F(GenericPasswords, SavingSaysWritting) {
  struct Case {
    const char* why;
    int query;
    std::deque<FakeKeychain::Lookup> lookups;
    int modify, add;
    int status;
  };
  const Case cases[] = {
      {"the query", -25291, {}, 0, 0, -25291},
      {"the lookup", 0, {{-25293}}, 0, 0, -25293},
      {"the change", 0, {{}}, -25292, 0, -25292},
      {"the addition", 0, {}, 0, -25299, -25299},
      {"the label of a new item", 0, {}, -25292, 0, -25292},
  };
  keychain.queryAnswer = Value(Value::Array{item("a")});
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    keychain.queryStatus = c.query;
    keychain.lookups = c.lookups;
    keychain.modifyStatus = c.modify;
    keychain.addStatus = c.add;
    EXPECT_FALSE(save());
    EXPECT_THAT(error, IsStatus(kWritting, c.status));
  }
}

}  // namespace
