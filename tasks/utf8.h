/// Strict UTF-8.
#pragma once

#include <cstddef>
#include <string_view>

namespace jv {

/// The length of the longest beginning of @p text that consists of whole, valid characters: nothing overlong, no
/// surrogates, nothing above U+10FFFF. What follows is a byte that cannot stand there, a character that is cut off, or
/// nothing.
std::size_t validUtf8Prefix(std::string_view text) noexcept;

}  // namespace jv
