#include "support.h"

namespace {

using namespace jvtest;
using JVFoundation::Dictionary;
using JVFoundation::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using Password = std::optional<std::string>;

Dictionary item(std::string_view host, std::string_view user, std::string_view protocol = "",
                std::string_view label = "label") {
  Dictionary attributes{{"class", "inet"}, {"srvr", host}, {"acct", user}, {"labl", label}};
  if (!protocol.empty()) attributes.set("ptcl", protocol);
  return attributes;
}

class InternetPasswords : public OnFakeKeychain {
 protected:
  Password read(std::optional<std::string_view> host = "h", std::string_view user = "u",
                std::int64_t protocol = JVKeychainProtocolAny) {
    error = someError();
    return JVKeychain::passwordForHost(host, user, protocol, &error);
  }
  bool save(std::optional<std::string_view> password, std::optional<std::string_view> host = "h",
            std::string_view user = "u", std::int64_t protocol = JVKeychainProtocolAny) {
    error = someError();
    return JVKeychain::savePassword(password, host, user, protocol, &error);
  }
};

TEST_F(InternetPasswords, AHostIsNeeded) {
  using Text = std::optional<std::string_view>;
  for (const auto& [host, quoted] : {std::pair<Text, std::string>{"", "\"\"."}, {std::nullopt, "\"(null)\"."}}) {
    EXPECT_EQ(read(host), std::nullopt);
    EXPECT_THAT(error, IsMalformed(kReading, "Cannot read passwords from the keychain for malformed host " + quoted));
    EXPECT_FALSE(save("p", host));
    EXPECT_THAT(error, IsMalformed(kWriting, "Cannot write password into the keychain for malformed host " + quoted));
  }
  EXPECT_THAT(keychain.calls, IsEmpty());
}

TEST_F(InternetPasswords, TheSelectorKnowsTwoProtocols) {
  struct Case {
    std::int64_t selector;
    std::string query;
    std::string added;
  };
  const Case cases[] = {
      {0, "", "0"},  {1, " ptcl=ftp", "1718906912"}, {2, " ptcl=ftps", "1718906995"}, {7, "", "0"},
      {-1, "", "0"}, {1LL << 32, "", "0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.selector);
    keychain.items.clear();
    keychain.calls.clear();
    EXPECT_TRUE(save("p", "h", "u", c.selector));
    const std::string query = std::string("query srvr=h acct=u").append(c.query);
    EXPECT_THAT(keychain.calls,
                ElementsAre(query, std::string("add 1:h 0- 1:u 0: 0 ").append(c.added).append(" 1953261156 p")));
    EXPECT_EQ(error, std::nullopt);
    keychain.items.clear();
    keychain.calls.clear();
    EXPECT_EQ(read("h", "u", c.selector), std::nullopt);
    EXPECT_EQ(error, std::nullopt) << "nothing found is no error";
    EXPECT_THAT(keychain.calls, ElementsAre(query));
  }
}

TEST_F(InternetPasswords, TheQueryHasItsEntriesInOrder) {
  read("h", "", JVKeychainProtocolFTP);
  EXPECT_THAT(keychain.queryKeys, ElementsAre("r_Attributes", "srvr", "acct", "ptcl", "m_Limit", "class"));
  EXPECT_EQ(keychain.calls.back(), "query srvr=h acct= ptcl=ftp") << "an empty user is looked for as such";
}

TEST_F(InternetPasswords, ItemsAreLookedUpByAllTheirAttributes) {
  struct Case {
    const char* why;
    Dictionary more;
    std::string lookup;
  };
  const Case cases[] = {
      {"what is missing has no bytes", {}, "find 1:h 0- 1:u 0- 0 0 0 bytes"},
      {"what is empty has none to be seen", {{"sdmn", ""}, {"path", ""}}, "find 1:h 0: 1:u 0: 0 0 0 bytes"},
      {"everything",
       {{"sdmn", "d"}, {"path", "/p"}, {"port", 21}, {"ptcl", "ftp"}, {"atyp", "ntlm"}},
       "find 1:h 1:d 1:u 2:/p 21 1718906912 1835824238 bytes"},
      {"a port has 16 bits", {{"port", 65557}}, "find 1:h 0- 1:u 0- 21 0 0 bytes"},
      {"also below zero", {{"port", std::int64_t{-1}}}, "find 1:h 0- 1:u 0- 65535 0 0 bytes"},
      {"names that nobody knows have no code", {{"ptcl", "sftp"}, {"atyp", "x"}}, "find 1:h 0- 1:u 0- 0 0 0 bytes"},
      {"what is no text is missing", {{"sdmn", 1}, {"port", "21"}}, "find 1:h 0- 1:u 0- 0 0 0 bytes"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    keychain.items.clear();
    keychain.calls.clear();
    Dictionary attributes = item("h", "u");
    for (const auto& [key, value] : c.more) attributes.set(key, value);
    keychain.add(attributes, "p");
    EXPECT_EQ(read(), "p");
    EXPECT_THAT(keychain.calls, ElementsAre("query srvr=h acct=u", c.lookup, "free", "release result"));
  }
}

TEST_F(InternetPasswords, LengthsAreUtf16UnitsOfUtf8Bytes) {
  keychain.add(item("h\xC3\xA9", "\xF0\x9F\x98\x80z"), "p");
  EXPECT_EQ(read("h\xC3\xA9", "\xF0\x9F\x98\x80z"), "") << "it is not found again, which counts as a hit";
  EXPECT_EQ(keychain.calls[1], "find 2:h\xC3 0- 3:\xF0\x9F\x98 0- 0 0 0 bytes");
  EXPECT_EQ(error, std::nullopt);

  EXPECT_TRUE(save("new", "h\xC3\xA9", "\xF0\x9F\x98\x80z")) << "when saving it does not: another item is added";
  EXPECT_EQ(keychain.items.size(), 2U);
  EXPECT_EQ(keychain.items[0].password, "p");
}

TEST_F(InternetPasswords, TheFirstPasswordThatIsATextIsRead) {
  struct Case {
    const char* why;
    std::vector<std::string> stored;
    std::deque<std::optional<int>> statuses;
    Password expected;
    int status;
  };
  const Case cases[] = {
      {"the first", {"one", "two"}, {}, "one", 0},
      {"an empty one is one", {"", "two"}, {}, "", 0},
      {"not UTF-8", {"\xFF", "two"}, {}, "two", 0},
      {"none is UTF-8", {"\xFF", "\xC3"}, {}, std::nullopt, 0},
      {"not found again counts as empty, and ends it", {"one", "two"}, {-25300}, "", 0},
      {"no length of an earlier one is used", {"\xFF", "two"}, {std::nullopt, -25300}, "", 0},
      {"a later failure drops it all", {"\xFF", "two"}, {std::nullopt, -25293}, std::nullopt, -25293},
      {"zero bytes stay", {std::string("a\0b", 3)}, {}, std::string("a\0b", 3), 0},
  };
  const std::string_view protocols[] = {"ftp", "ftps"};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    keychain.items.clear();
    for (std::size_t at = 0; at < c.stored.size(); ++at) keychain.add(item("h", "u", protocols[at]), c.stored[at]);
    keychain.lookupStatuses = {c.statuses.begin(), c.statuses.end()};
    keychain.lookupForgetsLength = true;
    EXPECT_EQ(read(), c.expected);
    if (c.status == 0) {
      EXPECT_EQ(error, std::nullopt);
    } else {
      EXPECT_THAT(error, IsStatus(kReading, c.status));
    }
  }
}

TEST_F(InternetPasswords, AnswersOfTheQueryWhenReading) {
  keychain.queryStatus = -25291;
  EXPECT_EQ(read(), std::nullopt);
  EXPECT_THAT(error, IsStatus(kReading, -25291));
  keychain.queryStatus.reset();

  keychain.queryAnswer = Value(Dictionary{});
  EXPECT_EQ(read(), std::nullopt);
  EXPECT_THAT(error, IsStatus(kReading, -25306));

  keychain.queryAnswer = Value(Value::Array{});
  for (const bool nothing : {false, true}) {
    keychain.queryGivesNothing = nothing;
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_EQ(error, std::nullopt);
  }
}

TEST_F(InternetPasswords, SavingChangesTheFirstItemFound) {
  keychain.add(item("h", "u", "ftp", "my label"), "1");
  keychain.add(item("h", "u", "ftps"), "2");
  EXPECT_TRUE(save("new"));
  EXPECT_EQ(error, std::nullopt);
  EXPECT_THAT(keychain.calls, ElementsAre("query srvr=h acct=u", "find 1:h 0- 1:u 0- 0 1718906912 0 item",
                                          "modify 1818321516=my label new", "release item", "release result"));
  EXPECT_EQ(keychain.items[1].password, "2");

  keychain.lookupStatuses = {-25300};
  EXPECT_TRUE(save(std::nullopt)) << "no password is an empty one";
  EXPECT_EQ(keychain.items[0].password, "new");
  EXPECT_EQ(keychain.items[1].password, "");

  keychain.lookupStatuses = {-25300, -25300};
  EXPECT_TRUE(save("third"));
  EXPECT_EQ(keychain.items.size(), 3U) << "none was found again";

  keychain.queryAnswer = Value("text");
  EXPECT_TRUE(save("p")) << "what is no array is nothing";
  EXPECT_EQ(asked().back(), "add 1:h 0- 1:u 0: 0 0 1953261156 p");
}

TEST_F(InternetPasswords, SavingNeverAddsAfterAFailure) {
  struct Case {
    const char* why;
    std::optional<int> query, lookup, modify, add;
    std::string_view label, description;
    int status;
  };
  const Case cases[] = {
      {"the query", -25291, {}, {}, {}, "l", kWriting, -25291},
      {"the lookup", {}, -25293, {}, {}, "l", kWritting, -25293},
      {"the change", {}, {}, -25292, {}, "l", kWritting, -25292},
      {"the addition", -25300, {}, {}, -25299, "l", kWriting, -25299},
      {"no label", {}, {}, {}, {}, "", kWriting, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    keychain.items.clear();
    keychain.calls.clear();
    keychain.add(item("h", "u", "", c.label), "old");
    keychain.queryStatus = c.query;
    keychain.lookupStatuses = {c.lookup};
    keychain.modifyStatus = c.modify;
    keychain.addStatus = c.add;
    EXPECT_FALSE(save("new"));
    if (c.status == 1) {
      EXPECT_THAT(error, IsMalformed(kWriting, "Cannot write password into the keychain for malformed item label."));
      EXPECT_EQ(keychain.calls[2], "release item");
    } else {
      EXPECT_THAT(error, IsStatus(c.description, c.status));
    }
    ASSERT_EQ(keychain.items.size(), 1U);
    EXPECT_EQ(keychain.items[0].password, "old");
  }
}

TEST_F(InternetPasswords, ADerivedClassMayChangeNamesAndErrors) {
  struct Methods : JVKeychain::Class {
    std::uint32_t protocolTypeForProtocolName(std::optional<std::string_view>) const override { return 7; }
    std::uint32_t authenticationTypeForAuthenticationName(std::optional<std::string_view>) const override { return 8; }
    JVFoundation::NSError errorWithDescription(std::string_view, std::int32_t status) const override {
      return {"mine", status};
    }
  } methods;
  keychain.add(item("h", "u"), "p");
  keychain.lookupStatuses = {-25293};
  EXPECT_EQ(methods.passwordForHost("h", "u", 0, &error), std::nullopt);
  EXPECT_EQ(keychain.calls[1], "find 1:h 0- 1:u 0- 0 7 8 bytes");
  EXPECT_EQ(error, JVFoundation::NSError("mine", -25293));
  EXPECT_TRUE(methods.savePassword("p", "h", "u", 0)) << "the error parameter may be left out";
}

}  // namespace
