/// What went wrong, for programs and for people.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/Value.h>

namespace JVFoundation {

/// Domains: where a code comes from.
inline constexpr std::string_view NSOSStatusErrorDomain = "NSOSStatusErrorDomain";
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";

/// Keys of the user information; both name texts.
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescriptionKey";
inline constexpr std::string_view NSLocalizedRecoverySuggestionErrorKey = "NSLocalizedRecoverySuggestionErrorKey";

/// A domain, a code in it, and texts for the user. Immutable and cheap to copy; any thread.
class JV_EXPORT NSError {
 public:
  NSError(std::string_view domain, std::int64_t code, Dictionary userInfo = {});

  [[nodiscard]] const std::string& domain() const noexcept;
  [[nodiscard]] std::int64_t code() const noexcept;
  /// A dictionary, empty when none was given.
  [[nodiscard]] const Value& userInfo() const noexcept;

  /// The text under `NSLocalizedDescriptionKey`, or a general one that names domain and code.
  [[nodiscard]] std::string localizedDescription() const;
  /// The text under `NSLocalizedRecoverySuggestionErrorKey`, if there is one.
  [[nodiscard]] std::optional<std::string> localizedRecoverySuggestion() const;

  /// Equal in domain, code and user information.
  friend JV_EXPORT bool operator==(const NSError& a, const NSError& b) noexcept;

 private:
  struct State;
  std::shared_ptr<const State> state_;
};

}  // namespace JVFoundation
