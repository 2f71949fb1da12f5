/// Forms in which a name of any bytes goes into text.
#pragma once

#include <string>
#include <string_view>

namespace jv {

[[nodiscard]] bool isUTF8(std::string_view text);

/// Two lower-case digits a byte.
[[nodiscard]] std::string hexadecimalOf(std::string_view bytes);

/// @p name as it is, or, when it could upset a terminal or a line of text (control characters, bytes that are no UTF-8,
/// a blank in front), in the form $'…' that the shell reads back.
[[nodiscard]] std::string printableName(std::string_view name);

}  // namespace jv
