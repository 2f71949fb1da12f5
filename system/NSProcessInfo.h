/// The process and the system under it, for people.
#pragma once

#include <string>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVFoundation {

/// Any thread.
class JV_EXPORT NSProcessInfo {
 public:
  /// The process's own. It lives until the process is gone.
  [[nodiscard]] static const NSProcessInfo& processInfo() noexcept;

  NSProcessInfo() = default;
  NSProcessInfo(const NSProcessInfo&) = delete;
  NSProcessInfo& operator=(const NSProcessInfo&) = delete;
  virtual ~NSProcessInfo();

  /// Name and version of the system, for people: "Debian GNU/Linux 12 (bookworm)".
  [[nodiscard]] virtual std::string operatingSystemVersionString() const;

  /// The name of the program.
  [[nodiscard]] std::string processName() const;

  /// "macOS", the version text and the architecture that the process was built for, with a blank between them. The
  /// architecture is "x86_64", "i386", "PPC64" or "PPC", and "(unknown architecture)" for any other, 64-bit Arm
  /// included. The first word is the same on every system: for an about box, take `operatingSystemVersionString`. Made
  /// by the first call in the process, whatever object it is made on; the same text from then on.
  [[nodiscard]] std::string operatingSystemVersionDescription() const;
};

}  // namespace JVFoundation
