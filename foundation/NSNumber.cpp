#include <JorvaneFoundation/foundation/NSNumber.h>

#include <array>
#include <atomic>
#include <charconv>
#include <cmath>
#include <limits>

namespace JVFoundation {
namespace {

constinit std::atomic<std::uint64_t> nextUniqueNumber{1};

// A cast of a double that is out of the integer's range is undefined, so the ends are dealt with first.
template <class Integer>
Integer saturated(double value) noexcept {
  using Limits = std::numeric_limits<Integer>;
  if (std::isnan(value)) return 0;
  if (value <= static_cast<double>(Limits::min())) return Limits::min();
  if (value >= std::ldexp(1.0, Limits::digits)) return Limits::max();
  return static_cast<Integer>(value);
}

template <class Integer>
Integer integerOf(NSNumber::Kind kind, std::uint64_t bits) noexcept {
  return kind == NSNumber::Kind::floating ? saturated<Integer>(std::bit_cast<double>(bits))
                                          : static_cast<Integer>(bits);
}

template <class Number>
std::string decimal(Number number) {
  std::array<char, 32> digits;  // the longest is a double: sign, 17 digits, point, exponent
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  return {digits.data(), result.ptr};
}

}  // namespace

NSNumber NSNumber::uniqueNumber() noexcept { return nextUniqueNumber.fetch_add(1, std::memory_order_relaxed); }

std::int32_t NSNumber::intValue() const noexcept { return integerOf<std::int32_t>(kind_, bits_); }
std::int64_t NSNumber::longLongValue() const noexcept { return integerOf<std::int64_t>(kind_, bits_); }
std::uint64_t NSNumber::unsignedLongLongValue() const noexcept { return integerOf<std::uint64_t>(kind_, bits_); }

double NSNumber::doubleValue() const noexcept {
  switch (kind_) {
    case Kind::floating:
      return std::bit_cast<double>(bits_);
    case Kind::unsigned64:
      return static_cast<double>(bits_);
    default:
      return static_cast<double>(static_cast<std::int64_t>(bits_));
  }
}

bool NSNumber::boolValue() const noexcept {
  return kind_ == Kind::floating ? doubleValue() != 0 : bits_ != 0;  // a negative zero has a bit set
}

std::string NSNumber::stringValue() const {
  switch (kind_) {
    case Kind::floating:
      return decimal(doubleValue());
    case Kind::unsigned64:
      return decimal(bits_);
    default:
      return decimal(static_cast<std::int64_t>(bits_));
  }
}

bool operator==(const NSNumber& a, const NSNumber& b) noexcept {
  if (a.kind_ != b.kind_) return false;
  return a.bits_ == b.bits_ || (a.kind_ == NSNumber::Kind::floating && a.doubleValue() == b.doubleValue());
}

}  // namespace JVFoundation
