/// Universally unique identifiers of 16 bytes.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVFoundation {

/// Sixteen bytes, compared byte by byte. Copied like plain bytes; any thread.
class JV_EXPORT NSUUID {
 public:
  using Bytes = std::array<std::uint8_t, 16>;

  constexpr explicit NSUUID(const Bytes& bytes) noexcept : bytes_(bytes) {}

  /// A new random identifier (version 4) from the kernel's generator.
  /// @throws std::system_error  when the kernel gives no random bytes
  [[nodiscard]] static NSUUID UUID();

  /// All bytes zero.
  [[nodiscard]] static NSUUID zeroUUID() noexcept;

  /// The identifier of a fixed, index-based item: @p index in the first eight bytes, least significant byte first, and
  /// zeros behind it. The same in every process and on every machine; index 0 gives `zeroUUID()`.
  [[nodiscard]] static NSUUID UUIDWithIndex(std::uint64_t index) noexcept;

  /// Reads the form that `UUIDString` writes, letters in either case; none for any other text.
  [[nodiscard]] static std::optional<NSUUID> UUIDWithString(std::string_view text) noexcept;

  /// The bytes in their order as upper-case hexadecimal digits, 8-4-4-4-12:
  /// "01000000-0000-0000-0000-000000000000" for index 1.
  [[nodiscard]] std::string UUIDString() const;

  [[nodiscard]] constexpr const Bytes& bytes() const noexcept { return bytes_; }

  friend constexpr auto operator<=>(const NSUUID&, const NSUUID&) noexcept = default;

 private:
  Bytes bytes_;  // the layout is fixed for good
};

}  // namespace JVFoundation

template <>
struct std::hash<JVFoundation::NSUUID> {
  std::size_t operator()(const JVFoundation::NSUUID& id) const noexcept {
    const auto& bytes = id.bytes();
    return std::hash<std::string_view>{}({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
};
