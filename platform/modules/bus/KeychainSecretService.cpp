#include "platform/modules/bus/KeychainSecretService.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/FileLock.h"
#include "platform/KeychainByKey.h"
#include "platform/modules/bus/SecretAttributes.h"
#include "platform/modules/bus/SecretConnection.h"

namespace jv {
namespace {

using namespace JVPlatform;
using JVFoundation::Value;
using Bytes = std::span<const std::uint8_t>;

std::uint64_t nanosecondsNow() {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(time.tv_nsec);
}

/// Held while an item is looked for and then added, so that two programs of this user do not both add it: the service
/// itself accepts any number of equal items. Without a folder for it, or when somebody holds it too long, things go on
/// without.
class AdditionLock {
 public:
  AdditionLock() {
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    if (folder == nullptr || *folder != '/') return;
    const std::string path = std::string(folder).append("/JorvaneFoundation.keychain.lock");
    do {
      file_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    } while (file_ < 0 && errno == EINTR);
    constexpr std::chrono::seconds kPatience{5};
    if (file_ >= 0) lockFile(file_, kPatience);
  }
  AdditionLock(const AdditionLock&) = delete;
  AdditionLock& operator=(const AdditionLock&) = delete;
  ~AdditionLock() {
    if (file_ >= 0) close(file_);
  }

 private:
  int file_ = -1;
};

/// The connections that nobody uses at the moment. Whoever has one has it alone, so that a user who takes long over a
/// prompt, or a service that takes long to answer, keeps nobody else waiting.
class ConnectionPool {
 public:
  /// Calls @p work(connection). Repeats it once when the service did not know the session, and, if it only reads, when
  /// the service went away in the middle.
  enum class Repeat : std::uint8_t { never, reading };
  template <class Work>
  auto with(Repeat repeat, Work work) {
    for (bool isFirst = true;; isFirst = false) {
      std::unique_ptr<SecretConnection> connection = take();
      try {
        auto result = work(*connection);
        giveBack(std::move(connection));
        return result;
      } catch (const SecretFailure& failure) {
        const bool isLost = failure.cause == FailureCause::lost;
        const bool isSessionGone = failure.cause == FailureCause::sessionGone;
        if (isSessionGone) connection->forgetSession();
        // A connection that still waits for answers is closed.
        if (!isLost && failure.cause != FailureCause::late) giveBack(std::move(connection));
        if (!isFirst || !(isSessionGone || (isLost && repeat == Repeat::reading))) throw;
      }
    }
  }

 private:
  static constexpr std::size_t kMostIdle = 2;

  std::unique_ptr<SecretConnection> take() {
    while (std::unique_ptr<SecretConnection> idle = takeIdle()) {
      if (idle->isAlive()) return idle;
    }
    return std::make_unique<SecretConnection>();
  }

  std::unique_ptr<SecretConnection> takeIdle() {
    const std::lock_guard lock(mutex_);
    if (idle_.empty()) return nullptr;
    std::unique_ptr<SecretConnection> last = std::move(idle_.back());
    idle_.pop_back();
    return last;
  }

  void giveBack(std::unique_ptr<SecretConnection> connection) {
    const std::lock_guard lock(mutex_);
    if (idle_.size() < kMostIdle) idle_.push_back(std::move(connection));
  }

  std::mutex mutex_;
  std::vector<std::unique_ptr<SecretConnection>> idle_;
};

struct FoundItem {
  ObjectPath path;
  SecretProperties properties;
  std::optional<SecretBytes> secret;
};

/// What a query found, until its result is handed back. Lookups on the same thread are answered from it.
struct Found {
  std::vector<FoundItem> items;
  bool areSecretsRead = false;
  std::thread::id thread;
  std::optional<Value> answer;

