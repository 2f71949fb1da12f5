#include "platform/modules/bus/SecretConnection.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <utility>

#include "platform/modules/bus/SecretMessages.h"

namespace jv {
namespace {

using namespace JVPlatform;

constexpr std::uint64_t kPatience = 25'000'000;  // microseconds for an answer
constexpr std::size_t kMostCallsAtOnce = 512;    // buses limit how many answers may be outstanding

std::uint64_t now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000 + static_cast<std::uint64_t>(time.tv_nsec) / 1'000;
}

/// A result of sd-bus; below zero it says that the bus is gone.
int connected(int result) {
  if (result >= 0) return result;
  if (result == -ENOMEM) throw std::bad_alloc();
  throw SecretFailure(errSecServiceNotAvailable, FailureCause::lost);
}

}  // namespace

// --- the connection ---

SecretConnection::SecretConnection() : process_(getpid()) {
  const int result = sd_bus_open_user(OutPointer(bus_));
  if (result == -ENOMEM) throw std::bad_alloc();
  if (result < 0) throw SecretFailure(errSecNotAvailable, FailureCause::answer);
  checked(sd_bus_add_filter(bus_.get(), nullptr, onMessage, this));
}

bool SecretConnection::isAlive() {
  if (process_ != getpid()) {
    (void)bus_.release();  // it belongs to the parent; sd-bus refuses to touch it here
    return false;
  }
  int result = 0;
  while ((result = sd_bus_process(bus_.get(), nullptr)) > 0) {
  }
  return result == 0 && sd_bus_is_open(bus_.get()) > 0;
}

int SecretConnection::onReply(sd_bus_message* reply, void* call, sd_bus_error*) {
  static_cast<Call*>(call)->reply.reset(sd_bus_message_ref(reply));
  return 1;
}

void SecretConnection::waitUntil(const std::function<bool()>& isDone, std::optional<std::uint64_t> deadline) {
  while (!isDone()) {
    const int result = sd_bus_process(bus_.get(), nullptr);
    if (result == -EINTR) continue;
    if (connected(result) > 0) continue;
    if (sd_bus_is_open(bus_.get()) <= 0) connected(-ECONNRESET);
    std::uint64_t left = UINT64_MAX;
    if (deadline) {
      const std::uint64_t time = now();
      if (time >= *deadline) throw SecretFailure(errSecServiceNotAvailable, FailureCause::late);
      left = *deadline - time;
    }
    const int waited = sd_bus_wait(bus_.get(), left);
    if (waited != -EINTR) connected(waited);
  }
}

// --- calls ---

SecretConnection::Call SecretConnection::newCall(SecretPlace place, const char* path, const char* interface,
                                                 const char* method) {
  Call call;
  call.place = place;
  checked(sd_bus_message_new_method_call(bus_.get(), OutPointer(call.request), kService, path, interface, method));
  return call;
}

SecretConnection::Call SecretConnection::newSessionCall() {
  // Encryption between us and the service would only hide from whoever may read the user's own bus, and may so ask the
  // service as well.
  Call call = newCall(SecretPlace::service, kServicePath, kServiceInterface, "OpenSession");
  checked(sd_bus_message_append(call.request.get(), "sv", "plain", "s", ""));
  return call;
}

void SecretConnection::send(Call& call) {
  constexpr std::uint64_t kNoLimit = UINT64_MAX;  // the limit is kept by waitUntil
  connected(sd_bus_call_async(bus_.get(), nullptr, call.request.get(), onReply, &call, kNoLimit));
}

void SecretConnection::exchange(std::span<Call> calls) {
  while (!calls.empty()) {
    const auto some = calls.first(std::min(calls.size(), kMostCallsAtOnce));
    calls = calls.subspan(some.size());
    for (Call& call : some) send(call);
    std::size_t answered = 0;
    waitUntil(
        [&] {
          while (answered < some.size() && some[answered].reply) ++answered;
          return answered == some.size();
        },
        now() + kPatience);
  }
}

void SecretConnection::exchange(Call& call) {
  exchange({&call, 1});
  check(call);
}

void SecretConnection::check(const Call& call) {
  if (sd_bus_message_is_method_error(call.reply.get(), nullptr) <= 0) return;
  throw failureOf(sd_bus_message_get_error(call.reply.get())->name, call.place, call.isWrite);
}

void SecretConnection::openSession() {
  if (!session_.empty()) return;
  Call call = newSessionCall();
  exchange(call);
  checked(sd_bus_message_skip(call.reply.get(), "v"));
  session_ = readText(call.reply.get(), 'o');
}

