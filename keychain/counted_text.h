/// Texts as the keychain's lookups take them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include <JorvaneFoundation/foundation/Value.h>

#include "foundation/utf8.h"

namespace jv {

/// The bytes of a UTF-8 text with its length in UTF-16 units, on purpose: outside ASCII the two differ, and the
/// keychain sees the text cut short. Bytes that are no UTF-8 have no such units: all of them count, so that no other
/// item answers. A missing text has no bytes at all, an empty one has none to be seen.
struct CountedText {
  std::uint32_t length = 0;
  const char* bytes = nullptr;

  CountedText() = default;
  explicit CountedText(std::optional<std::string_view> text)
      : length(static_cast<std::uint32_t>(!text           ? 0
                                          : isUtf8(*text) ? utf16Length(*text)
                                                          : text->size())),
        bytes(!text           ? nullptr
              : text->empty() ? ""
                              : text->data()) {}
};

/// The text under @p key of an item's attributes.
inline std::optional<std::string_view> textIn(const JVFoundation::Value& attributes, std::string_view key) {
  const std::string* const text = attributes.text(key);
  return text ? std::optional<std::string_view>(*text) : std::nullopt;
}

}  // namespace jv
