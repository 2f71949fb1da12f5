#include <JorvaneFoundation/keychain/JVKeychain.h>
#include <JorvaneFoundation/platform/KeychainVault.h>

#include <fcntl.h>
#include <signal.h>
#include <sodium.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "memory_scan.h"
#include "support.h"
#include "support/temporary_folder.h"

namespace {

using namespace jvtest;
using namespace JVPlatform;
using Key = std::array<std::uint8_t, 32>;

constexpr Key kKey = {1, 2, 3};

class Vault : public testing::Test {
 protected:
  std::string path() const { return (folder.path() / "own" / "vault").string(); }

  std::shared_ptr<Keychain> open(VaultFile file = VaultFile::createIfMissing, const Key& key = kKey) {
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
  const std::string binary("\xFF\0\xFE", 3), large(1 << 20, 'x');
  {
    const InstalledKeychain installed(open());
    EXPECT_EQ(saveGeneric("old", "s", "b"), 0);
    EXPECT_EQ(saveGeneric(binary, "s", "a"), 0);
    EXPECT_EQ(saveGeneric(large, "s", "b"), 0);
    EXPECT_EQ(save("ftp's", "h", "u", JVKeychainProtocolFTP), 0);
  }
  const InstalledKeychain installed(open(VaultFile::mustExist));
  EXPECT_EQ(readAll("s"), "b=" + large + " a=" + binary + " ");
  EXPECT_EQ(JVKeychain::passwordForHost("h", "u", JVKeychainProtocolAny), "ftp's");
  EXPECT_EQ(JVKeychain::passwordForHost("h", "u", JVKeychainProtocolFTPS), std::nullopt);
}

TEST_F(Vault, NamesThatAreNoTextBelongToTheirOwnItems) {
  const InstalledKeychain installed(open());
  expectNamesThatAreNoTextToBelongToTheirOwnItems();
  EXPECT_EQ(saveGeneric("1", "t", "\xC3\xA9"), 0) << "cut to C3";
  EXPECT_EQ(saveGeneric("2", "t", "\xC3\xA9"), errSecDuplicateItem);
}

TEST_F(Vault, NoSecretStaysInMemory) {
  const InstalledKeychain installed(open());
  expectNoSecretToStayInMemory([](const std::string& secret) {
    EXPECT_EQ(saveGeneric(secret, "s", "a"), 0);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(save(secret, "h", "u"), 0);
  });
}

TEST_F(Vault, OnlyItsKeyOrPassphraseOpensIt) {
  EXPECT_EQ(open(VaultFile::mustExist), nullptr);
  EXPECT_EQ(status(), errSecNoSuchKeychain);
  EXPECT_NE(open(), nullptr);
  Key other = kKey;
  other[31] ^= 1;
  EXPECT_EQ(open(VaultFile::createIfMissing, other), nullptr);
  EXPECT_EQ(status(), errSecAuthFailed);
  EXPECT_NE(open(), nullptr) << "left as it was";

  std::filesystem::remove(path());
  EXPECT_NE(openVault(path(), std::string_view(""), VaultFile::createIfMissing), nullptr);
  EXPECT_NE(openVault(path(), std::string_view(""), VaultFile::mustExist), nullptr);
  EXPECT_EQ(openVault(path(), std::string_view("wrong"), VaultFile::mustExist, &error), nullptr);
  EXPECT_EQ(status(), errSecAuthFailed);
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
    expectDamage(whole.substr(0, at), errSecInvalidKeychain);
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ 1);
    expectDamage(damaged, errSecInvalidKeychain);
    // Somebody who makes the sum fit again is found out by the tags.
    if (at < 8 || at >= whole.size() - 32) continue;
    auto* const raw = reinterpret_cast<std::uint8_t*>(damaged.data());
    crypto_generichash(raw + damaged.size() - 32, 32, raw, damaged.size() - 32, nullptr, 0);
    expectDamage(damaged, testing::AnyOf(errSecAuthFailed, errSecInvalidKeychain));
  }
  expectDamage(whole + "x", errSecInvalidKeychain);
  write(whole);
  EXPECT_EQ(readAll("s"), "a=p ");
}

TEST_F(Vault, AnotherInItsPlaceIsNotWrittenTo) {
  const InstalledKeychain installed(open());
  std::filesystem::remove(path());
  EXPECT_EQ(saveGeneric("p", "s", "b"), errSecNoSuchKeychain);
  EXPECT_NE(open(), nullptr);
  EXPECT_EQ(saveGeneric("p", "s", "b"), errSecAuthFailed);
}

TEST_F(Vault, IsForItsUserAlone) {
  const std::string own = folder.path() / "own", file = path();
  EXPECT_NE(open(), nullptr);
  EXPECT_EQ(std::filesystem::status(own).permissions(), std::filesystem::perms(0700));
  EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
  const auto expectRefusal = [&](const char* why) {
    EXPECT_EQ(open(), nullptr) << why;
    EXPECT_EQ(status(), errSecWrPerm) << why;
  };
  chmod(own.c_str(), 0770);
  expectRefusal("a folder that the group can write to");
  chmod(own.c_str(), 0700);
  EXPECT_NE(open(), nullptr);
  if (chown(file.c_str(), 65534, getegid()) == 0) {  // only root can give files away
    expectRefusal("a file of somebody else");
    EXPECT_EQ(chown(file.c_str(), geteuid(), getegid()), 0);
  }
  std::filesystem::rename(file, file + "2");
  std::filesystem::create_symlink(file + "2", file);
  expectRefusal("a link");
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

TEST_F(Vault, ProcessesAtOnceLoseNothing) {
  constexpr int kProcesses = 4, kRounds = 10;
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    children.push_back(fork());
    if (children.back() != 0) continue;
    const InstalledKeychain installed(open());  // the first one makes it
    for (int r = 0; r < kRounds; ++r) EXPECT_EQ(saveGeneric("p", "s", std::to_string(p * kRounds + r)), 0);
    _exit(HasFailure() ? 1 : 0);
  }
  for (const pid_t child : children) {
    int result = -1;
    waitpid(child, &result, 0);
    EXPECT_EQ(result, 0);
  }
  const InstalledKeychain installed(open(VaultFile::mustExist));
  const std::string all = readAll("s");
  EXPECT_EQ(std::ranges::count(all, '='), kProcesses * kRounds);
}

TEST_F(Vault, AKilledProcessLosesNothingThatWasReportedAsStored) {
  const InstalledKeychain installed(open());
  int stored = 0;
  for (useconds_t round = 0; round < 20; ++round) {
    int report[2];
    ASSERT_EQ(pipe2(report, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
      for (int at = stored + 1;; ++at) {
        if (saveGeneric(std::to_string(at), "s", "a") != 0 || ::write(report[1], &at, sizeof at) < 0) _exit(1);
      }
    }
    close(report[1]);
    EXPECT_EQ(::read(report[0], &stored, sizeof stored), sizeof stored);
    usleep(round * 500);  // when it dies is chance on purpose
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    while (::read(report[0], &stored, sizeof stored) == sizeof stored) continue;
    close(report[0]);
    const std::string line = readAll("s");
    const int found = std::stoi(line.substr(line.find('=') + 1));
    EXPECT_TRUE(found == stored || found == stored + 1) << "the last save may not have been reported";
    stored = found;
  }
}

}  // namespace
