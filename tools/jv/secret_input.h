/// Passwords that people type and programs pass.
#pragma once

#include <string>
#include <string_view>

namespace jv {

/// A text that is overwritten before its memory is given back.
struct SecretText {
  SecretText() = default;
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
