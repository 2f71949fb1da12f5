// The default keychain on a real password service.
#include "password_service.h"

#include <algorithm>
#include <future>

#include "memory_scan.h"
#include "support.h"

namespace {

using namespace jvtest;
using namespace JVPlatform;
using Password = std::optional<std::string>;

Password read(Error& error, std::string_view host = "h", std::int64_t protocol = 0) {
  return JVKeychain::passwordForHost(host, "u", protocol, &error);
}

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
  EXPECT_EQ(read(error), std::nullopt);
  EXPECT_EQ(error, std::nullopt);
  const std::string large(1 << 20, 'x'), binary("\xFF\0\xFE\n", 4);
  for (const std::string& secret : {std::string(), std::string("a\0b", 3), large}) {
    EXPECT_EQ(save(secret, "h", "u"), 0);
    EXPECT_EQ(read(error), secret);
  }
  EXPECT_EQ(save("ftp's", "h", "u", JVKeychainProtocolFTP), 0) << "a restriction that the first item does not meet";
  EXPECT_EQ(read(error, "h", JVKeychainProtocolFTP), "ftp's");
  EXPECT_EQ(read(error), large) << "the older one comes first";
  EXPECT_EQ(saveGeneric(binary, "s", "a"), 0);
  EXPECT_EQ(readAll("s"), "a=" + binary + " ");
}

TEST_F(OpenService, NamesThatAreNoTextBelongToTheirOwnItems) { expectNamesThatAreNoTextToBelongToTheirOwnItems(); }

TEST_F(OpenService, FindsWhatOtherProgramsStored) {
  service.tell("store theirs label xdg:schema=org.gnome.keyring.NetworkPassword server=h user=u protocol=sftp port=22");
  EXPECT_EQ(read(error), "theirs") << "a protocol that has no code is none";
  EXPECT_EQ(save("ours", "h", "u"), 0);
  EXPECT_EQ(read(error), "ours");

  service.tell("store x % xdg:schema=org.gnome.keyring.NetworkPassword server=unlabelled user=u");
  EXPECT_EQ(save("y", "unlabelled", "u"), 1);
  EXPECT_EQ(read(error, "unlabelled"), "x");

  service.tell("store one label service=s username=a");
  service.tell("store two label service=s");
  service.tell("store three label service=s username=a more=yes");
  EXPECT_EQ(readAll("s"), "a=one =two ") << "both with account a are looked up as the older one";
}

TEST_F(OpenService, NoSecretStaysInMemory) {
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

TEST_F(OpenService, ARestartedServiceIsTakenUpAgain) {
  EXPECT_EQ(save("p", "h", "u"), 0);
  service.tell("kill");
  EXPECT_EQ(read(error), std::nullopt);
  EXPECT_THAT(error, IsStatus(kReading, errSecNotAvailable));
  EXPECT_EQ(save("q", "h", "u"), errSecNotAvailable);
  service.tell("start");
  EXPECT_EQ(read(error), "p");
}

TEST_F(OpenService, AForkedChildHasNothingToDoWithItsParentsConnection) {
  EXPECT_EQ(save("p", "h", "u"), 0);
  EXPECT_TRUE(isTrueInAChild([] { return JVKeychain::passwordForHost("h", "u", JVKeychainProtocolAny) == "p"; }));
  EXPECT_EQ(read(error), "p");
}

/// A service with a password, which is locked then.
struct LockedService {
  explicit LockedService(const char* prompts) : service(prompts) {
    service.tell("start");
    EXPECT_EQ(save("p", "h", "u"), 0);
    service.tell("lock");
  }
  void expectRefusal(OSStatus status) {
    EXPECT_EQ(read(error), std::nullopt);
    EXPECT_THAT(error, IsStatus(kReading, status)) << "not taken for nothing found";
    EXPECT_EQ(save("q", "h", "u"), status);
    EXPECT_EQ(save("q", "other", "u"), status);
  }

  PasswordService service;
  Error error;
  KeychainState state;
};

TEST(LockedServices, WithoutADisplayNobodyIsAsked) {
  LockedService locked(nullptr);
  locked.expectRefusal(errSecInteractionNotAllowed);
  locked.service.tell("kill");
  locked.service.tell("start-locked");
  locked.expectRefusal(errSecInteractionNotAllowed);
  EXPECT_EQ(keychain()->SecKeychainGetStatus(locked.state), 0);
  EXPECT_FALSE(locked.state.isUnlocked);
  locked.service.tell("unlock");
  EXPECT_EQ(read(locked.error), "p");
}

TEST(LockedServices, TheUserRefuses) { LockedService("dismiss").expectRefusal(errSecUserCanceled); }

TEST(LockedServices, TheUserUnlocksThem) {
  LockedService locked("accept");
  EXPECT_EQ(read(locked.error), "p");
  locked.service.tell("lock");
  EXPECT_EQ(save("p", "h", "u"), 0);
  locked.service.tell("kill");
  locked.service.tell("start-locked");
  EXPECT_EQ(saveGeneric("p", "new", "u"), 0);
}

TEST(LockedServices, AnOpenPromptKeepsNobodyElseWaiting) {
  LockedService locked("hang");
  std::future<Password> waiting = std::async(std::launch::async, [&] { return read(locked.error); });
  for (int i = 0; i < 20; ++i) EXPECT_EQ(keychain()->SecKeychainGetStatus(locked.state), 0);
  locked.service.tell("kill");
  EXPECT_EQ(waiting.get(), std::nullopt) << "the wait for the user ends with the service";
  // It may have gone before the prompt was open, and then it is looked for once more.
  EXPECT_THAT(locked.error,
              testing::AnyOf(IsStatus(kReading, errSecServiceNotAvailable), IsStatus(kReading, errSecNotAvailable)));
}

TEST(EmptyServices, TheUserMakesTheFirstCollection) {
  for (const char* prompts : {static_cast<const char*>(nullptr), "accept"}) {
    PasswordService service(prompts);
    service.tell("start-empty");
    Error error;
    EXPECT_EQ(read(error), std::nullopt);
    EXPECT_EQ(error, std::nullopt) << "nothing stored is no error";
    EXPECT_EQ(save("p", "h", "u"), prompts ? 0 : errSecNoDefaultKeychain) << "without a display nobody can";
  }
}

}  // namespace
