// The default keychain on a real password service.
#include "password_service.h"

#include <future>
#include <thread>

#include "memory_scan.h"
#include "support.h"

namespace {

using namespace jvtest;
using JVFoundation::Dictionary;
using JVFoundation::Value;
using testing::ElementsAre;
using testing::ElementsAreArray;
using Password = std::optional<std::string>;

Password read(std::string_view host, std::string_view user, Error& error, std::int64_t protocol = 0) {
  error = someError();
  return JVKeychain::passwordForHost(host, user, protocol, &error);
}

/// All items of a service, the same account more than once if it is there more than once.
Value::Array list(std::string_view service) {
  const auto keychain = JVPlatform::keychain();
  const Value* result = nullptr;
  EXPECT_EQ(keychain->SecItemCopyMatching({{"class", "genp"}, {"svce", service}}, &result), 0);
  const Value::Array items = *result->array();
  keychain->CFRelease(result);
  return items;
}
std::string label(std::string_view service) { return *list(service).at(0).text("labl"); }

/// Whether @p holds does in a forked process.
template <class Condition>
bool isTrueInAChild(Condition holds) {
  const pid_t child = fork();
  if (child == 0) _exit(holds() ? 0 : 1);
  int status = -1;
  waitpid(child, &status, 0);
  return status == 0;
}

class OpenService : public testing::Test {
 protected:
  OpenService() { service.tell("start"); }
  PasswordService service;
  Error error;
};

TEST_F(OpenService, KeepsWhatItIsGiven) {
  EXPECT_EQ(read("h", "u", error), std::nullopt);
  EXPECT_EQ(error, std::nullopt);
  const std::string large(1 << 20, 'x'), binary("\xFF\0\xFE\n", 4);
  for (const std::string& secret : {std::string(), std::string("a\0b", 3), large}) {
    EXPECT_EQ(save(secret, "h", "u"), 0);
    EXPECT_EQ(read("h", "u", error), secret);
  }
  EXPECT_EQ(save("ftp's", "h", "u", JVKeychainProtocolFTP), 0) << "a restriction that the first item does not meet";
  EXPECT_EQ(read("h", "u", error, JVKeychainProtocolFTP), "ftp's");
  EXPECT_EQ(read("h", "u", error), large) << "the older one comes first";

  EXPECT_EQ(saveGeneric(binary, "s", "a"), 0);
  EXPECT_THAT(readAll("s"), ElementsAre("a=" + binary));
  EXPECT_EQ(label("s"), "s/a");
  EXPECT_TRUE(JVKeychain::saveGenericPassword(bytes("new"), "s", "a", "-", &error));
  EXPECT_EQ(label("s"), "s-a");
}

TEST_F(OpenService, NamesThatAreNoTextBelongToTheirOwnItems) { expectNamesThatAreNoTextToBelongToTheirOwnItems(); }

TEST_F(OpenService, FindsWhatOtherProgramsStored) {
  service.tell("store theirs label xdg:schema=org.gnome.keyring.NetworkPassword server=h user=u protocol=sftp port=22");
  EXPECT_EQ(read("h", "u", error), "theirs") << "a protocol that has no code is none";
  EXPECT_EQ(save("ours", "h", "u"), 0);
  EXPECT_EQ(read("h", "u", error), "ours");

  service.tell("store x % xdg:schema=org.gnome.keyring.NetworkPassword server=unlabelled user=u");
  EXPECT_EQ(save("y", "unlabelled", "u"), 1);
  EXPECT_EQ(read("unlabelled", "u", error), "x");

  service.tell("store one label service=s username=a");
  service.tell("store two label service=s");
  service.tell("store three label service=s username=a more=yes");
  EXPECT_THAT(readAll("s"), ElementsAre("a=one", "=two")) << "both with account a are looked up as the older one";
}

TEST_F(OpenService, NoSecretStaysInMemory) {
  if (!kCanScanMemory) GTEST_SKIP() << "not under a sanitizer";
  expectNoSecretToStayInMemory([](const std::string& secret) {
    const auto saveAll = [&] {
      return saveGeneric(secret, "s", "a") == 0 && save(secret, "h", "u") == 0 && save(secret, "h", "u") == 0;
    };
    // Saving a short password leaves a copy in this process, as it seems where a message of sd-bus was before it grew.
    // Another one saves it, so that reading is seen alone.
    const bool isShort = secret.size() < sizeof(std::string);
    EXPECT_TRUE(isShort ? isTrueInAChild(saveAll) : saveAll());
  });
}

TEST_F(OpenService, ListsTheOldestFirst) {
  std::vector<std::string> expected;
  for (int at = 0; at < 12; ++at) {
    const std::string name = std::to_string(at * 7 % 12);
    EXPECT_EQ(saveGeneric(name, "s", name), 0);
    expected.push_back(std::string(name).append("=").append(name));
  }
  EXPECT_THAT(readAll("s"), ElementsAreArray(expected));
}

TEST_F(OpenService, ADeletedItemIsNotFound) { expectADeletedItemNotToBeFound(); }

TEST_F(OpenService, ManySaveAtOnceAndNothingIsLostOrDoubled) {
  constexpr int kThreads = 4, kRounds = 10;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int r = 0; r < kRounds; ++r) {
        EXPECT_EQ(saveGeneric("p", "own", std::to_string(t * kRounds + r)), 0);
        const std::int64_t status = saveGeneric("p", "shared", std::to_string(r));
        EXPECT_TRUE(status == 0 || status == JVPlatform::errSecDuplicateItem) << status;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(readAll("own").size(), std::size_t{kThreads * kRounds});
  EXPECT_EQ(list("shared").size(), std::size_t{kRounds});
}

TEST_F(OpenService, ARestartedServiceIsTakenUpAgain) {
  EXPECT_EQ(save("p", "h", "u"), 0);
  service.tell("kill");
  EXPECT_EQ(read("h", "u", error), std::nullopt);
  EXPECT_THAT(error, IsStatus(kReading, JVPlatform::errSecNotAvailable));
  EXPECT_EQ(save("q", "h", "u"), JVPlatform::errSecNotAvailable);
  service.tell("start");
  EXPECT_EQ(read("h", "u", error), "p");
  EXPECT_EQ(save("q", "h", "u"), 0);
}

TEST_F(OpenService, AForkedChildHasNothingToDoWithItsParentsConnection) {
  EXPECT_EQ(save("p", "h", "u"), 0);
  EXPECT_TRUE(isTrueInAChild([] { return JVKeychain::passwordForHost("h", "u", JVKeychainProtocolAny) == "p"; }));
  EXPECT_EQ(read("h", "u", error), "p");
}

void expectLocked(JVPlatform::OSStatus status) {
  Error error;
  EXPECT_EQ(read("h", "u", error), std::nullopt);
  EXPECT_THAT(error, IsStatus(kReading, status)) << "not taken for nothing found";
  EXPECT_EQ(save("q", "h", "u"), status);
  EXPECT_EQ(save("q", "other", "u"), status);
}

TEST(LockedService, WithoutADisplayNobodyIsAsked) {
  PasswordService service;
  service.tell("start");
  EXPECT_EQ(save("p", "h", "u"), 0);
  for (const char* how : {"lock", "kill"}) {
    service.tell(how);
    if (how == std::string_view("kill")) service.tell("start-locked");
    expectLocked(JVPlatform::errSecInteractionNotAllowed);
    JVPlatform::KeychainState state;
    EXPECT_EQ(JVPlatform::keychain()->SecKeychainGetStatus(state), 0);
    EXPECT_FALSE(state.isUnlocked);
  }
  service.tell("unlock");
  Error error;
  EXPECT_EQ(read("h", "u", error), "p");
}

TEST(LockedService, TheUserUnlocksIt) {
  PasswordService service("accept");
  service.tell("start");
  EXPECT_EQ(save("p", "h", "u"), 0);
  Error error;
  for (const char* how : {"start-locked", "lock"}) {
    if (how == std::string_view("start-locked")) service.tell("kill");
    service.tell(how);
    EXPECT_EQ(read("h", "u", error), "p");
    service.tell("lock");
    EXPECT_EQ(save("p", "h", "u"), 0);
    service.tell("lock");
    EXPECT_EQ(saveGeneric("p", "new", "u"), 0);
  }
}

TEST(LockedService, TheUserMakesTheFirstCollection) {
  for (const char* prompts : {static_cast<const char*>(nullptr), "accept"}) {
    PasswordService service(prompts);
    service.tell("start-empty");
    Error error;
    EXPECT_EQ(read("h", "u", error), std::nullopt);
    EXPECT_EQ(error, std::nullopt) << "nothing stored is no error";
    EXPECT_EQ(save("p", "h", "u"), prompts ? 0 : JVPlatform::errSecNoDefaultKeychain) << "without a display nobody can";
  }
}

TEST(LockedService, TheUserRefuses) {
  PasswordService service("dismiss");
  service.tell("start");
  EXPECT_EQ(save("p", "h", "u"), 0);
  service.tell("lock");
  expectLocked(JVPlatform::errSecUserCanceled);
}

TEST(LockedService, AnOpenPromptKeepsNobodyElseWaiting) {
  PasswordService service("hang");
  service.tell("start");
  EXPECT_EQ(save("p", "h", "u"), 0);
  service.tell("lock");
  Error error;
  std::future<Password> waiting = std::async(std::launch::async, [&] { return read("h", "u", error); });
  for (int i = 0; i < 20; ++i) {
    JVPlatform::KeychainState state;
    EXPECT_EQ(JVPlatform::keychain()->SecKeychainGetStatus(state), 0);
  }
  service.tell("kill");
  EXPECT_EQ(waiting.get(), std::nullopt) << "the wait for the user ends with the service";
  ASSERT_TRUE(error);
  // It may have gone before the prompt was open, and then it is looked for once more.
  EXPECT_TRUE(error->code() == JVPlatform::errSecServiceNotAvailable || error->code() == JVPlatform::errSecNotAvailable)
      << error->code();
}

}  // namespace
