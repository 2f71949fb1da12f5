/// What the password functions say when something fails.
#pragma once

#include <string_view>

namespace jv {

inline constexpr std::string_view kErrorReading = "Error reading credentials from the keychain";
inline constexpr std::string_view kErrorWriting = "Error writing credentials into the keychain";
inline constexpr std::string_view kErrorWritting = "Error writting credentials into the keychain";  // spelled so

}  // namespace jv
