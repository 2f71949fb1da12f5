#include <JorvaneFoundation/keychain/JVKeychain.h>
#include <JorvaneFoundation/platform/KeychainVault.h>

#include <fcntl.h>
#include <signal.h>
#include <sodium.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <vector>

#include "memory_scan.h"
#include "support.h"
#include "support/temporary_folder.h"

namespace {

using namespace jvtest;
using namespace JVPlatform;
using testing::ElementsAre;
using Key = std::array<std::uint8_t, 32>;

constexpr Key kKey = {1, 2, 3};

std::atomic<bool> doFoldersFailToSync = false;

}  // namespace

/// Stands before the C library's, also for the module.
extern "C" __attribute__((visibility("default"))) int fsync(int file) {
  struct stat status {};
  if (doFoldersFailToSync && fstat(file, &status) == 0 && S_ISDIR(status.st_mode)) {
    errno = EIO;
    return -1;
  }
  return static_cast<int>(syscall(SYS_fsync, file));
}

namespace {

class Vault : public testing::Test {
 protected:
  std::string path() const { return (folder.path() / "own" / "vault").string(); }

  std::shared_ptr<Keychain> open(VaultFile file = VaultFile::createIfMissing, const Key& key = kKey) {
    error = someError();
    return openVault(path(), key, file, &error);
  }
  std::int64_t status() const { return error ? error->code() : 0; }

