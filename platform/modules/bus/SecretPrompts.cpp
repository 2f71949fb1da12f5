// The part of the connection that has the service ask the user.
#include <array>
#include <cstdlib>
#include <utility>

#include "platform/modules/bus/SecretConnection.h"
#include "platform/modules/bus/SecretMessages.h"

namespace jv {
namespace {

using namespace JVPlatform;

bool hasDisplay() {
  const auto isSet = [](const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr && *value != '\0';
  };
  return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY");
}

std::string promptRule(const ObjectPath& path) {
  return std::string("type='signal',sender='")
      .append(kService)
      .append("',interface='")
      .append(kPromptInterface)
      .append("',member='Completed',path='")
      .append(path)
      .append("'");
}

std::string ownerRule() {
  return std::string(
             "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
             "member='NameOwnerChanged',arg0='")
      .append(kService)
      .append("'");
}

}  // namespace

int SecretConnection::onMessage(sd_bus_message* message, void* self, sd_bus_error*) {
  auto& connection = *static_cast<SecretConnection*>(self);
  if (connection.awaitedPrompt_.empty()) return 0;
  const std::string_view sender = senderOf(message);
  if (sender == connection.promptOwner_ && sd_bus_message_is_signal(message, kPromptInterface, "Completed") > 0 &&
      sd_bus_message_get_path(message) == connection.awaitedPrompt_) {
    connection.promptEnd_.reset(sd_bus_message_ref(message));
  } else if (sender == kBus && sd_bus_message_is_signal(message, kBus, "NameOwnerChanged") > 0) {
    const char* name = nullptr;
    if (sd_bus_message_read(message, "s", &name) >= 0 && std::string_view(name) == kService) {
      connection.serviceWent_ = true;
    }
  }
  return 0;
}

void SecretConnection::unlock(std::span<const ObjectPath> objects) {
  Call call = newCall(SecretPlace::service, kServicePath, kServiceInterface, "Unlock");
  append(call.request.get(), objects);
  exchange(call);
  readPaths(call.reply.get());
  prompt(call, errSecInteractionNotAllowed);
}

SecretConnection::Call SecretConnection::matchCall(const char* method, const std::string& rule) {
  Call call;
  checked(sd_bus_message_new_method_call(bus_.get(), OutPointer(call.request), kBus, "/org/freedesktop/DBus", kBus,
                                         method));
  checked(sd_bus_message_append(call.request.get(), "s", rule.c_str()));
  return call;
}

SdMessage SecretConnection::prompt(const Call& asked, OSStatus withoutDisplay) {
  const ObjectPath path = readText(asked.reply.get(), 'o');
  if (path == kNone) return nullptr;
  // A service without a dialog to show reports a prompt as dismissed, just as if the user had refused.
  if (!hasDisplay()) {
    Call dismiss = newCall(SecretPlace::service, path.c_str(), kPromptInterface, "Dismiss");
    exchange({&dismiss, 1});
    throw SecretFailure(withoutDisplay, FailureCause::answer);
  }
  awaitedPrompt_ = path;
  promptOwner_ = senderOf(asked.reply.get());
  promptEnd_.reset();
  serviceWent_ = false;
  std::array<Call, 3> calls = {matchCall("AddMatch", promptRule(path)), matchCall("AddMatch", ownerRule()),
                               newCall(SecretPlace::service, path.c_str(), kPromptInterface, "Prompt")};
  checked(sd_bus_message_append(calls[2].request.get(), "s", ""));
  exchange(calls);
  for (const Call& call : calls) check(call);
  waitUntil([&] { return promptEnd_ != nullptr || serviceWent_; }, std::nullopt);

  std::array<Call, 2> ends = {matchCall("RemoveMatch", promptRule(path)), matchCall("RemoveMatch", ownerRule())};
  exchange(ends);
  awaitedPrompt_.clear();
  if (promptEnd_ == nullptr) throw SecretFailure(errSecServiceNotAvailable, FailureCause::lost);
  int isDismissed = 0;
  checked(sd_bus_message_rewind(promptEnd_.get(), 1));
  checked(sd_bus_message_read_basic(promptEnd_.get(), 'b', &isDismissed));
  if (isDismissed != 0) throw SecretFailure(errSecUserCanceled, FailureCause::answer);
  return std::move(promptEnd_);
}

}  // namespace jv
