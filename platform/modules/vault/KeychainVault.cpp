#include "platform/modules/vault/KeychainVault.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/KeychainByKey.h"
#include "platform/keychain_codes.h"
#include "platform/modules/vault/VaultContent.h"
#include "platform/modules/vault/VaultFolder.h"
#include "platform/modules/vault/VaultSeal.h"

namespace jv {
namespace {

using namespace JVPlatform;
using JVFoundation::Value;

bool matches(const VaultItem& item, const ItemKey& key) {
  return item.kind == key.kind && item.name == key.name && item.account == key.account &&
         item.securityDomain == key.securityDomain && item.path == key.path && item.port == key.port &&
         item.protocol == key.protocol && item.authentication == key.authentication;
}

bool matches(const VaultItem& item, const ItemQuery& query) {
  return item.kind == query.kind && item.name == query.name && (!query.account || item.account == *query.account) &&
         (!query.protocol || nameOf(kProtocols, item.protocol) == *query.protocol);
}

JVFoundation::Dictionary tagsOf(const VaultItem& item) {
  JVFoundation::Dictionary tags;
  const auto unlessEmpty = [&](const char* key, std::string_view text) {
    if (!text.empty()) tags.set(key, text);
  };
  if (item.kind == ItemClass::internet) {
    tags.set("srvr", item.name);
    unlessEmpty("sdmn", item.securityDomain);
    tags.set("acct", item.account);
    unlessEmpty("path", item.path);
    if (item.port != 0) tags.set("port", std::int32_t{item.port});
    unlessEmpty("ptcl", nameOf(kProtocols, item.protocol));
    unlessEmpty("atyp", nameOf(kAuthenticationTypes, item.authentication));
  } else {
    tags.set("svce", item.name);
    tags.set("acct", item.account);
  }
  tags.set("labl", item.label);
  return tags;
}

class KeychainVault final : public KeychainByKey {
 public:
  KeychainVault(VaultFolder folder, VaultSeal seal) : folder_(std::move(folder)), seal_(std::move(seal)) {}

  void CFRelease(const Value* result) override { delete result; }
  void CFRelease(ItemRef item) override { delete asNumber(item); }

 protected:
  OSStatus copyMatching(const ItemQuery& query, const Value*& result) override {
    Value::Array found;
    for (const VaultItem& item : load()) {
      if (matches(item, query)) found.emplace_back(tagsOf(item));
    }
    if (found.empty()) return errSecItemNotFound;
    result = new Value(std::move(found));
    return errSecSuccess;
  }

  OSStatus find(const ItemKey& key, std::uint32_t* length, void** data, ItemRef* item) override {
    const VaultItems items = load();
    const auto found = std::ranges::find_if(items, [&](const VaultItem& one) { return matches(one, key); });
    if (found == items.end()) return errSecItemNotFound;
    std::unique_ptr<std::uint64_t> number;
    if (item != nullptr) number = std::make_unique<std::uint64_t>(found->number);
    if (data != nullptr) handOut(*found->password, length, data);
    if (item != nullptr) *item = asItemRef(std::move(number));
    return errSecSuccess;
  }

  OSStatus add(const ItemKey& key, Bytes password, ItemRef* item) override {
    for (const auto& [code, rows] : {std::pair{key.protocol, std::span<const NameCode>(kProtocols)},
                                     std::pair{key.authentication, std::span<const NameCode>(kAuthenticationTypes)}}) {
      if (code != 0 && nameOf(rows, code).empty()) return errSecParam;
    }
    auto number = std::make_unique<std::uint64_t>();
    const OSStatus status = change([&](VaultItems& items) {
      if (std::ranges::any_of(items, [&](const VaultItem& one) { return matches(one, key); })) {
        return errSecDuplicateItem;
      }
      randombytes_buf(number.get(), sizeof *number);
      items.push_back(newItem(*number, key, password));
      return errSecSuccess;
    });
    if (status == errSecSuccess && item != nullptr) *item = asItemRef(std::move(number));
    return status;
  }

