#include "support.h"

namespace {

using namespace jvtest;
using JVFoundation::Dictionary;
using JVFoundation::Value;
using testing::ElementsAre;
using testing::IsEmpty;

Dictionary item(std::string_view account, std::string_view service = "s") {
  return {{"class", "genp"}, {"svce", service}, {"acct", account}, {"labl", "label"}};
}

std::string labelOf(const FakeKeychain::Item& stored) { return *Value(stored.attributes).text("labl"); }

class GenericPasswords : public OnFakeKeychain {
 protected:
  std::vector<std::string> readAll() {
    error = someError();
    return shown(JVKeychain::genericPasswordsWithService("s", &error));
  }
  std::vector<std::string> readSome(const std::vector<std::string>& accounts) {
    error = someError();
    return shown(JVKeychain::genericPasswordsWithAccounts(accounts, "s", &error));
  }
  bool save(std::string_view password, std::optional<std::string_view> separator = "/", std::string_view service = "s",
            std::string_view account = "a") {
    error = someError();
    return JVKeychain::saveGenericPassword(bytes(password), service, account, separator, &error);
  }
};

TEST_F(GenericPasswords, OfAService) {
  EXPECT_THAT(readAll(), IsEmpty()) << "nothing stored gives an empty dictionary";
  EXPECT_EQ(error, std::nullopt);

  keychain.add(item("a"), "1");
  keychain.add(item("b"), std::string("\0\xFF", 2));
  keychain.add(item("gone"), "3");
  keychain.add(item("a", "other"), "4");
  keychain.lookupStatuses = {std::nullopt, std::nullopt, -25300};
  keychain.calls.clear();
  EXPECT_THAT(readAll(), ElementsAre("a=1", std::string("b=\0\xFF", 4)));
  EXPECT_EQ(error, std::nullopt);
  EXPECT_THAT(keychain.queryKeys, ElementsAre("r_Attributes", "svce", "m_Limit", "class"));
  EXPECT_THAT(keychain.calls, ElementsAre("query svce=s", "find 1:s 1:a bytes", "free", "find 1:s 1:b bytes", "free",
                                          "find 1:s 4:gone bytes", "release result"));
}

TEST_F(GenericPasswords, OfAServiceFailingDropEverything) {
  keychain.add(item("a"), "1");
  keychain.add(item("b"), "2");
  keychain.lookupStatuses = {std::nullopt, -25293};
  EXPECT_THAT(readAll(), ElementsAre("(none)"));
  EXPECT_THAT(error, IsStatus(kReading, -25293));

  keychain.queryStatuses = {-25308};
  EXPECT_THAT(readAll(), ElementsAre("(none)"));
  EXPECT_THAT(error, IsStatus(kReading, -25308));

  for (const bool nothing : {true, false}) {
    keychain.queryGivesNothing = nothing;
    keychain.queryAnswer = Value("text");
    EXPECT_THAT(readAll(), ElementsAre("(none)"));
    EXPECT_THAT(error, IsStatus(kReading, -25306)) << "what is no array, and status 0 with nothing, are errors";
  }
}

TEST_F(GenericPasswords, ALaterItemReplacesAnEarlierOne) {
  keychain.queryAnswer = Value(Value::Array{item("a"), item("b"), item("a")});
  keychain.add(item("b"), "2");
  keychain.add(item("a"), "1");
  EXPECT_THAT(readAll(), ElementsAre("a=1", "b=2"));
  EXPECT_EQ(asked().size(), 4U) << "each is looked up";
}

TEST_F(GenericPasswords, OfAccounts) {
  EXPECT_THAT(readSome({}), IsEmpty());
  EXPECT_EQ(error, std::nullopt);
  EXPECT_THAT(keychain.calls, IsEmpty()) << "nothing to ask";

  keychain.add(item("A"), "1");
  keychain.add(item("B"), "2");
  struct Case {
    const char* why;
    std::vector<std::string> accounts, expected;
    std::vector<std::string> queries;
  };
  const Case cases[] = {
      {"some", {"B", "none", "A"}, {"B=2", "A=1"}, {"acct=B", "acct=none", "acct=A"}},
      {"an empty one repeats the one before", {"A", "", "B"}, {"A=1", "=1", "B=2"}, {"acct=A", "acct=A", "acct=B"}},
      {"in front it stands for all, and the last wins", {"", "A"}, {"=2", "A=1"}, {"", "acct=A"}},
      {"repeated ones are asked for again", {"A", "A"}, {"A=1"}, {"acct=A", "acct=A"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    keychain.calls.clear();
    EXPECT_EQ(readSome(c.accounts), c.expected);
    EXPECT_EQ(error, std::nullopt);
    std::vector<std::string> queries;
    for (const std::string& call : asked()) {
      if (!call.starts_with("query")) continue;
      const auto at = call.find("acct");
      queries.push_back(at == std::string::npos ? "" : call.substr(at));
    }
    EXPECT_EQ(queries, c.queries);
  }
  EXPECT_THAT(keychain.queryKeys, ElementsAre("r_Attributes", "svce", "m_Limit", "class", "acct"));
}

TEST_F(GenericPasswords, OfAccountsKeepsWhatCameBeforeAFailure) {
  for (const char* account : {"A", "B", "C", "D"}) keychain.add(item(account), account);
  keychain.lookupStatuses = {std::nullopt, std::nullopt, -25293};
  EXPECT_THAT(readSome({"A", "B", "C", "D"}), ElementsAre("A=A", "B=B"));
  EXPECT_THAT(error, IsStatus(kReading, -25293));

  keychain.queryStatuses = {std::nullopt, -25291};
  EXPECT_THAT(readSome({"A", "B", "C"}), ElementsAre("A=A"));
  EXPECT_THAT(error, IsStatus(kReading, -25291));

  keychain.queryAnswer = Value(1);
  EXPECT_THAT(readSome({"A", "B"}), IsEmpty());
  EXPECT_THAT(error, IsStatus(kReading, -25306));
}

TEST_F(GenericPasswords, SavingANewItemAddsAndLabelsIt) {
  EXPECT_TRUE(save("p"));
  EXPECT_EQ(error, std::nullopt);
  EXPECT_THAT(keychain.queryKeys, ElementsAre("r_Attributes", "svce", "acct", "m_Limit", "class"));
  EXPECT_THAT(keychain.calls,
              ElementsAre("query svce=s acct=a", "add 1:s 1:a p item", "modify 1818321516=s/a p", "release item"));

  keychain.calls.clear();
  EXPECT_TRUE(save("q", "-"));
  EXPECT_THAT(keychain.calls, ElementsAre("query svce=s acct=a", "find 1:s 1:a item", "modify 1818321516=s-a q",
                                          "release item", "release result"));
  EXPECT_EQ(keychain.items.size(), 1U);

  EXPECT_TRUE(save("r", std::nullopt));
  EXPECT_EQ(labelOf(keychain.items[0]), "s(null)a");
}

TEST_F(GenericPasswords, TheLabelIsWhole) {
  EXPECT_TRUE(save("p", "\xE2\x80\x94", "\xC3\xA9", "u"));
  EXPECT_THAT(keychain.calls[1], "add 1:\xC3 1:u p item") << "names are cut short";
  EXPECT_THAT(keychain.calls[2], "modify 1818321516=\xC3\xA9\xE2\x80\x94u p") << "the label is not";

  keychain.items.clear();
  keychain.queryAnswer = Value(Value::Array{item("theirs", "own")});
  keychain.add(item("theirs", "own"), "x");
  EXPECT_TRUE(save("p", "+"));
  EXPECT_EQ(labelOf(keychain.items[0]), "own+theirs") << "a found item is labelled with its own names";
}

TEST_F(GenericPasswords, SavingSaysWritting) {
  struct Case {
    const char* why;
    bool isThere;
    std::optional<int> query, lookup, modify, add;
    int status;
    std::size_t items;
  };
  const Case cases[] = {
      {"the query", true, -25291, {}, {}, {}, -25291, 1},
      {"the lookup", true, {}, -25293, {}, {}, -25293, 1},
      {"the change", true, {}, {}, -25292, {}, -25292, 1},
      {"the addition", false, {}, {}, {}, -25299, -25299, 0},
      {"the label of a new item, which is there all the same", false, {}, {}, -25292, {}, -25292, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    keychain.items.clear();
    if (c.isThere) keychain.add(item("a"), "old");
    keychain.queryStatus = c.query;
    keychain.lookupStatuses = {c.lookup};
    keychain.modifyStatus = c.modify;
    keychain.addStatus = c.add;
    EXPECT_FALSE(save("new"));
    EXPECT_THAT(error, IsStatus(kWritting, c.status));
    EXPECT_EQ(keychain.items.size(), c.items);
  }
}

TEST_F(GenericPasswords, SavingAddsWhenNothingIsFoundAgain) {
  keychain.add(item("a"), "old");
  keychain.lookupStatuses = {-25300};
  EXPECT_TRUE(save("new"));
  EXPECT_EQ(keychain.items.size(), 2U);
  keychain.queryAnswer = Value("text");
  EXPECT_TRUE(save("new"));
  EXPECT_EQ(keychain.items.size(), 3U);
}

}  // namespace
