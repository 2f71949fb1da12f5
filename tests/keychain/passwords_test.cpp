// Internet and generic passwords on a keychain that answers as told: what it is asked, and what becomes of its answers.
#include <deque>
#include <sstream>
#include <tuple>
#include <vector>

#include "platform/KeychainByKey.h"
#include "support.h"

namespace {

using namespace jvtest;
using JVFoundation::Dictionary;
using JVFoundation::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using Text = std::optional<std::string_view>;

constexpr std::string_view kWriting = "Error writing credentials into the keychain";
constexpr std::string_view kWritting = "Error writting credentials into the keychain";

/// A keychain that answers as a test says, writes down what it is asked, and counts what it has handed out.
class FakeKeychain final : public jv::KeychainByKey {
 public:
  struct Lookup {
    OSStatus status = 0;
    std::string password = {};
  };

  OSStatus queryStatus = 0;
  std::optional<Value> queryAnswer = Value(Value::Array{});  ///< none: status 0 without a result
  std::deque<Lookup> lookups;                                ///< what is found, one after the other; then nothing is
  OSStatus addStatus = 0;
  OSStatus modifyStatus = 0;

  std::vector<std::string> calls;
  int handedOut = 0;  ///< results and items that were not handed back

  void CFRelease(const Value* result) override {
    --handedOut;
    delete result;
  }
  void CFRelease(ItemRef item) override {
    --handedOut;
    delete reinterpret_cast<int*>(item);
  }

 protected:
  OSStatus copyMatching(const jv::ItemQuery& query, const Value*& result) override {
    record("query", query.name, query.account.value_or("*"), query.protocol.value_or("*"));
    if (queryStatus != 0 || !queryAnswer) return queryStatus;
    ++handedOut;
    result = new Value(*queryAnswer);
    return 0;
  }
  OSStatus find(const jv::ItemKey& key, std::uint32_t* length, void** data, ItemRef* item) override {
    record("find", key.name, key.account, key.securityDomain, key.path, key.port, key.protocol, key.authentication);
    if (lookups.empty()) return JVPlatform::errSecItemNotFound;
    const Lookup lookup = lookups.front();
    lookups.pop_front();
    if (length != nullptr) *length = 1000;  // left behind by a lookup that fails
    if (lookup.status != 0) return lookup.status;
    const std::string& text = lookup.password;
    if (data != nullptr) handOut({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, length, data);
    return refer(item);
  }
  OSStatus add(const jv::ItemKey& key, Bytes password, ItemRef* item) override {
    record("add", key.name, key.account, key.securityDomain, key.path, key.port, key.protocol, key.authentication,
           std::string(password.begin(), password.end()));
    return addStatus != 0 ? addStatus : refer(item);
  }
  OSStatus modify(ItemRef, std::optional<std::string_view> label, Bytes password) override {
    record("modify", label.value_or("*"), std::string(password.begin(), password.end()));
    return modifyStatus;
  }
  OSStatus remove(ItemRef) override { return JVPlatform::errSecParam; }
  OSStatus describe(JVPlatform::KeychainState&) override { return JVPlatform::errSecParam; }

 private:
  template <class... Words>
  void record(const Words&... words) {
    std::ostringstream call;
    ((call << words << '|'), ...);
    calls.push_back(call.str());
  }
  OSStatus refer(ItemRef* item) {
    if (item == nullptr) return 0;
    ++handedOut;
    *item = reinterpret_cast<ItemRef>(new int);
    return 0;
  }
};

using Lookups = std::deque<FakeKeychain::Lookup>;

MATCHER_P2(IsMalformed, description, suggestion, "") {
  return arg && arg->domain() == "NSPOSIXErrorDomain" && arg->code() == 1 &&
         arg->userInfo() == JVFoundation::Value(JVFoundation::Dictionary{
                                {"NSLocalizedDescriptionKey", std::string(description)},
                                {"NSLocalizedRecoverySuggestionErrorKey", std::string(suggestion)}});
}

/// Does something and tells what came of it: passwords, "" for none, "-" for a failure.
using Act = std::string (*)(Error&);

std::string readHost(Error& error) { return JVKeychain::passwordForHost("h", "u", 0, &error).value_or("-"); }
std::string saveHost(Error& error) { return JVKeychain::savePassword("p", "h", "u", 0, &error) ? "" : "-"; }
std::string readService(Error& error) { return shown(JVKeychain::genericPasswordsWithService("s", &error)); }
std::string readAccounts(Error& error) {
  return shown(JVKeychain::genericPasswordsWithAccounts({"A", "B", "C"}, "s", &error));
}
std::string saveAccount(Error& error) {
  return JVKeychain::saveGenericPassword(bytes("p"), "s", "a", "/", &error) ? "" : "-";
}

Value item(std::string_view account, std::string_view label = "label") {
  return Dictionary{{"srvr", "h"}, {"svce", "s"}, {"acct", account}, {"labl", label}};
}

class Passwords : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(keychain.handedOut, 0); }
  std::string after(Act act) {
    error = JVFoundation::NSError("stale", 42);
    keychain.calls.clear();
    return act(error);
  }

