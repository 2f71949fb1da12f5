/// What every room asks of the system's log. The library itself writes to it in two places only.
#pragma once

#include <memory>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVPlatform {

/// The log of the system, without levels. Any thread.
class JV_EXPORT SystemLog {
 public:
  SystemLog() = default;
  SystemLog(const SystemLog&) = delete;
  SystemLog& operator=(const SystemLog&) = delete;
  virtual ~SystemLog();

  /// Writes @p text, a line without its end. Never fails as far as the caller can see.
  virtual void log(std::string_view text) noexcept = 0;
};

/// The implementation in use: at first the system's own log.
JV_EXPORT std::shared_ptr<SystemLog> systemLog();

/// Puts @p other in its place and gives back the one before; none brings back the first one.
JV_EXPORT std::shared_ptr<SystemLog> installSystemLog(std::shared_ptr<SystemLog> other);

}  // namespace JVPlatform
