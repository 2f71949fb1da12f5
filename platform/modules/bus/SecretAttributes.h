/// How the password service's items keep the attributes of the keychain's items: names and values are texts there.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <JorvaneFoundation/foundation/Value.h>

#include "platform/KeychainByKey.h"

namespace jv {

/// An item's attributes as the service keeps them.
using SecretAttributes = std::map<std::string, std::string, std::less<>>;

/// An item as the service gives it.
struct SecretProperties {
  SecretAttributes attributes;
  std::string label;
  std::uint64_t created = 0;  ///< in seconds since 1970, by the service
  bool isLocked = false;      ///< services then show hashes in place of the attributes
};

/// What to search for, so that all that match are found; it may find more than `matches` lets pass.
SecretAttributes searchFor(const ItemQuery& query);
SecretAttributes searchFor(const ItemKey& key);

bool matches(const SecretAttributes& attributes, const ItemQuery& query);
bool matches(const SecretAttributes& attributes, const ItemKey& key);

/// The attributes of a new item. @p now: nanoseconds since 1970.
SecretAttributes attributesOf(const ItemKey& key, std::uint64_t now);

/// The item's attributes under the keychain's four-letter keys.
JVFoundation::Dictionary tagsOf(ItemClass kind, const SecretProperties& item);

/// When the item was made, in nanoseconds since 1970 as exactly as it is known.
std::uint64_t timeOf(const SecretProperties& item);

/// Whether @p a comes before @p b when runs of digits count as numbers: ".../9" before ".../10".
bool isEarlierPath(std::string_view a, std::string_view b);

/// @p bytes as a text that every bus accepts: what is no such text becomes U+FFFD.
std::string displayText(std::string_view bytes);

/// Whether @p bytes are a text that every bus accepts: UTF-8 without zero bytes and noncharacters.
bool isBusText(std::string_view bytes);

}  // namespace jv