// --- reading ---

std::vector<ObjectPath> SecretConnection::search(const SecretAttributes& attributes) {
  std::vector<Call> calls;
  calls.push_back(newCall(SecretPlace::service, kServicePath, kServiceInterface, "SearchItems"));
  append(calls[0].request.get(), attributes);
  // Whoever searches is going to read or write: the session comes along without a wait of its own.
  if (session_.empty()) calls.push_back(newSessionCall());
  exchange(calls);
  check(calls[0]);
  if (calls.size() > 1) {
    check(calls[1]);
    checked(sd_bus_message_skip(calls[1].reply.get(), "v"));
    session_ = readText(calls[1].reply.get(), 'o');
  }
  std::vector<ObjectPath> items = readPaths(calls[0].reply.get());
  const std::vector<ObjectPath> locked = readPaths(calls[0].reply.get());
  if (!locked.empty()) unlock(locked);
  items.insert(items.end(), locked.begin(), locked.end());
  return items;
}

std::vector<std::optional<SecretProperties>> SecretConnection::properties(std::span<const ObjectPath> items) {
  std::vector<Call> calls;
  for (const ObjectPath& item : items) {
    calls.push_back(newCall(SecretPlace::item, item.c_str(), kPropertiesInterface, "GetAll"));
    checked(sd_bus_message_append(calls.back().request.get(), "s", kItemInterface));
  }
  exchange(calls);
  std::vector<std::optional<SecretProperties>> all;
  for (const Call& call : calls) {
    all.emplace_back();
    try {
      check(call);
    } catch (const SecretFailure& failure) {
      if (failure.status == errSecItemNotFound) continue;
      throw;
    }
    all.back() = readProperties(call.reply.get());
  }
  return all;
}

SecretBytes SecretConnection::readSecret(Call& call) {
  sd_bus_message* const message = call.reply.get();
  checked(sd_bus_message_sensitive(message));
  checked(sd_bus_message_enter_container(message, 'r', "oayays"));
  checked(sd_bus_message_skip(message, "oay"));
  const void* bytes = nullptr;
  std::size_t size = 0;
  checked(sd_bus_message_read_array(message, 'y', &bytes, &size));
  checked(sd_bus_message_skip(message, "s"));
  checked(sd_bus_message_exit_container(message));
  const auto* const first = static_cast<const std::uint8_t*>(bytes);
  return SecretBytes(std::vector<std::uint8_t>(first, first + size));
}

std::map<ObjectPath, SecretBytes> SecretConnection::secrets(std::span<const ObjectPath> items) {
  openSession();
  Call call = newCall(SecretPlace::service, kServicePath, kServiceInterface, "GetSecrets");
  append(call.request.get(), items);
  checked(sd_bus_message_append(call.request.get(), "o", session_.c_str()));
  exchange(call);
  sd_bus_message* const message = call.reply.get();
  std::map<ObjectPath, SecretBytes> found;
  checked(sd_bus_message_enter_container(message, 'a', "{o(oayays)}"));
  while (checked(sd_bus_message_enter_container(message, 'e', "o(oayays)")) > 0) {
    ObjectPath path = readText(message, 'o');
    found.insert_or_assign(std::move(path), readSecret(call));
    checked(sd_bus_message_exit_container(message));
  }
  return found;
}

SecretBytes SecretConnection::secret(const ObjectPath& item) {
  openSession();
  Call call = newCall(SecretPlace::item, item.c_str(), kItemInterface, "GetSecret");
  checked(sd_bus_message_append(call.request.get(), "o", session_.c_str()));
  exchange(call);
  return readSecret(call);
}

std::optional<SecretConnection::Collection> SecretConnection::defaultCollection() {
  Call call = newCall(SecretPlace::collection, kDefaultCollection, kPropertiesInterface, "GetAll");
  checked(sd_bus_message_append(call.request.get(), "s", kCollectionInterface));
  try {
    exchange(call);
  } catch (const SecretFailure& failure) {
    if (failure.status == errSecNoDefaultKeychain) return std::nullopt;
    throw;
  }
  sd_bus_message* const message = call.reply.get();
  Collection collection;
  readEntries(message, [&](std::string_view name) {
    if (name == "Label" && enterVariant(message, "s")) {
      collection.label = readText(message, 's');
    } else if (name == "Locked" && enterVariant(message, "b")) {
      collection.isUnlocked = !readFlag(message);
    } else {
      if (name != "Label" && name != "Locked") checked(sd_bus_message_skip(message, "v"));
      return;
    }
    checked(sd_bus_message_exit_container(message));
  });
  return collection;
}

