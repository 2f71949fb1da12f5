#include <JorvaneFoundation/platform/AddressBook.h>

#include <pwd.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "platform/BusModule.h"
#include "platform/Defaults.h"
#include "platform/fact_origins.h"
#include "platform/linux/ModuleLoader.h"
#include "platform/linux/text_files.h"
#include "platform/linux/user_facts.h"

namespace jv {
namespace {

using JVPlatform::ABMultiValue;
using JVPlatform::ABPerson;
using JVPlatform::Fact;

constexpr std::uint64_t kLongestWait = 100'000;  // microseconds

struct PasswordEntry {
  std::string login;
  std::string field;
};

PasswordEntry ownPasswordEntry() {
  passwd entry;
  passwd* found = nullptr;
  std::vector<char> texts(1024);
  int error;
  while ((error = getpwuid_r(getuid(), &entry, texts.data(), texts.size(), &found)) == ERANGE || error == EINTR) {
    if (error == ERANGE) texts.resize(texts.size() * 2);
  }
  if (error != 0 || !found) return {};
  return {entry.pw_name, entry.pw_gecos ? entry.pw_gecos : ""};
}

Account ownAccount() {
  Account account;
  const BusModule* const bus = module<BusModule>("bus");
  if (bus) bus->readAccount(getuid(), kLongestWait, account);
  return account;
}

class LinuxAddressBook final : public JVPlatform::AddressBook {
 public:
  std::optional<ABPerson> me() override {
    const Account account = ownAccount();
    ABPerson card{nameFrom(account), std::nullopt, emailsFrom(account)};
    if (!card.firstName && !card.emails) return std::nullopt;
    return card;
  }

 private:
  /// In one piece: where a name ends and the family's begins is for its bearer to know.
  static std::optional<std::string> nameFrom(const Account& account) {
    const PasswordEntry entry = ownPasswordEntry();
    const bool named = !account.realName.empty() && account.realName != entry.login;
    auto name = named ? account.realName : fullNameOf(entry.field, entry.login);
    noteOrigin(Fact::userName, named ? "accounts service" : name ? "password file" : nullptr);
    return name;
  }

  static std::optional<ABMultiValue> emailsFrom(const Account& account) {
    noteOrigin(Fact::userEmail, "accounts service");
    if (!account.email.empty()) return ABMultiValue{{{"0", account.email}}, "0"};
    const std::string path = pathOfOwnCard();
    auto emails = path.empty() ? std::nullopt : emailsOfCard(textOfFile(path));
    noteOrigin(Fact::userEmail, emails ? "the user's own card" : nullptr);
    return emails;
  }
};

}  // namespace

std::shared_ptr<JVPlatform::AddressBook> makeAddressBook() { return std::make_shared<LinuxAddressBook>(); }

}  // namespace jv
