#include "platform/modules/bus/SecretAttributes.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <utility>

#include "foundation/hexadecimal.h"
#include "foundation/utf8.h"
#include "platform/keychain_codes.h"

namespace jv {
namespace {

constexpr std::string_view kSchema = "xdg:schema";
constexpr std::string_view kCreated = "jv:created";
constexpr std::string_view kEncoding = ".encoding";  // behind the name of an attribute that holds hexadecimal digits
constexpr std::string_view kHexadecimal = "hex";

/// Where the service's items keep what a key has. File managers and password managers use these names.
struct Names {
  std::string_view schema, name, account;
};
constexpr Names kInternet{"org.gnome.keyring.NetworkPassword", "server", "user"};
constexpr Names kGeneric{"org.freedesktop.Secret.Generic", "service", "username"};
constexpr std::string_view kDomain = "domain", kPath = "object", kPort = "port", kProtocol = "protocol",
                           kAuthentication = "authtype";

const Names& namesOf(ItemClass kind) { return kind == ItemClass::internet ? kInternet : kGeneric; }

bool isNoncharacter(char32_t value) { return (value >= 0xFDD0 && value <= 0xFDEF) || (value & 0xFFFE) == 0xFFFE; }

/// The length of the character at the front that every bus accepts; 0 without one.
std::size_t busCharacter(std::string_view text) {
  const Utf8Character character = firstUtf8Character(text);
  return character.value == 0 || isNoncharacter(character.value) ? 0 : character.length;
}

std::string encodingOf(std::string_view name) { return std::string(name).append(kEncoding); }

/// Puts @p bytes under @p name without loss.
void put(SecretAttributes& attributes, std::string_view name, std::string_view bytes) {
  if (isBusText(bytes)) {
    attributes.insert_or_assign(std::string(name), std::string(bytes));
    return;
  }
  std::string digits;
  digits.reserve(2 * bytes.size());
  for (const char byte : bytes) appendHexadecimal(digits, static_cast<std::uint8_t>(byte));
  attributes.insert_or_assign(std::string(name), std::move(digits));
  attributes.insert_or_assign(encodingOf(name), std::string(kHexadecimal));
}

void putUnlessEmpty(SecretAttributes& attributes, std::string_view name, std::string_view bytes) {
  if (!bytes.empty()) put(attributes, name, bytes);
}

/// A code that has no name could never be found again.
void putNameOf(SecretAttributes& attributes, std::string_view name, std::span<const NameCode> rows,
               std::uint32_t code) {
  if (code == 0) return;
  const std::string_view text = nameOf(rows, code);
  if (text.empty()) throw KeychainFailure{JVPlatform::errSecParam};
  put(attributes, name, text);
}

std::string decoded(std::string_view digits) {
  std::string bytes;
  for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
    const auto byte = byteFromHexadecimal(digits[at], digits[at + 1]);
    if (!byte) break;
    bytes += static_cast<char>(*byte);
  }
  return bytes;
}

/// What `put` was given.
std::optional<std::string> get(const SecretAttributes& attributes, std::string_view name) {
  const auto found = attributes.find(name);
  if (found == attributes.end()) return std::nullopt;
  const auto encoding = attributes.find(encodingOf(name));
  const bool isEncoded = encoding != attributes.end() && encoding->second == kHexadecimal;
  return isEncoded ? decoded(found->second) : found->second;
}

std::string getOrEmpty(const SecretAttributes& attributes, std::string_view name) {
  return get(attributes, name).value_or("");
}

/// A decimal number; 0 for anything else.
template <class Number>
Number numberOf(std::string_view text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? number : 0;
}

std::uint32_t codeIn(const SecretAttributes& attributes, std::string_view name, std::span<const NameCode> rows) {
  const auto text = get(attributes, name);
  return text ? codeOf(rows, *text) : 0;
}

bool isDigit(char character) { return character >= '0' && character <= '9'; }

/// Takes the run of digits, or the one other character, off the front.
std::string_view takePiece(std::string_view& text) {
  std::size_t length = 0;
  while (length < text.size() && isDigit(text[length])) ++length;
  const std::string_view piece = text.substr(0, length == 0 ? 1 : length);
  text.remove_prefix(piece.size());
  return piece;
}

std::string_view withoutZeros(std::string_view digits) {
  const std::size_t first = digits.find_first_not_of('0');
  return first == std::string_view::npos ? std::string_view() : digits.substr(first);
}

}  // namespace

bool isBusText(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t length = busCharacter(bytes);
    if (length == 0) return false;
    bytes.remove_prefix(length);
  }
  return true;
}

std::string displayText(std::string_view bytes) {
  std::string text;
  while (!bytes.empty()) {
    const std::size_t length = busCharacter(bytes);
    text += length == 0 ? "\xEF\xBF\xBD" : bytes.substr(0, length);
    bytes.remove_prefix(length == 0 ? 1 : length);
  }
  return text;
}