// --- writing ---

void SecretConnection::appendSecret(Call& call, std::span<const std::uint8_t> secret) {
  sd_bus_message* const message = call.request.get();
  checked(sd_bus_message_sensitive(message));
  const std::string_view text(reinterpret_cast<const char*>(secret.data()), secret.size());
  checked(sd_bus_message_open_container(message, 'r', "oayays"));
  checked(sd_bus_message_append(message, "oay", session_.c_str(), 0));
  checked(sd_bus_message_append_array(message, 'y', secret.data(), secret.size()));
  // Other programs show what is declared to be a text.
  checked(
      sd_bus_message_append(message, "s", isBusText(text) ? "text/plain; charset=utf8" : "application/octet-stream"));
  checked(sd_bus_message_close_container(message));
}

ObjectPath SecretConnection::createIn(const char* collection, const SecretAttributes& attributes,
                                      std::string_view label, std::span<const std::uint8_t> secret) {
  openSession();
  Call call = newCall(SecretPlace::collection, collection, kCollectionInterface, "CreateItem");
  call.isWrite = true;
  sd_bus_message* const message = call.request.get();
  checked(sd_bus_message_open_container(message, 'a', "{sv}"));
  checked(sd_bus_message_append(message, "{sv}", "org.freedesktop.Secret.Item.Label", "s", displayText(label).c_str()));
  checked(sd_bus_message_open_container(message, 'e', "sv"));
  checked(sd_bus_message_append(message, "s", "org.freedesktop.Secret.Item.Attributes"));
  checked(sd_bus_message_open_container(message, 'v', "a{ss}"));
  append(message, attributes);
  checked(sd_bus_message_close_container(message));
  checked(sd_bus_message_close_container(message));
  checked(sd_bus_message_close_container(message));
  appendSecret(call, secret);
  constexpr int kReplace = 0;
  checked(sd_bus_message_append(message, "b", kReplace));
  exchange(call);

  ObjectPath item = readText(call.reply.get(), 'o');
  const SdMessage end = prompt(call, errSecInteractionNotAllowed);
  if (!end) return item;
  checked(sd_bus_message_enter_container(end.get(), 'v', "o"));
  return readText(end.get(), 'o');
}

void SecretConnection::createDefaultCollection() {
  Call call = newCall(SecretPlace::service, kServicePath, kServiceInterface, "CreateCollection");
  checked(sd_bus_message_append(call.request.get(), "a{sv}s", 1, "org.freedesktop.Secret.Collection.Label", "s",
                                "Default", "default"));
  exchange(call);
  checked(sd_bus_message_skip(call.reply.get(), "o"));
  prompt(call, errSecNoDefaultKeychain);
}

ObjectPath SecretConnection::create(const SecretAttributes& attributes, std::string_view label,
                                    std::span<const std::uint8_t> secret) {
  for (bool isFirst = true;; isFirst = false) {
    try {
      return createIn(kDefaultCollection, attributes, label, secret);
    } catch (const SecretFailure& failure) {
      if (!isFirst) throw;
      if (failure.status == errSecNoDefaultKeychain) {
        createDefaultCollection();
      } else if (failure.status == errSecInteractionNotAllowed) {
        unlock(std::array{ObjectPath(kDefaultCollection)});
      } else {
        throw;
      }
    }
  }
}

void SecretConnection::setSecret(const ObjectPath& item, std::span<const std::uint8_t> secret) {
  for (bool isFirst = true;; isFirst = false) {
    openSession();
    Call call = newCall(SecretPlace::item, item.c_str(), kItemInterface, "SetSecret");
    call.isWrite = true;
    appendSecret(call, secret);
    try {
      return exchange(call);
    } catch (const SecretFailure& failure) {
      // Somebody may have locked it since it was found.
      if (!isFirst || failure.status != errSecInteractionNotAllowed) throw;
      unlock(std::array{item});
    }
  }
}

void SecretConnection::setLabel(const ObjectPath& item, std::string_view label) {
  Call call = newCall(SecretPlace::item, item.c_str(), kPropertiesInterface, "Set");
  call.isWrite = true;
  checked(sd_bus_message_append(call.request.get(), "ssv", kItemInterface, "Label", "s", displayText(label).c_str()));
  exchange(call);
}

void SecretConnection::remove(const ObjectPath& item) {
  Call call = newCall(SecretPlace::item, item.c_str(), kItemInterface, "Delete");
  call.isWrite = true;
  exchange(call);
  prompt(call, errSecInteractionNotAllowed);
}

}  // namespace jv