  std::shared_ptr<FakeKeychain> shared = std::make_shared<FakeKeychain>();
  FakeKeychain& keychain = *shared;
  InstalledKeychain installed{shared};
  Error error;
};

TEST_F(Passwords, FailuresAreReportedWhereverTheyOccur) {
  struct Case {
    const char* why;
    Act act;
    int query;
    Lookups lookups;
    int modify, add;
    std::string_view description;
    int status;
    const char* result;
  };
  const Case cases[] = {
      {"reading: the query", readHost, -25291, {}, 0, 0, kReading, -25291, "-"},
      {"a later lookup drops it all", readHost, 0, {{0, "\xFF"}, {-25293}}, 0, 0, kReading, -25293, "-"},
      {"of a service as well", readService, 0, {{0, "1"}, {-25293}}, 0, 0, kReading, -25293, "-"},
      {"accounts keep what came before", readAccounts, 0, {{}, {0, "1"}, {-25293}}, 0, 0, kReading, -25293, "A=1 "},
      {"accounts: the query", readAccounts, -25308, {}, 0, 0, kReading, -25308, ""},
      {"saving: the query", saveHost, -25291, {}, 0, 0, kWriting, -25291, "-"},
      {"the lookup", saveHost, 0, {{-25293}}, 0, 0, kWritting, -25293, "-"},
      {"the change", saveHost, 0, {{}}, -25292, 0, kWritting, -25292, "-"},
      {"the addition", saveHost, 0, {}, 0, -25299, kWriting, -25299, "-"},
      {"generic: the lookup", saveAccount, 0, {{-25293}}, 0, 0, kWritting, -25293, "-"},
      {"the label of a new item", saveAccount, 0, {}, -25292, 0, kWritting, -25292, "-"},
  };
  keychain.queryAnswer = Value(Value::Array{item("x"), item("y")});
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    keychain.queryStatus = c.query;
    keychain.lookups = c.lookups;
    keychain.modifyStatus = c.modify;
    keychain.addStatus = c.add;
    EXPECT_EQ(after(c.act), c.result);
    EXPECT_THAT(error, IsStatus(c.description, c.status));
  }
}

TEST_F(Passwords, AQueryMayGiveNothingOrWhatIsNoArray) {
  for (const std::optional<Value>& answer : {std::optional<Value>(), std::optional<Value>("text")}) {
    keychain.queryAnswer = answer;
    EXPECT_EQ(after(readHost), "-");
    EXPECT_EQ(error ? error->code() : 0, answer ? -25306 : 0);
    EXPECT_EQ(after(readService), "-");
    EXPECT_THAT(error, IsStatus(kReading, -25306));
    for (const Act save : {saveHost, saveAccount}) {
      EXPECT_EQ(after(save), "") << "when saving, both are as good as nothing found";
      EXPECT_EQ(error, std::nullopt);
    }
  }
}