  std::string contents() const {
    std::ifstream file(path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void write(std::string_view bytes) const { folder.write("own/vault", bytes); }

  jv::test::TemporaryFolder folder;
  Error error;
};

TEST_F(Vault, KeepsWhatItIsGiven) {
  const std::string binary("\xFF\0\xFE", 3);
  {
    const InstalledKeychain installed(open());
    ASSERT_EQ(status(), 0);
    EXPECT_EQ(saveGeneric("b's", "s", "b"), 0);
    EXPECT_EQ(saveGeneric(binary, "s", "a"), 0);
    EXPECT_EQ(saveGeneric("", "s", ""), 0);
    EXPECT_EQ(saveGeneric(std::string(1 << 20, 'x'), "s", "b"), 0);
    EXPECT_TRUE(JVKeychain::savePassword("ftp's", "h", "u", JVKeychainProtocolFTP));
    EXPECT_TRUE(JVKeychain::savePassword("any", "g", "u", JVKeychainProtocolAny));
  }
  const InstalledKeychain installed(open(VaultFile::mustExist));
  EXPECT_THAT(readAll("s"), ElementsAre("b=" + std::string(1 << 20, 'x'), "a=" + binary, "="));
  EXPECT_EQ(JVKeychain::passwordForHost("h", "u", JVKeychainProtocolAny), "ftp's");
  EXPECT_EQ(JVKeychain::passwordForHost("h", "u", JVKeychainProtocolFTPS), std::nullopt);
  EXPECT_EQ(JVKeychain::passwordForHost("g", "u", JVKeychainProtocolAny), "any");
  EXPECT_TRUE(JVKeychain::savePassword("new", "h", "u", JVKeychainProtocolFTP));
  EXPECT_EQ(JVKeychain::passwordForHost("h", "u", JVKeychainProtocolFTP), "new");

  EXPECT_EQ(saveGeneric("1", "s", "\xC3\xA9"), 0) << "stored under the byte C3, as with every keychain";
  EXPECT_EQ(saveGeneric("2", "s", "\xC3\xA9"), errSecDuplicateItem);
}

TEST_F(Vault, NamesThatAreNoTextBelongToTheirOwnItems) {
  const InstalledKeychain installed(open());
  expectNamesThatAreNoTextToBelongToTheirOwnItems();
  EXPECT_EQ(textOf(JVKeychain::genericPasswordsWithAccounts({"\xFF"}, "s").find("\xFF")), "byte's own");
  EXPECT_EQ(saveGeneric("both's", "t", "\xC3\xA9\xFF"), 0);
  EXPECT_EQ(saveGeneric("text's", "t", "\u00E9a"), 0);
  EXPECT_THAT(readAll("t"), ElementsAre("\xC3\xA9\xFF=both's")) << "cut to C3 A9; what is no text is not cut";
}

TEST_F(Vault, NoSecretStaysInMemory) {
  if (!kCanScanMemory) GTEST_SKIP() << "not under a sanitizer";
  const InstalledKeychain installed(open());
  expectNoSecretToStayInMemory([](const std::string& secret) {
    EXPECT_EQ(saveGeneric(secret, "s", "a"), 0);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(save(secret, "h", "u"), 0);
  });
}

TEST_F(Vault, ADeletedItemIsNotFound) {
  const InstalledKeychain installed(open());
  expectADeletedItemNotToBeFound();
  const auto keychain = JVPlatform::keychain();
  EXPECT_EQ(keychain->SecKeychainItemFreeContent(nullptr), 0);
  KeychainState state;
  EXPECT_EQ(keychain->SecKeychainGetStatus(state), 0);
  EXPECT_EQ(state.description, "vault " + path());
}

TEST_F(Vault, OnlyItsKeyOpensIt) {
  { const InstalledKeychain installed(open()), ignored(nullptr); }
  const std::string before = contents();
  Key other = kKey;
  other[31] ^= 1;
  EXPECT_EQ(open(VaultFile::createIfMissing, other), nullptr);
  EXPECT_EQ(status(), errSecAuthFailed);
  EXPECT_EQ(openVault(path(), std::string_view("passphrase"), VaultFile::createIfMissing, &error), nullptr);
  EXPECT_EQ(status(), errSecAuthFailed) << "a vault with a key has no passphrase";
  EXPECT_EQ(contents(), before);

  std::filesystem::remove(path());
  EXPECT_EQ(open(VaultFile::mustExist), nullptr);
  EXPECT_EQ(status(), errSecNoSuchKeychain);
  EXPECT_FALSE(std::filesystem::exists(path()));

  for (const std::string_view passphrase : {"correct horse", ""}) {
    std::filesystem::remove(path());
    EXPECT_NE(openVault(path(), passphrase, VaultFile::createIfMissing), nullptr);
    EXPECT_NE(openVault(path(), passphrase, VaultFile::mustExist), nullptr);
    EXPECT_EQ(openVault(path(), std::string_view("wrong"), VaultFile::mustExist, &error), nullptr);
    EXPECT_EQ(status(), errSecAuthFailed);
  }
}

TEST_F(Vault, NoDamageIsTakenForAnEmptyVault) {
  const InstalledKeychain installed(open());
  EXPECT_EQ(saveGeneric("p", "s", "a"), 0);
  const std::string whole = contents();
  const auto expectDamage = [&](const std::string& bytes, auto expected) {
    write(bytes);
    EXPECT_EQ(open(), nullptr);
    EXPECT_THAT(status(), expected);
    EXPECT_THAT(saveGeneric("q", "s", "b"), expected) << "also for who has opened it before";
    EXPECT_EQ(contents(), bytes) << "left as it is";
  };
  for (std::size_t at = 0; at < whole.size(); ++at) {
    SCOPED_TRACE(at);
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x10);
    expectDamage(damaged, errSecInvalidKeychain);
    expectDamage(whole.substr(0, at), errSecInvalidKeychain);
  }
  expectDamage(whole + "x", errSecInvalidKeychain);

  // Somebody who makes the sum fit again is found out by the tags.
  for (std::size_t at = 8; at < whole.size() - 32; ++at) {
    SCOPED_TRACE(at);
    std::string forged = whole;
    forged[at] = static_cast<char>(forged[at] ^ 1);
    auto* const raw = reinterpret_cast<std::uint8_t*>(forged.data());
    crypto_generichash(raw + forged.size() - 32, 32, raw, forged.size() - 32, nullptr, 0);
    expectDamage(forged, testing::AnyOf(errSecAuthFailed, errSecInvalidKeychain));
  }
  write(whole);
  EXPECT_THAT(readAll("s"), ElementsAre("a=p"));
}

TEST_F(Vault, AnotherVaultInItsPlaceIsNotWrittenTo) {
  const InstalledKeychain installed(open());
  EXPECT_EQ(saveGeneric("p", "s", "a"), 0);
  std::filesystem::remove(path());
  EXPECT_EQ(saveGeneric("p", "s", "b"), errSecNoSuchKeychain);
  EXPECT_NE(open(), nullptr);
  EXPECT_EQ(saveGeneric("p", "s", "b"), errSecAuthFailed);
}

TEST_F(Vault, IsForItsUserAlone) {
  const std::filesystem::path own = folder.path() / "own";
  EXPECT_NE(open(), nullptr);
  struct stat found {};
  ASSERT_EQ(stat(own.c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 07777, 0700U);
  ASSERT_EQ(stat(path().c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 07777, 0600U);

  const auto expectRefusal = [&](OSStatus expected = errSecWrPerm) {
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(status(), expected);
  };
  constexpr uid_t kNobody = 65534;
  const struct {
    const char* why;
    std::string place;
    mode_t mode, before;
    uid_t owner;
  } cases[] = {
      {"a file that the group can write to", path(), 0620, 0600, geteuid()},
      {"a file that all can write to", path(), 0602, 0600, geteuid()},
      {"a folder that the group can write to", own, 0770, 0700, geteuid()},
      {"a file of somebody else", path(), 0600, 0600, kNobody},
      {"a folder of somebody else", own, 0700, 0700, kNobody},
  };
  for (const auto& c : cases) {
    if (c.owner != geteuid() && geteuid() != 0) continue;  // only root can give files away
    SCOPED_TRACE(c.why);
    ASSERT_EQ(chmod(c.place.c_str(), c.mode) + chown(c.place.c_str(), c.owner, getegid()), 0);
    expectRefusal();
    ASSERT_EQ(chmod(c.place.c_str(), c.before) + chown(c.place.c_str(), geteuid(), getegid()), 0);
    EXPECT_NE(open(), nullptr);
  }
  std::filesystem::rename(path(), path() + "2");
  std::filesystem::create_symlink(path() + "2", path());
  expectRefusal();
  std::filesystem::remove(path());
  std::filesystem::create_directory(path());
  expectRefusal(errSecInvalidKeychain);
  for (const std::string_view odd : {std::string_view(), std::string_view("/"), std::string_view("a\0b", 3)}) {
    EXPECT_EQ(openVault(odd, kKey, VaultFile::createIfMissing, &error), nullptr);
    EXPECT_EQ(status(), errSecParam);
  }
}

TEST_F(Vault, AFullDiskLeavesTheOldContent) {
  const InstalledKeychain installed(open());
  EXPECT_EQ(saveGeneric("p", "s", "a"), 0);
  const std::string before = contents();
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit little{4096, limit.rlim_max};
  setrlimit(RLIMIT_FSIZE, &little);
  EXPECT_EQ(saveGeneric(std::string(100'000, 'x'), "s", "b"), errSecDiskFull);
  setrlimit(RLIMIT_FSIZE, &limit);
  signal(SIGXFSZ, handler);
  EXPECT_EQ(contents(), before);
  EXPECT_FALSE(std::filesystem::exists(path() + ".new"));
  EXPECT_EQ(saveGeneric("q", "s", "b"), 0);
}

TEST_F(Vault, AFolderThatDoesNotReachTheDiskLeavesTheOutcomeOpen) {
  const InstalledKeychain installed(open());
  EXPECT_EQ(saveGeneric("p", "s", "a"), 0);
  doFoldersFailToSync = true;
  EXPECT_EQ(JVKeychain::savePassword("q", "h", "u", JVKeychainProtocolAny, &error), false);
  doFoldersFailToSync = false;
  EXPECT_EQ(status(), errSecServiceNotAvailable);
  EXPECT_EQ(JVKeychain::passwordForHost("h", "u", JVKeychainProtocolAny), "q") << "the file was replaced";
}

/// Runs @p work in a child; it must not come back to the test.
pid_t forked(const std::function<void()>& work) {
  const pid_t child = fork();
  if (child != 0) return child;
  work();
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST_F(Vault, ProcessesAtOnceLoseNothing) {
  constexpr int kProcesses = 4, kRounds = 10;
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    children.push_back(forked([&] {
      const InstalledKeychain installed(open());  // the first one makes it
      for (int r = 0; r < kRounds; ++r) EXPECT_EQ(saveGeneric("p", "s", std::to_string(p * kRounds + r)), 0);
    }));
  }
  for (const pid_t child : children) {
    int result = -1;
    waitpid(child, &result, 0);
    EXPECT_EQ(result, 0);
  }
  const InstalledKeychain installed(open(VaultFile::mustExist));
  EXPECT_EQ(readAll("s").size(), std::size_t{kProcesses * kRounds});
}

TEST_F(Vault, AKilledProcessLosesNothingThatWasReportedAsStored) {
  std::mt19937 random(7);
  std::uniform_int_distribution<useconds_t> moment(0, 20'000);
  const InstalledKeychain installed(open());
  int stored = -1;
  for (int round = 0; round < 40; ++round) {
    int report[2];
    ASSERT_EQ(pipe2(report, O_CLOEXEC), 0);
    const pid_t child = forked([&] {
      for (int at = stored + 1;; ++at) {
        if (saveGeneric(std::to_string(at), "s", "a") != 0) _exit(1);
        if (::write(report[1], &at, sizeof at) < 0) _exit(1);
      }
    });
    close(report[1]);
    usleep(moment(random));  // when it dies is chance on purpose
    kill(child, SIGKILL);
    int result = 0;
    waitpid(child, &result, 0);
    ASSERT_TRUE(WIFSIGNALED(result));
    for (int at = 0; ::read(report[0], &at, sizeof at) == sizeof at;) stored = at;
    close(report[0]);
    if (stored < 0) continue;
    const auto lines = readAll("s");
    ASSERT_EQ(lines.size(), 1U);
    // The last save may have been through without being reported.
    EXPECT_TRUE(lines[0] == "a=" + std::to_string(stored) || lines[0] == "a=" + std::to_string(stored + 1)) << lines[0];
    stored = std::stoi(lines[0].substr(2));
  }
  EXPECT_GT(stored, 0);
}

}  // namespace
