// The passwords of an application's services. A query lists the items, then each is looked up again by service and
// account.
#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include <JorvaneFoundation/keychain/JVKeychain.h>
#include <JorvaneFoundation/platform/Keychain.h>

#include "foundation/formatting.h"
#include "foundation/secret.h"
#include "keychain/counted_text.h"
#include "keychain/descriptions.h"
#include "keychain/platform_owners.h"

namespace {

using namespace JVPlatform;
using jv::CountedText;
using jv::textIn;
using JVFoundation::Dictionary;
using JVFoundation::NSError;
using JVFoundation::Value;
using Text = std::optional<std::string_view>;

Dictionary itemQuery(std::string_view service, Text account) {
  const auto key = [](std::string_view name) { return std::string(name); };
  Dictionary query{{key(kSecReturnAttributes), true}, {key(kSecAttrService), service}};
  if (account) query.set(key(kSecAttrAccount), *account);
  query.set(key(kSecMatchLimit), kSecMatchLimitAll).set(key(kSecClass), kSecClassGenericPassword);
  return query;
}

/// An item by service and account, as the query reported them.
struct GenericItem {
  explicit GenericItem(const Value& attributes)
      : service(textIn(attributes, "svce")), account(textIn(attributes, "acct")) {}

  OSStatus find(Keychain& keychain, std::uint32_t* length, void** data, SecKeychainItemRef* item) const {
    const CountedText countedService(service), countedAccount(account);
    return keychain.SecKeychainFindGenericPassword(countedService.length, countedService.bytes, countedAccount.length,
                                                   countedAccount.bytes, length, data, item);
  }
  [[nodiscard]] std::string label(Text separator) const {
    std::string text(jv::orNull(service));
    text += jv::orNull(separator);
    return text += jv::orNull(account);
  }

  Text service, account;
};

/// Passwords by account in the order in which the accounts came first.
class Passwords {
 public:
  void set(std::string_view account, std::span<const std::uint8_t> password) {
    jv::Secret<Value::Data> data(Value::Data(password.begin(), password.end()));
    const auto same = std::ranges::find(entries_, account, &Entry::account);
    if (same == entries_.end()) {
      entries_.emplace_back(std::string(account), std::move(data));
    } else {
      same->password = std::move(data);
    }
  }

  Value release() {
    Dictionary dictionary;
    for (Entry& entry : entries_) dictionary.set(std::move(entry.account), entry.password.release());
    return dictionary;
  }

 private:
  struct Entry {
    Entry(std::string name, jv::Secret<Value::Data> secret) : account(std::move(name)), password(std::move(secret)) {}
    std::string account;
    jv::Secret<Value::Data> password;
  };
  std::vector<Entry> entries_;
};

/// Adds the passwords of all items that match @p query under @p requested, or else under their own accounts. Items that
/// are not found again are left out. @return the first status that is neither 0 nor "not found".
OSStatus gather(Keychain& keychain, const Dictionary& query, Text requested, Passwords& passwords) {
  jv::QueryResult result(keychain);
  const OSStatus status = result.find(query);
  if (status == errSecItemNotFound) return errSecSuccess;
  if (status != errSecSuccess) return status;
  if (result.array() == nullptr) return errSecNoSuchClass;

  for (const Value& attributes : *result.array()) {
    const GenericItem item(attributes);
    jv::ReturnedBytes bytes(keychain);
    const OSStatus found = item.find(keychain, bytes.lengthOut(), bytes.dataOut(), nullptr);
    if (found == errSecItemNotFound) continue;
    if (found != errSecSuccess) return found;
    // Without an account there is no key to keep it under.
    if (const Text account = requested ? requested : item.account) passwords.set(*account, bytes.bytes());
  }
  return errSecSuccess;
}

OSStatus add(Keychain& keychain, std::string_view service, std::string_view account, Text separator,
             std::span<const std::uint8_t> password) {
  jv::ItemReference item(keychain);
  const CountedText countedService{service}, countedAccount{account};
  const OSStatus status = keychain.SecKeychainAddGenericPassword(
      countedService.length, countedService.bytes, countedAccount.length, countedAccount.bytes,
      static_cast<std::uint32_t>(password.size()), password.data(), item.out());
  if (status != errSecSuccess) return status;
  std::string label(service);
  label += jv::orNull(separator);
  label += account;
  return item.modify(label, password);
}

OSStatus save(std::span<const std::uint8_t> password, std::string_view service, std::string_view account,
              Text separator) {
  if (password.size() > jv::kMostBytes) return errSecParam;
  const std::shared_ptr<Keychain> keychain = JVPlatform::keychain();
  jv::QueryResult result(*keychain);
  const OSStatus status = result.find(itemQuery(service, account));
  if (status != errSecSuccess && status != errSecItemNotFound) return status;

  // What is no array is as good as nothing here.
  const Value::Array none;
  for (const Value& attributes : result.array() ? *result.array() : none) {
    const GenericItem item(attributes);
    jv::ItemReference reference(*keychain);
    const OSStatus found = item.find(*keychain, nullptr, nullptr, reference.out());
    if (found == errSecItemNotFound) continue;
    if (found != errSecSuccess) return found;
    return reference.modify(item.label(separator), password);
  }
  return add(*keychain, service, account, separator, password);
}

/// Writes the error, or none, and says whether there is none.
bool report(const JVKeychain::Class& methods, std::string_view description, OSStatus status,
            std::optional<NSError>* error) {
  std::optional<NSError> failure;
  if (status != errSecSuccess) failure = methods.errorWithDescription(description, status);
  const bool isFine = !failure;
  if (error) *error = std::move(failure);
  return isFine;
}

}  // namespace

std::optional<Value> JVKeychain::Class::genericPasswordsWithService(std::string_view service,
                                                                    std::optional<NSError>* error) const {
  const std::shared_ptr<Keychain> keychain = JVPlatform::keychain();
  Passwords passwords;
  const OSStatus status = gather(*keychain, itemQuery(service, std::nullopt), std::nullopt, passwords);
  if (!report(*this, jv::kErrorReading, status, error)) return std::nullopt;
  return passwords.release();
}

Value JVKeychain::Class::genericPasswordsWithAccounts(const std::vector<std::string>& accounts,
                                                      std::string_view service, std::optional<NSError>* error) const {
  const std::shared_ptr<Keychain> keychain = accounts.empty() ? nullptr : JVPlatform::keychain();
  Passwords passwords;
  Dictionary query = itemQuery(service, std::nullopt);
  OSStatus status = errSecSuccess;
  for (const std::string& account : accounts) {
    // An empty account leaves the restriction of the one before it.
    if (!account.empty()) query.set(std::string(kSecAttrAccount), account);
    status = gather(*keychain, query, account, passwords);
    if (status != errSecSuccess) break;
  }
  report(*this, jv::kErrorReading, status, error);
  return passwords.release();
}

bool JVKeychain::Class::saveGenericPassword(std::span<const std::uint8_t> password, std::string_view service,
                                            std::string_view account, Text separator,
                                            std::optional<NSError>* error) const {
  return report(*this, jv::kErrorWritting, save(password, service, account, separator), error);
}
