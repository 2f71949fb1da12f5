// Stores names of any bytes as attributes of the password service and finds them again, and reads attributes that some
// other program may have stored.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/keychain_codes.h"
#include "platform/modules/bus/SecretAttributes.h"
#include "support/input.h"

namespace {

using jv::fuzz::require;

/// A text of up to 255 bytes.
std::string drawText(jv::fuzz::Input& input) {
  std::string text(input.number(), '\0');
  for (char& byte : text) byte = static_cast<char>(input.number());
  return text;
}

void storeAndFind(jv::fuzz::Input& input) {
  const std::string name = drawText(input), account = drawText(input), domain = drawText(input), path = drawText(input);
  jv::ItemKey key{
      .kind = input.flag() ? jv::ItemClass::internet : jv::ItemClass::generic, .name = name, .account = account};
  if (key.kind == jv::ItemClass::internet) {
    key.securityDomain = domain;
    key.path = path;
    key.port = static_cast<std::uint16_t>(input.number(2));
    const std::size_t protocol = input.number() % (jv::kProtocols.size() + 1);
    if (protocol < jv::kProtocols.size()) key.protocol = jv::kProtocols[protocol].code;
    const std::size_t authentication = input.number() % (jv::kAuthenticationTypes.size() + 1);
    if (authentication < jv::kAuthenticationTypes.size()) {
      key.authentication = jv::kAuthenticationTypes[authentication].code;
    }
  }
  const std::uint64_t now = input.number(8) | 1;
  const jv::SecretAttributes stored = jv::attributesOf(key, now);
  for (const auto& [attribute, value] : stored) require(jv::isBusText(value), "a bus takes it", attribute.c_str());
  require(jv::matches(stored, key), "the item is itself");
  const jv::ItemQuery query{.kind = key.kind, .name = name, .account = account, .protocol = {}};
  require(jv::matches(stored, query), "the item answers a query");
  for (const jv::SecretAttributes& search : {jv::searchFor(key), jv::searchFor(query)}) {
    for (const auto& [attribute, value] : search) {
      const auto found = stored.find(attribute);
      require(found != stored.end() && found->second == value, "a search finds it", attribute.c_str());
    }
  }
  const JVFoundation::Value tags(jv::tagsOf(key.kind, {stored, "label", 0}));
  const std::string* const tag = tags.text(key.kind == jv::ItemClass::internet ? "srvr" : "svce");
  require(tag != nullptr && *tag == name, "a name comes back");
  require(jv::timeOf({stored, "", 0}) == now, "the time comes back");

  jv::ItemKey other = key;
  const std::string otherName = drawText(input);
  other.name = otherName;
  require(jv::matches(stored, other) == (otherName == name), "no other name is taken for it");
}

void readForeign(jv::fuzz::Input& input) {
  constexpr std::array<std::string_view, 12> kNames = {
      "server", "user",     "username", "service",       "domain",           "object",
      "port",   "protocol", "authtype", "user.encoding", "service.encoding", "jv:created"};
  jv::SecretProperties item;
  for (std::uint64_t left = input.number() % 16; left > 0; --left) {
    const std::size_t name = input.number() % (kNames.size() + 1);
    std::string value = input.flag() ? "hex" : drawText(input);
    item.attributes.insert_or_assign(name < kNames.size() ? std::string(kNames[name]) : drawText(input),
                                     std::move(value));
  }
  item.created = input.number(8);
  for (const jv::ItemClass kind : {jv::ItemClass::internet, jv::ItemClass::generic}) jv::tagsOf(kind, item);
  jv::timeOf(item);
  const std::string a = drawText(input), b = drawText(input);
  require(!(jv::isEarlierPath(a, b) && jv::isEarlierPath(b, a)), "one path comes first at most");
  require(!jv::isEarlierPath(a, a), "no path comes before itself");
  require(jv::isBusText(jv::displayText(a)), "a label can be shown");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  jv::fuzz::Input input(data, size);
  input.flag() ? storeAndFind(input) : readForeign(input);
  return 0;
}
