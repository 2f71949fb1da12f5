#include "platform/modules/bus/SecretMessages.h"

#include <cerrno>
#include <new>
#include <utility>

#include "platform/modules/bus/SecretFailure.h"

namespace jv {

int checked(int result) {
  if (result >= 0) return result;
  if (result == -ENOMEM) throw std::bad_alloc();
  if (result == -EBADMSG || result == -ENXIO)
    throw SecretFailure(JVPlatform::errSecInternalComponent, FailureCause::answer);
  throw SecretFailure(JVPlatform::errSecParam, FailureCause::answer);
}

void append(sd_bus_message* message, const SecretAttributes& attributes) {
  checked(sd_bus_message_open_container(message, 'a', "{ss}"));
  for (const auto& [name, value] : attributes) {
    checked(sd_bus_message_append(message, "{ss}", name.c_str(), value.c_str()));
  }
  checked(sd_bus_message_close_container(message));
}

void append(sd_bus_message* message, std::span<const ObjectPath> paths) {
  checked(sd_bus_message_open_container(message, 'a', "o"));
  for (const ObjectPath& path : paths) checked(sd_bus_message_append(message, "o", path.c_str()));
  checked(sd_bus_message_close_container(message));
}

std::string readText(sd_bus_message* message, char type) {
  const char* text = nullptr;
  checked(sd_bus_message_read_basic(message, type, &text));
  return text;
}

std::string_view senderOf(sd_bus_message* message) {
  const char* const sender = sd_bus_message_get_sender(message);
  return sender != nullptr ? sender : "";
}

bool readFlag(sd_bus_message* message) {
  int flag = 0;
  checked(sd_bus_message_read_basic(message, 'b', &flag));
  return flag != 0;
}

std::vector<ObjectPath> readPaths(sd_bus_message* message) {
  std::vector<ObjectPath> paths;
  checked(sd_bus_message_enter_container(message, 'a', "o"));
  while (sd_bus_message_at_end(message, 0) == 0) paths.push_back(readText(message, 'o'));
  checked(sd_bus_message_exit_container(message));
  return paths;
}

SecretAttributes readAttributes(sd_bus_message* message) {
  SecretAttributes attributes;
  checked(sd_bus_message_enter_container(message, 'a', "{ss}"));
  while (checked(sd_bus_message_enter_container(message, 'e', "ss")) > 0) {
    std::string name = readText(message, 's');
    attributes.insert_or_assign(std::move(name), readText(message, 's'));
    checked(sd_bus_message_exit_container(message));
  }
  checked(sd_bus_message_exit_container(message));
  return attributes;
}

bool enterVariant(sd_bus_message* message, const char* contents) {
  char type = 0;
  const char* found = nullptr;
  checked(sd_bus_message_peek_type(message, &type, &found));
  if (type == 'v' && std::string_view(found) == contents) {
    checked(sd_bus_message_enter_container(message, 'v', contents));
    return true;
  }
  checked(sd_bus_message_skip(message, "v"));
  return false;
}

SecretProperties readProperties(sd_bus_message* message) {
  SecretProperties properties;
  readEntries(message, [&](std::string_view name) {
    if (name == "Attributes" && enterVariant(message, "a{ss}")) {
      properties.attributes = readAttributes(message);
    } else if (name == "Label" && enterVariant(message, "s")) {
      properties.label = readText(message, 's');
    } else if (name == "Created" && enterVariant(message, "t")) {
      checked(sd_bus_message_read_basic(message, 't', &properties.created));
    } else if (name == "Locked" && enterVariant(message, "b")) {
      properties.isLocked = readFlag(message);
    } else {
      const bool isSkipped = name == "Attributes" || name == "Label" || name == "Created" || name == "Locked";
      if (!isSkipped) checked(sd_bus_message_skip(message, "v"));
      return;
    }
    checked(sd_bus_message_exit_container(message));
  });
  return properties;
}

}  // namespace jv
