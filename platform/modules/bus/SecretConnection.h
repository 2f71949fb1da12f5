/// A connection to the session bus with a session of the password service, and the calls that the service knows.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/secret.h"
#include "platform/modules/bus/SdBus.h"
#include "platform/modules/bus/SecretAttributes.h"
#include "platform/modules/bus/SecretFailure.h"
#include "platform/modules/bus/SecretMessages.h"

namespace jv {

using SecretBytes = Secret<std::vector<std::uint8_t>>;

/// For one thread at a time. Every call throws a `SecretFailure` when it fails; each answer is waited for 25 seconds,
/// but for the user, who may take any time. Calls on many items are sent together and waited for once.
class SecretConnection {
 public:
  /// Connects; does not wait for the bus to answer.
  SecretConnection();
  SecretConnection(const SecretConnection&) = delete;
  SecretConnection& operator=(const SecretConnection&) = delete;

  /// Takes note of what has come meanwhile. False when the connection is of no use any more.
  bool isAlive();
  void forgetSession() { session_.clear(); }

  /// The items with these attributes, at least. The service is asked to unlock locked ones first, if need be by the
  /// user; whether it did is in their properties.
  std::vector<ObjectPath> search(const SecretAttributes& attributes);
  /// One for each path; none for an item that is gone.
  std::vector<std::optional<SecretProperties>> properties(std::span<const ObjectPath> items);
  /// The secrets of @p items; those that are gone or locked are missing.
  std::map<ObjectPath, SecretBytes> secrets(std::span<const ObjectPath> items);
  SecretBytes secret(const ObjectPath& item);

  /// Adds an item to the default collection, which is unlocked or made if need be, and gives its path.
  ObjectPath create(const SecretAttributes& attributes, std::string_view label, std::span<const std::uint8_t> secret);
  void setSecret(const ObjectPath& item, std::span<const std::uint8_t> secret);
  void setLabel(const ObjectPath& item, std::string_view label);
  void remove(const ObjectPath& item);

  /// The default collection's label, and whether it is open.
  struct Collection {
    std::string label;
    bool isUnlocked = false;
  };
  std::optional<Collection> defaultCollection();

 private:
  struct Call {
    SdMessage request;
    SdMessage reply;
    SecretPlace place = SecretPlace::service;
    bool isWrite = false;
  };

  Call newCall(SecretPlace place, const char* path, const char* interface, const char* method);
  Call newSessionCall();
  void appendSecret(Call& call, std::span<const std::uint8_t> secret);
  SecretBytes readSecret(Call& call);

  /// Sends all calls and waits for all replies, errors among them.
  void exchange(std::span<Call> calls);
  /// The same for one, whose error is thrown.
  void exchange(Call& call);
  void send(Call& call);
  void waitUntil(const std::function<bool()>& isDone, std::optional<std::uint64_t> deadline);
  /// Throws what the reply says that went wrong.
  void check(const Call& call);
  void openSession();

  void unlock(std::span<const ObjectPath> objects);
  ObjectPath createIn(const char* collection, const SecretAttributes& attributes, std::string_view label,
                      std::span<const std::uint8_t> secret);
  void createDefaultCollection();
  /// Has the service ask the user by the prompt that comes next in the reply to @p asked. Gives the signal that tells
  /// the result; none if there is no prompt.
  SdMessage prompt(const Call& asked, JVPlatform::OSStatus withoutDisplay);
  Call matchCall(const char* method, const std::string& rule);
  static int onReply(sd_bus_message* reply, void* call, sd_bus_error*);
  static int onMessage(sd_bus_message* message, void* self, sd_bus_error*);

  SdBus bus_;
  pid_t process_;
  std::string session_;
  std::string awaitedPrompt_;  // the object whose end is waited for
  std::string promptOwner_;    // whose object it is: everybody may send signals
  SdMessage promptEnd_;        // its signal
  bool serviceWent_ = false;   // while a prompt was waited for
};

}  // namespace jv