  OSStatus modify(ItemRef reference, std::optional<std::string_view> label, Bytes password) override {
    return change([&](VaultItems& items) {
      const auto item = std::ranges::find(items, *asNumber(reference), &VaultItem::number);
      if (item == items.end()) return errSecItemNotFound;
      item->password = SecretBytes(std::vector<std::uint8_t>(password.begin(), password.end()));
      if (label) item->label = *label;
      return errSecSuccess;
    });
  }

  OSStatus remove(ItemRef reference) override {
    return change([&](VaultItems& items) {
      const auto item = std::ranges::find(items, *asNumber(reference), &VaultItem::number);
      if (item == items.end()) return errSecItemNotFound;
      items.erase(item);
      return errSecSuccess;
    });
  }

  OSStatus describe(KeychainState& state) override {
    (void)load();
    state = {.description = "vault " + folder_.path(), .isUnlocked = true};
    return errSecSuccess;
  }

 private:
  static std::uint64_t* asNumber(ItemRef item) { return reinterpret_cast<std::uint64_t*>(item); }
  static ItemRef asItemRef(std::unique_ptr<std::uint64_t> number) {
    return reinterpret_cast<ItemRef>(number.release());
  }

  static VaultItem newItem(std::uint64_t number, const ItemKey& key, Bytes password) {
    return {.number = number,
            .kind = key.kind,
            .name = std::string(key.name),
            .account = std::string(key.account),
            .securityDomain = std::string(key.securityDomain),
            .path = std::string(key.path),
            .port = key.port,
            .protocol = key.protocol,
            .authentication = key.authentication,
            .label = std::string(key.name),
            .password = SecretBytes(std::vector<std::uint8_t>(password.begin(), password.end()))};
  }

  [[nodiscard]] VaultItems load() const {
    const std::optional<std::vector<std::uint8_t>> file = folder_.read();
    if (!file) throw KeychainFailure{errSecNoSuchKeychain};
    const SecretBytes content = seal_.open(*file);
    std::optional<VaultItems> items = decodeVaultItems(*content);
    if (!items) throw KeychainFailure{errSecInvalidKeychain};
    return std::move(*items);
  }

  /// Writes the items back if @p work gives 0.
  template <class Work>
  OSStatus change(Work work) const {
    const VaultDescriptor lock = folder_.lock();
    VaultItems items = load();
    const OSStatus status = work(items);
    if (status == errSecSuccess) folder_.replace(seal_.seal(*encodeVaultItems(items)));
    return status;
  }

  const VaultFolder folder_;
  const VaultSeal seal_;
};

std::shared_ptr<Keychain> open(std::string_view path, VaultSecret secret, VaultFile file) {
  VaultFolder folder(path);
  if (file == VaultFile::createIfMissing) folder.create();
  std::optional<std::vector<std::uint8_t>> contents = folder.read();
  if (!contents && file == VaultFile::mustExist) throw KeychainFailure{errSecNoSuchKeychain};
  if (!contents) {
    const VaultDescriptor lock = folder.lock();
    contents = folder.read();  // somebody else may have been faster
    if (!contents) {
      VaultSeal seal(secret);
      folder.replace(seal.seal(*encodeVaultItems({})));
      return std::make_shared<KeychainVault>(std::move(folder), std::move(seal));
    }
  }
  VaultSeal seal(secret, *contents);
  (void)seal.open(*contents);
  return std::make_shared<KeychainVault>(std::move(folder), std::move(seal));
}

}  // namespace

std::shared_ptr<Keychain> openKeychainVault(std::string_view path, VaultSecret secret, VaultFile file,
                                            OSStatus& status) {
  try {
    return open(path, secret, file);
  } catch (const KeychainFailure& failure) {
    status = failure.status;
  } catch (const std::bad_alloc&) {
    status = errSecAllocate;
  } catch (...) {
    status = errSecInternalComponent;
  }
  return nullptr;
}

}  // namespace jv
