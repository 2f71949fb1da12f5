/// What the module `bus` makes: implementations that talk to the desktop's services over D-Bus.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <JorvaneFoundation/platform/Keychain.h>
#include <JorvaneFoundation/platform/RunLoopSource.h>

namespace jv {

/// What the accounts service knows of a user; empty texts for what it does not.
struct Account {
  std::string realName;
  std::string email;
};

/// Each factory gives an implementation, or null when it cannot be made. None lets an exception out. Those that ask
/// wait for their answer as many microseconds as @p longestWait says, and no longer.
struct BusModule {
  /// The keychain of the password service on the session bus.
  std::shared_ptr<JVPlatform::Keychain> (*makeKeychain)();

  /// @return whether there is an account of @p user; otherwise @p account is left alone.
  bool (*readAccount)(std::uint32_t user, std::uint64_t longestWait, Account& account) noexcept;

  /// Nanoseconds since the last input that the compositor of the session bus has seen.
  std::optional<std::int64_t> (*compositorIdle)(std::uint64_t longestWait) noexcept;

  /// Nanoseconds since the own session was marked as idle; none while it is not.
  std::optional<std::int64_t> (*sessionIdle)(std::uint64_t longestWait) noexcept;

  /// Calls @p changed, on the main thread, with whether the own session is the active one now, each time that this has
  /// changed.
  std::shared_ptr<JVPlatform::RunLoopSource> (*watchSession)(std::function<void(bool active)> changed) noexcept;
};

}  // namespace jv
