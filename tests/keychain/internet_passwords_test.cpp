#include "FakeKeychain.h"

namespace {

using namespace jvtest;
using JVFoundation::Dictionary;
using JVFoundation::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using Password = std::optional<std::string>;
using Text = std::optional<std::string_view>;

Dictionary item(std::string_view host = "h", std::string_view user = "u", std::string_view label = "label") {
  return {{"class", "inet"}, {"srvr", host}, {"acct", user}, {"labl", label}};
}

class InternetPasswords : public OnFakeKeychain {
 protected:
  Password read(Text host = "h", std::int64_t protocol = JVKeychainProtocolAny) {
    error = someError();
    return JVKeychain::passwordForHost(host, "u", protocol, &error);
  }
  bool save(Text password = "new", Text host = "h", std::int64_t protocol = JVKeychainProtocolAny) {
    error = someError();
    return JVKeychain::savePassword(password, host, "u", protocol, &error);
  }
  void find(Value::Array items, std::deque<FakeKeychain::Lookup> lookups) {
    keychain.calls.clear();
    keychain.queryAnswer = Value(std::move(items));
    keychain.lookups = std::move(lookups);
  }
};

TEST_F(InternetPasswords, AHostIsNeeded) {
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
    const char *query, *addition;
  };
  const Case cases[] = {
      {1, "query|h|u|ftp", "add|h|u|||0|1718906912|1953261156|p"},
      {2, "query|h|u|ftps", "add|h|u|||0|1718906995|1953261156|p"},
      {1LL << 32, "query|h|u|*", "add|h|u|||0|0|1953261156|p"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.selector);
    find({}, {});
    EXPECT_EQ(read("h", c.selector), std::nullopt);
    EXPECT_EQ(error, std::nullopt) << "nothing found is no error";
    EXPECT_TRUE(save("p", "h", c.selector));
    EXPECT_EQ(error, std::nullopt);
    EXPECT_THAT(keychain.calls, ElementsAre(c.query, c.query, c.addition));
  }
}