TEST_F(Passwords, OfAHostNeedOne) {
  for (const auto& [host, quoted] : {std::pair<Text, std::string>{"", "\"\"."}, {std::nullopt, "\"(null)\"."}}) {
    EXPECT_EQ(JVKeychain::passwordForHost(host, "u", 0, &error), std::nullopt);
    EXPECT_THAT(error, IsMalformed(kReading, "Cannot read passwords from the keychain for malformed host " + quoted));
    EXPECT_FALSE(JVKeychain::savePassword("p", host, "u", 0, &error));
    EXPECT_THAT(error, IsMalformed(kWriting, "Cannot write password into the keychain for malformed host " + quoted));
  }
  EXPECT_THAT(keychain.calls, IsEmpty());
}

TEST_F(Passwords, OfAHostKnowTwoProtocols) {
  using Case = std::tuple<std::int64_t, std::string, std::string>;
  for (const auto& [selector, name, code] :
       {Case{1, "ftp", "1718906912"}, {2, "ftps", "1718906995"}, {1LL << 32, "*", "0"}}) {
    keychain.calls.clear();
    EXPECT_EQ(JVKeychain::passwordForHost("h", "u", selector, &error), std::nullopt);
    EXPECT_EQ(error, std::nullopt) << "nothing found is no error";
    EXPECT_TRUE(JVKeychain::savePassword(std::nullopt, "h", "u", selector)) << "no password is an empty one";
    const std::string query = std::string("query|h|u|").append(name).append("|");
    EXPECT_THAT(keychain.calls,
                ElementsAre(query, query, std::string("add|h|u|||0|").append(code).append("|1953261156||")));
  }
}

TEST_F(Passwords, OfAHostAreLookedUpByAllAttributes) {
  const struct {
    const char* why;
    Dictionary attributes;
    const char* lookup;
  } cases[] = {
      {"everything",
       {{"sdmn", "d"}, {"path", "/p"}, {"port", 21}, {"ptcl", "ftp"}, {"atyp", "ntlm"}},
       "find|||d|/p|21|1718906912|1835824238|"},
      {"a port has 16 bits", {{"port", 65557}}, "find|||||21|0|0|"},
      {"what is no text is missing", {{"srvr", 1}, {"port", "21"}}, "find|||||0|0|0|"},
      {"lengths are UTF-16 units of UTF-8 bytes",
       {{"srvr", "h\xC3\xA9"}, {"acct", "\xF0\x9F\x98\x80z"}},
       "find|h\xC3|\xF0\x9F\x98|||0|0|0|"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    keychain.queryAnswer = Value(Value::Array{c.attributes});
    keychain.lookups = {{0, "p"}};
    EXPECT_EQ(after(readHost), "p");
    EXPECT_THAT(keychain.calls, ElementsAre("query|h|u|*|", c.lookup));
  }
}

TEST_F(Passwords, OfAHostTheFirstThatIsATextIsRead) {
  const struct {
    const char* why;
    Lookups lookups;
    std::string expected;
  } cases[] = {
      {"the first, zero bytes included", {{0, std::string("a\0b", 3)}, {0, "two"}}, std::string("a\0b", 3)},
      {"not UTF-8", {{0, "\xFF"}, {0, "two"}}, "two"},
      {"none is UTF-8", {{0, "\xFF"}, {0, "\xC3"}}, "-"},
      {"not found again counts as empty, and ends it", {{-25300}, {0, "two"}}, ""},
  };
  keychain.queryAnswer = Value(Value::Array{item("u"), item("u")});
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    keychain.lookups = c.lookups;
    EXPECT_EQ(after(readHost), c.expected);
    EXPECT_EQ(error, std::nullopt);
  }
}

