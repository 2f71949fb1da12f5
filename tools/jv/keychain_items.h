/// The items of the keychain as `jv keychain` lists and deletes them, by all bytes of their names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <JorvaneFoundation/foundation/Value.h>
#include <JorvaneFoundation/platform/Keychain.h>

#include "secret_input.h"

namespace jv {

/// Which items are meant. Either a host or a service.
struct ItemChoice {
  std::optional<std::string> host, user, protocol, service, account;
};

/// The attributes of the items, oldest first. Status 0 when there are none.
JVPlatform::OSStatus findItems(const ItemChoice& choice, std::vector<JVFoundation::Value>& items);

/// The password of the item with these attributes.
JVPlatform::OSStatus readPassword(const JVFoundation::Value& item, SecretText& password);

JVPlatform::OSStatus deleteItem(const JVFoundation::Value& item);

}  // namespace jv