TEST_F(InternetPasswords, ItemsAreLookedUpByAllTheirAttributes) {
  struct Case {
    const char* why;
    Dictionary more;
    const char* lookup;
  };
  const Case cases[] = {
      {"everything",
       {{"sdmn", "d"}, {"path", "/p"}, {"port", 21}, {"ptcl", "ftp"}, {"atyp", "ntlm"}},
       "find|h|u|d|/p|21|1718906912|1835824238|"},
      {"a port has 16 bits", {{"port", 65557}}, "find|h|u|||21|0|0|"},
      {"names that nobody knows have no code", {{"ptcl", "sftp"}, {"atyp", "x"}}, "find|h|u|||0|0|0|"},
      {"what is no text is missing", {{"sdmn", 1}, {"port", "21"}}, "find|h|u|||0|0|0|"},
      {"lengths are UTF-16 units of UTF-8 bytes",
       {{"srvr", "h\xC3\xA9"}, {"acct", "\xF0\x9F\x98\x80z"}},
       "find|h\xC3|\xF0\x9F\x98|||0|0|0|"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Dictionary attributes = item();
    for (const auto& [key, value] : c.more) attributes.set(key, value);
    find({attributes}, {{0, "p"}});
    EXPECT_EQ(read(), "p");
    EXPECT_THAT(keychain.calls, ElementsAre("query|h|u|*", c.lookup));
  }
}

TEST_F(InternetPasswords, TheFirstPasswordThatIsATextIsRead) {
  struct Case {
    const char* why;
    std::deque<FakeKeychain::Lookup> lookups;
    Password expected;
    int status;
  };
  const Case cases[] = {
      {"the first, zero bytes included", {{0, std::string("a\0b", 3)}, {0, "two"}}, std::string("a\0b", 3), 0},
      {"not UTF-8", {{0, "\xFF"}, {0, "two"}}, "two", 0},
      {"none is UTF-8", {{0, "\xFF"}, {0, "\xC3"}}, std::nullopt, 0},
      {"not found again counts as empty, and ends it", {{-25300}, {0, "two"}}, "", 0},
      {"a later failure drops it all", {{0, "\xFF"}, {-25293}}, std::nullopt, -25293},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    find({item(), item()}, c.lookups);
    EXPECT_EQ(read(), c.expected);
    EXPECT_EQ(error ? error->code() : 0, c.status);
  }
}

TEST_F(InternetPasswords, AnswersOfTheQueryWhenReading) {
  keychain.queryAnswer = std::nullopt;
  EXPECT_EQ(read(), std::nullopt);
  EXPECT_EQ(error, std::nullopt) << "status 0 without an answer";
  keychain.queryAnswer = Value(Dictionary{});
  EXPECT_EQ(read(), std::nullopt);
  EXPECT_THAT(error, IsStatus(kReading, -25306));
  keychain.queryStatus = -25291;
  EXPECT_EQ(read(), std::nullopt);
  EXPECT_THAT(error, IsStatus(kReading, -25291));
}

TEST_F(InternetPasswords, SavingChangesTheFirstItemFoundOrAddsOne) {
  const char *const query = "query|h|u|*", *const lookup = "find|h|u|||0|0|0|";
  find({item("h", "u", "own"), item("h", "u", "other's")}, {{-25300}, {}});
  EXPECT_TRUE(save(std::nullopt));
  EXPECT_EQ(error, std::nullopt);
  EXPECT_THAT(keychain.calls, ElementsAre(query, lookup, lookup, "modify|other's|")) << "no password is an empty one";
  find({item()}, {});
  EXPECT_TRUE(save());
  EXPECT_THAT(keychain.calls, ElementsAre(query, lookup, "add|h|u|||0|0|1953261156|new"));
  keychain.queryAnswer = Value("text");
  EXPECT_TRUE(save()) << "what is no array is nothing";
}

TEST_F(InternetPasswords, SavingNeverAddsAfterAFailure) {
  struct Case {
    const char* why;
    int query, lookup, modify, add;
    std::string_view label, description;
    int status;
    std::size_t calls;
  };
  const Case cases[] = {
      {"the query", -25291, 0, 0, 0, "l", kWriting, -25291, 1},
      {"the lookup", 0, -25293, 0, 0, "l", kWritting, -25293, 2},
      {"the change", 0, 0, -25292, 0, "l", kWritting, -25292, 3},
      {"the addition", -25300, 0, 0, -25299, "l", kWriting, -25299, 2},
      {"no label", 0, 0, 0, 0, "", kWriting, 1, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    find({item("h", "u", c.label)}, {{c.lookup}});
    keychain.queryStatus = c.query;
    keychain.modifyStatus = c.modify;
    keychain.addStatus = c.add;
    EXPECT_FALSE(save());
    if (c.status == 1) {
      EXPECT_THAT(error, IsMalformed(kWriting, "Cannot write password into the keychain for malformed item label."));
    } else {
      EXPECT_THAT(error, IsStatus(c.description, c.status));
    }
    EXPECT_EQ(keychain.calls.size(), c.calls);
  }
}

TEST_F(InternetPasswords, ADerivedClassMayChangeNamesAndErrors) {
  struct Methods : JVKeychain::Class {
    std::uint32_t protocolTypeForProtocolName(Text) const override { return 7; }
    std::uint32_t authenticationTypeForAuthenticationName(Text) const override { return 8; }
    JVFoundation::NSError errorWithDescription(std::string_view, std::int32_t status) const override {
      return {"mine", status};
    }
  } methods;
  find({item()}, {{-25293}});
  EXPECT_EQ(methods.passwordForHost("h", "u", 0, &error), std::nullopt);
  EXPECT_EQ(keychain.calls[1], "find|h|u|||0|7|8|");
  EXPECT_EQ(error, JVFoundation::NSError("mine", -25293));
}

}  // namespace