TEST_F(Passwords, AreSavedInTheFirstItemThatIsFoundAgain) {
  keychain.queryAnswer = Value(Value::Array{item("u", "own"), item("v", "other's")});
  keychain.lookups = {{-25300}, {}};
  EXPECT_EQ(after(saveHost), "");
  EXPECT_THAT(keychain.calls,
              ElementsAre("query|h|u|*|", "find|h|u|||0|0|0|", "find|h|v|||0|0|0|", "modify|other's|p|"));
  keychain.lookups = {{-25300}, {}};
  EXPECT_EQ(after(saveAccount), "");
  EXPECT_THAT(keychain.calls, ElementsAre("query|s|a|*|", "find|s|u|||0|0|0|", "find|s|v|||0|0|0|", "modify|s/v|p|"))
      << "a found generic item is labelled with its own names";

  EXPECT_EQ(after(saveHost), "") << "none is found again";
  EXPECT_EQ(keychain.calls.back(), "add|h|u|||0|0|1953261156|p|");
  keychain.calls.clear();
  EXPECT_TRUE(JVKeychain::saveGenericPassword(bytes("p"), "\xC3\xA9", "u", std::nullopt));
  EXPECT_EQ(keychain.calls[3], "add|\xC3|u|||0|0|0|p|") << "names are cut short";
  EXPECT_EQ(keychain.calls[4], "modify|\xC3\xA9(null)u|p|") << "the label is not";

  keychain.queryAnswer = Value(Value::Array{item("u", "")});
  keychain.lookups = {{}};
  EXPECT_EQ(after(saveHost), "-");
  EXPECT_THAT(error, IsMalformed(kWriting, "Cannot write password into the keychain for malformed item label."));
}

TEST_F(Passwords, OfAServiceAreLookedUpOneByOne) {
  EXPECT_EQ(after(readService), "") << "nothing stored is no error";
  EXPECT_EQ(error, std::nullopt);
  keychain.queryAnswer = Value(Value::Array{item("a"), item("b"), item("gone"), item("a")});
  keychain.lookups = {{0, "1"}, {0, "\xFF"}, {-25300}, {0, "2"}};
  EXPECT_EQ(after(readService), "a=2 b=\xFF ") << "a later one replaces an earlier one";
  EXPECT_THAT(keychain.calls, ElementsAre("query|s|*|*|", "find|s|a|||0|0|0|", "find|s|b|||0|0|0|",
                                          "find|s|gone|||0|0|0|", "find|s|a|||0|0|0|"));
}

TEST_F(Passwords, OfAccountsAreAskedForOneByOne) {
  const struct {
    const char* why;
    std::vector<std::string> accounts;
    const char *first, *second, *expected;
  } cases[] = {
      {"the last item wins", {"B", "A"}, "query|s|B|*|", "query|s|A|*|", "B=2 A=4 "},
      {"an empty one repeats the one before", {"A", ""}, "query|s|A|*|", "query|s|A|*|", "A=2 =4 "},
      {"in front it stands for all", {"", "A"}, "query|s|*|*|", "query|s|A|*|", "=2 A=4 "},
  };
  keychain.queryAnswer = Value(Value::Array{item("x"), item("y")});
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    keychain.calls.clear();
    keychain.lookups = {{0, "1"}, {0, "2"}, {0, "3"}, {0, "4"}};
    EXPECT_EQ(shown(JVKeychain::genericPasswordsWithAccounts(c.accounts, "s")), c.expected);
    EXPECT_EQ(keychain.calls[0], c.first);
    EXPECT_EQ(keychain.calls[3], c.second);
  }
  keychain.calls.clear();
  EXPECT_EQ(shown(JVKeychain::genericPasswordsWithAccounts({}, "s")), "");
  EXPECT_THAT(keychain.calls, IsEmpty()) << "nothing to ask";
}

TEST(KeychainError, HasTwoTextsAndTheStatus) {
  const auto error = JVKeychain::errorWithDescription("what was tried.", -25300);
  EXPECT_EQ(error.domain(), "NSOSStatusErrorDomain");
  EXPECT_EQ(error.code(), -25300);
  EXPECT_EQ(error.localizedDescription(), "what was tried.");
  EXPECT_EQ(
      error.localizedRecoverySuggestion(),
      "The operation couldn’t be completed. (NSOSStatusErrorDomain error -25300.). The keychain has no such item.");
  EXPECT_TRUE(JVKeychain::errorWithDescription("", -1).localizedRecoverySuggestion()->ends_with("error -1.). (null)"));
}

}  // namespace