  FoundItem* find(const ItemKey& key) {
    const auto item =
        std::ranges::find_if(items, [&](const FoundItem& i) { return matches(i.properties.attributes, key); });
    return item == items.end() ? nullptr : &*item;
  }
};

/// What an item reference stands for.
struct Reference {
  ObjectPath path;
  std::string label;
  std::optional<SecretBytes> stored;  ///< what the item holds, if it was added through this reference
};

class KeychainSecretService final : public KeychainByKey {
 public:
  void CFRelease(const Value* result) override {
    if (result == nullptr) return;
    std::unique_ptr<Found> released;  // wiped outside of the lock
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find_if(live_, [&](const auto& one) { return &*one->answer == result; });
    if (found == live_.end()) return;
    released = std::move(*found);
    live_.erase(found);
  }
  void CFRelease(ItemRef item) override { delete asReference(item); }

 protected:
  OSStatus copyMatching(const ItemQuery& query, const Value*& result) override {
    std::unique_ptr<Found> found = connections_.with(ConnectionPool::Repeat::reading, [&](SecretConnection& service) {
      return search(service, searchFor(query),
                    [&](const SecretAttributes& attributes) { return matches(attributes, query); });
    });
    if (found->items.empty()) return errSecItemNotFound;
    Value::Array items;
    for (const FoundItem& item : found->items) items.emplace_back(tagsOf(query.kind, item.properties));
    found->answer = Value(std::move(items));
    const Value* const answer = &*found->answer;
    const std::lock_guard lock(mutex_);
    live_.push_back(std::move(found));
    result = answer;
    return errSecSuccess;
  }

  OSStatus find(const ItemKey& key, std::uint32_t* length, void** data, ItemRef* item) override {
    Found* found = liveWith(key);
    std::unique_ptr<Found> own;
    if (found == nullptr) {
      own = connections_.with(ConnectionPool::Repeat::reading,
                              [&](SecretConnection& service) { return search(service, key); });
      found = own.get();
    }
    FoundItem* const one = found->find(key);
    if (one == nullptr) return errSecItemNotFound;
    std::unique_ptr<Reference> reference;
    if (item != nullptr) reference = std::make_unique<Reference>(Reference{one->path, one->properties.label, {}});
    if (data != nullptr) {
      readSecrets(*found);
      if (!one->secret) readSecret(*one);
      handOut(**one->secret, length, data);
    }
    if (item != nullptr) *item = asItemRef(std::move(reference));
    return errSecSuccess;
  }

  OSStatus add(const ItemKey& key, Bytes password, ItemRef* item) override {
    const AdditionLock lock;
    auto reference = std::make_unique<Reference>();
    reference->label = displayText(key.name);
    if (item != nullptr) reference->stored.emplace(std::vector<std::uint8_t>(password.begin(), password.end()));
    const bool isThere = connections_.with(ConnectionPool::Repeat::reading, [&](SecretConnection& service) {
      return !search(service, key)->items.empty();
    });
    if (isThere) return errSecDuplicateItem;
    reference->path = connections_.with(ConnectionPool::Repeat::never, [&](SecretConnection& service) {
      return service.create(attributesOf(key, nanosecondsNow()), key.name, password);
    });
    if (item != nullptr) *item = asItemRef(std::move(reference));
    return errSecSuccess;
  }

  OSStatus modify(ItemRef item, std::optional<std::string_view> label, Bytes password) override {
    Reference& reference = *asReference(item);
    // Writing costs the service far more than anything else: what is there already is not written again.
    const bool isStored = reference.stored && std::ranges::equal(**reference.stored, password);
    const bool isLabelled = !label || displayText(*label) == reference.label;
    reference.stored.reset();
    return connections_.with(ConnectionPool::Repeat::never, [&](SecretConnection& service) {
      if (!isStored) service.setSecret(reference.path, password);
      if (!isLabelled) {
        service.setLabel(reference.path, *label);
        reference.label = displayText(*label);
      }
      return OSStatus{errSecSuccess};
    });
  }

