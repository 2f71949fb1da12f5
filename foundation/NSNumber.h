/// An immutable number that remembers which kind of number it was made from.
#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <string>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVFoundation {

/// A boolean, a signed 32-bit, signed 64-bit or unsigned 64-bit integer, or a double. Copied like a plain integer; any
/// thread.
///
/// The type of the constructor's argument is the number's kind. What fits none of the five without a choice
/// (`unsigned`, `long long`, a pointer) does not compile: the caller says which kind is meant.
class JV_EXPORT NSNumber {
 public:
  enum class Kind : std::uint8_t { boolean, signed32, signed64, unsigned64, floating };

  template <std::same_as<bool> Boolean>
  constexpr NSNumber(Boolean value) noexcept : NSNumber(Kind::boolean, value ? 1U : 0U) {}
  constexpr NSNumber(std::int32_t value) noexcept : NSNumber(Kind::signed32, static_cast<std::uint64_t>(value)) {}
  constexpr NSNumber(std::int64_t value) noexcept : NSNumber(Kind::signed64, static_cast<std::uint64_t>(value)) {}
  constexpr NSNumber(std::uint64_t value) noexcept : NSNumber(Kind::unsigned64, value) {}
  constexpr NSNumber(double value) noexcept : NSNumber(Kind::floating, std::bit_cast<std::uint64_t>(value)) {}

  /// A number that no earlier call in this process gave: 1, 2, 3 and so on, of kind `unsigned64`. Any thread.
  [[nodiscard]] static NSNumber uniqueNumber() noexcept;

  [[nodiscard]] constexpr Kind kind() const noexcept { return kind_; }

  /// The number as another type. Integers wrap around modulo the width of the result, as C++ casts do; doubles lose
  /// their fraction and stop at the ends of the range, and what is not a number is 0.
  [[nodiscard]] std::int32_t intValue() const noexcept;
  [[nodiscard]] std::int64_t longLongValue() const noexcept;
  [[nodiscard]] std::uint64_t unsignedLongLongValue() const noexcept;
  /// The nearest double.
  [[nodiscard]] double doubleValue() const noexcept;
  /// Is it anything but zero?
  [[nodiscard]] bool boolValue() const noexcept;

  /// Decimal digits in any locale: a boolean as "0" or "1", a double as the shortest text that reads back the same
  /// ("0.1", "1e+300", "inf", "nan").
  [[nodiscard]] std::string stringValue() const;

  /// Equal in kind and in value; compare `doubleValue()` or `longLongValue()` across kinds. What is not a number
  /// equals itself, so that every number equals its copy.
  friend JV_EXPORT bool operator==(const NSNumber& a, const NSNumber& b) noexcept;

 private:
  constexpr NSNumber(Kind kind, std::uint64_t bits) noexcept : bits_(bits), kind_(kind) {}

  // Integers are sign-extended to 64 bits, doubles are kept bit by bit. The layout is fixed for good.
  std::uint64_t bits_;
  Kind kind_;
};

}  // namespace JVFoundation