SecretAttributes searchFor(const ItemQuery& query) {
  const Names& names = namesOf(query.kind);
  SecretAttributes attributes;
  // Most programs that keep generic passwords set no schema, or one of their own.
  if (query.kind == ItemClass::internet) put(attributes, kSchema, names.schema);
  put(attributes, names.name, query.name);
  if (query.account) put(attributes, names.account, *query.account);
  if (query.protocol) put(attributes, kProtocol, *query.protocol);
  return attributes;
}

SecretAttributes searchFor(const ItemKey& key) {
  const Names& names = namesOf(key.kind);
  SecretAttributes attributes;
  if (key.kind == ItemClass::internet) put(attributes, kSchema, names.schema);
  put(attributes, names.name, key.name);
  // An item that lacks an account is not found by an empty one.
  putUnlessEmpty(attributes, names.account, key.account);
  return attributes;
}

bool matches(const SecretAttributes& attributes, const ItemQuery& query) {
  const Names& names = namesOf(query.kind);
  return get(attributes, names.name) == query.name &&
         (!query.account || get(attributes, names.account) == *query.account) &&
         (!query.protocol || get(attributes, kProtocol) == *query.protocol);
}

bool matches(const SecretAttributes& attributes, const ItemKey& key) {
  const Names& names = namesOf(key.kind);
  if (getOrEmpty(attributes, names.name) != key.name || getOrEmpty(attributes, names.account) != key.account) {
    return false;
  }
  if (key.kind == ItemClass::generic) return true;
  return getOrEmpty(attributes, kDomain) == key.securityDomain && getOrEmpty(attributes, kPath) == key.path &&
         static_cast<std::uint16_t>(numberOf<std::int32_t>(getOrEmpty(attributes, kPort))) == key.port &&
         codeIn(attributes, kProtocol, kProtocols) == key.protocol &&
         codeIn(attributes, kAuthentication, kAuthenticationTypes) == key.authentication;
}

SecretAttributes attributesOf(const ItemKey& key, std::uint64_t now) {
  const Names& names = namesOf(key.kind);
  SecretAttributes attributes;
  put(attributes, kSchema, names.schema);
  put(attributes, names.name, key.name);
  put(attributes, names.account, key.account);
  putUnlessEmpty(attributes, kDomain, key.securityDomain);
  putUnlessEmpty(attributes, kPath, key.path);
  if (key.port != 0) put(attributes, kPort, std::to_string(key.port));
  putNameOf(attributes, kProtocol, kProtocols, key.protocol);
  putNameOf(attributes, kAuthentication, kAuthenticationTypes, key.authentication);
  const std::string time = std::to_string(now);
  put(attributes, kCreated, std::string(20 - time.size(), '0') + time);
  return attributes;
}

JVFoundation::Dictionary tagsOf(ItemClass kind, const SecretProperties& item) {
  JVFoundation::Dictionary tags;
  const auto tag = [&](const char* key, std::string_view name) {
    std::optional<std::string> value = get(item.attributes, name);
    if (value) tags.set(key, std::move(*value));
  };
  const Names& names = namesOf(kind);
  if (kind == ItemClass::internet) {
    tag("srvr", names.name);
    tag("sdmn", kDomain);
    tag("acct", names.account);
    tag("path", kPath);
    if (const auto port = numberOf<std::int32_t>(getOrEmpty(item.attributes, kPort))) tags.set("port", port);
    tag("ptcl", kProtocol);
    tag("atyp", kAuthentication);
  } else {
    tag("svce", names.name);
    // Passwords are kept by account: an item that another program stored without one has the empty account.
    item.attributes.contains(names.account) ? tag("acct", names.account) : (void)tags.set("acct", "");
  }
  tags.set("labl", item.label);
  return tags;
}

std::uint64_t timeOf(const SecretProperties& item) {
  constexpr std::uint64_t kSecond = 1'000'000'000;
  const auto exact = item.attributes.find(kCreated);
  const auto time = exact == item.attributes.end() ? 0 : numberOf<std::uint64_t>(exact->second);
  return time != 0 ? time : item.created * kSecond;
}

bool isEarlierPath(std::string_view a, std::string_view b) {
  while (!a.empty() && !b.empty()) {
    const std::string_view x = takePiece(a);
    const std::string_view y = takePiece(b);
    if (isDigit(x[0]) && isDigit(y[0])) {
      const std::string_view m = withoutZeros(x);
      const std::string_view n = withoutZeros(y);
      if (m.size() != n.size()) return m.size() < n.size();
      if (m != n) return m < n;
    } else if (x != y) {
      return x < y;
    }
  }
  return a.empty() && !b.empty();
}

}  // namespace jv