  OSStatus remove(ItemRef item) override {
    return connections_.with(ConnectionPool::Repeat::never, [&](SecretConnection& service) {
      service.remove(asReference(item)->path);
      return OSStatus{errSecSuccess};
    });
  }

  OSStatus describe(KeychainState& state) override {
    const auto collection = connections_.with(ConnectionPool::Repeat::reading,
                                              [](SecretConnection& service) { return service.defaultCollection(); });
    state.description = "password service";
    if (collection) state.description.append(", collection \"").append(collection->label).append("\"");
    if (!collection) state.description.append(", no default collection");
    state.isUnlocked = collection && collection->isUnlocked;
    return errSecSuccess;
  }

 private:
  static Reference* asReference(ItemRef item) { return reinterpret_cast<Reference*>(item); }
  static ItemRef asItemRef(std::unique_ptr<Reference> reference) {
    return reinterpret_cast<ItemRef>(reference.release());
  }

  /// The items found by @p attributes that @p isWanted lets pass, oldest first.
  template <class Condition>
  static std::unique_ptr<Found> search(SecretConnection& service, const SecretAttributes& attributes,
                                       Condition isWanted) {
    auto found = std::make_unique<Found>();
    found->thread = std::this_thread::get_id();
    std::vector<ObjectPath> paths = service.search(attributes);
    if (paths.empty()) return found;
    std::vector<std::optional<SecretProperties>> properties = service.properties(paths);
    for (std::size_t at = 0; at < paths.size(); ++at) {
      if (!properties[at]) continue;
      // Whether it is wanted cannot be told. Taken for missing, its password would be made anew and lost.
      if (properties[at]->isLocked) throw SecretFailure(errSecInteractionNotAllowed, FailureCause::answer);
      if (!isWanted(properties[at]->attributes)) continue;
      found->items.push_back({std::move(paths[at]), std::move(*properties[at]), {}});
    }
    std::ranges::sort(found->items, [](const FoundItem& a, const FoundItem& b) {
      const std::uint64_t x = timeOf(a.properties);
      const std::uint64_t y = timeOf(b.properties);
      return x != y ? x < y : isEarlierPath(a.path, b.path);
    });
    return found;
  }
  static std::unique_ptr<Found> search(SecretConnection& service, const ItemKey& key) {
    return search(service, searchFor(key),
                  [&](const SecretAttributes& attributes) { return matches(attributes, key); });
  }

  /// What the latest query of this thread has found, if the item is in it. Only this thread touches it.
  Found* liveWith(const ItemKey& key) {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(live_.rbegin(), live_.rend(), [&](const auto& one) {
      return one->thread == std::this_thread::get_id() && one->find(key) != nullptr;
    });
    return found == live_.rend() ? nullptr : found->get();
  }

  /// Reads the secrets of all items in one go, once.
  void readSecrets(Found& found) {
    if (std::exchange(found.areSecretsRead, true)) return;
    std::vector<ObjectPath> paths;
    for (const FoundItem& item : found.items) paths.push_back(item.path);
    auto secrets = connections_.with(ConnectionPool::Repeat::reading,
                                     [&](SecretConnection& service) { return service.secrets(paths); });
    for (FoundItem& item : found.items) {
      if (const auto secret = secrets.find(item.path); secret != secrets.end()) item.secret = std::move(secret->second);
    }
  }

  /// Services leave out of the answer for many what is locked or gone; asked for it alone they say which.
  void readSecret(FoundItem& item) {
    item.secret = connections_.with(ConnectionPool::Repeat::reading,
                                    [&](SecretConnection& service) { return service.secret(item.path); });
  }

  ConnectionPool connections_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<Found>> live_;
};

}  // namespace

std::shared_ptr<Keychain> makeSecretServiceKeychain() {
  try {
    return std::make_shared<KeychainSecretService>();
  } catch (...) {
    return nullptr;
  }
}

}  // namespace jv
