/// What `system/` asks about the process and the system that it runs on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSOperatingSystemVersion.h>

namespace JVPlatform {

/// Values of `executableArchitecture` that have names.
inline constexpr std::int64_t NSBundleExecutableArchitectureI386 = 7;
inline constexpr std::int64_t NSBundleExecutableArchitecturePPC = 0x12;
inline constexpr std::int64_t NSBundleExecutableArchitectureX86_64 = 0x1000007;
inline constexpr std::int64_t NSBundleExecutableArchitecturePPC64 = 0x1000012;
/// And of two that have none.
inline constexpr std::int64_t NSBundleExecutableArchitectureARM = 12;
inline constexpr std::int64_t NSBundleExecutableArchitectureARM64 = 0x100000C;

/// Any thread. No question blocks or fails.
class JV_EXPORT ProcessInformation {
 public:
  ProcessInformation() = default;
  ProcessInformation(const ProcessInformation&) = delete;
  ProcessInformation& operator=(const ProcessInformation&) = delete;
  virtual ~ProcessInformation();

  /// The release of the running system in three parts. On Linux that of the kernel: the one number there that always
  /// has three.
  virtual NSOperatingSystemVersion operatingSystemVersion() = 0;
  /// The name of the running system with its version, for people.
  virtual std::string operatingSystemVersionString() = 0;
  /// The code of the processor type that the process was built for.
  virtual std::int64_t executableArchitecture() = 0;
  /// The name of the program's file.
  virtual std::string processName() = 0;
  /// What identifies the application; none when it has no such thing.
  virtual std::optional<std::string> bundleIdentifier() = 0;

  /// Asks for the value called @p name, for example {6, 2}: the model of the computer, a text with a zero byte at the
  /// end.
  /// @param value  where it goes, as far as it fits; null asks for its size alone.
  /// @param size   in: the room at @p value; out: the size of the value. Left alone by a failure.
  /// @return 0, or -1: there is no such value, or it does not fit.
  virtual int sysctl(std::span<const int> name, void* value, std::size_t* size) = 0;
};

/// The implementation in use: at first one that asks the kernel and reads the system's files.
JV_EXPORT std::shared_ptr<ProcessInformation> processInformation();

/// Puts @p other in its place and gives back the one before; none brings back the first one.
JV_EXPORT std::shared_ptr<ProcessInformation> installProcessInformation(std::shared_ptr<ProcessInformation> other);

}  // namespace JVPlatform
