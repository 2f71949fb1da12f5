/// What an implementation hands up that has something to hear of on the main thread.
#pragma once

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVPlatform {

/// A descriptor, and what to do when it can be read. Whoever gets one has the main run loop watch it. Made on any
/// thread, performed and destroyed on the main one.
class JV_EXPORT RunLoopSource {
 public:
  RunLoopSource() = default;
  RunLoopSource(const RunLoopSource&) = delete;
  RunLoopSource& operator=(const RunLoopSource&) = delete;
  virtual ~RunLoopSource();

  /// Readable while there is something to perform; the same one, open, as long as this lives.
  [[nodiscard]] virtual int fileDescriptor() const noexcept = 0;
  /// Reads what has come and makes the calls that it gives reason for. Never blocks, and does no harm with nothing to
  /// read.
  virtual void perform() = 0;
};

}  // namespace JVPlatform
