/// The password service's names on the bus, and what its messages are made of.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/modules/bus/SdBus.h"
#include "platform/modules/bus/SecretAttributes.h"

namespace jv {

using ObjectPath = std::string;

inline constexpr const char* kBus = "org.freedesktop.DBus";
inline constexpr const char* kService = "org.freedesktop.secrets";
inline constexpr const char* kServicePath = "/org/freedesktop/secrets";
inline constexpr const char* kDefaultCollection = "/org/freedesktop/secrets/aliases/default";
inline constexpr const char* kServiceInterface = "org.freedesktop.Secret.Service";
inline constexpr const char* kCollectionInterface = "org.freedesktop.Secret.Collection";
inline constexpr const char* kItemInterface = "org.freedesktop.Secret.Item";
inline constexpr const char* kPromptInterface = "org.freedesktop.Secret.Prompt";
inline constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
inline constexpr const char* kNone = "/";  // the path of no object

/// A result of sd-bus; below zero it says that a message cannot be made or read. @throws SecretFailure, std::bad_alloc
int checked(int result);

void append(sd_bus_message* message, const SecretAttributes& attributes);
void append(sd_bus_message* message, std::span<const ObjectPath> paths);

/// The sender's unique name, as the bus says it.
std::string_view senderOf(sd_bus_message* message);

/// A text, a path or the like.
std::string readText(sd_bus_message* message, char type);
bool readFlag(sd_bus_message* message);
std::vector<ObjectPath> readPaths(sd_bus_message* message);
SecretAttributes readAttributes(sd_bus_message* message);
/// All properties of an item.
SecretProperties readProperties(sd_bus_message* message);

/// Enters the variant at hand if it is of type @p contents, and skips it otherwise.
bool enterVariant(sd_bus_message* message, const char* contents);

/// Calls @p read(name) for each entry of a dictionary from names to variants; it has to take the variant.
template <class Read>
void readEntries(sd_bus_message* message, Read read) {
  checked(sd_bus_message_enter_container(message, 'a', "{sv}"));
  while (checked(sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
    read(std::string_view(readText(message, 's')));
    checked(sd_bus_message_exit_container(message));
  }
  checked(sd_bus_message_exit_container(message));
}

}  // namespace jv
