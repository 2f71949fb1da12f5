/// Passwords that people type and programs pass, and memory that does not keep them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace jv {

/// Overwrites @p size bytes for good.
void wipe(void* bytes, std::size_t size) noexcept;

/// A text that is overwritten before its memory is given back.
struct SecretText {
  SecretText() = default;
  /// Takes @p secret, and wipes what it leaves there.
  explicit SecretText(std::string&& secret) noexcept;
  SecretText(SecretText&& other) noexcept;
  SecretText& operator=(SecretText&&) = delete;
  ~SecretText();

  std::string text;
};

/// Asks on the terminal, without echo. @throws std::runtime_error without a terminal, and when the user gives up.
SecretText askForSecret(std::string_view prompt);

/// All that can be read from @p descriptor, but for one line feed at the end. @throws std::runtime_error
SecretText readSecret(int descriptor);

/// What was typed when standard input is a terminal, what can be read from it otherwise.
SecretText secretFromStandardInput(std::string_view prompt);

}  // namespace jv
