/// Where the answers to questions about system, machine and user came from, for support.
#pragma once

#include <cstdint>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVPlatform {

enum class Fact : std::uint8_t {
  systemVersion,
  systemText,
  architecture,
  userName,
  userEmail,
  computerName,
  computerModel,
  network,
  idleTime,
};

/// What gave the last answer of this process to the question @p fact, in words: "accounts service",
/// "/etc/machine-info". Empty when nobody asked yet or nothing could answer, counted from when the implementation in
/// use was installed; always when that is the application's own. Lives as long as the process. Any thread.
JV_EXPORT std::string_view originOf(Fact fact) noexcept;

}  // namespace JVPlatform
