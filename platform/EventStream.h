/// What `fileevents/` asks of the platform: batches of paths at which something has changed.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <JorvaneFoundation/foundation/Executor.h>
#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVPlatform {

/// From the start of the stream on; the only beginning there is.
inline constexpr std::uint64_t kFSEventStreamEventIdSinceNow = ~std::uint64_t{0};

inline constexpr std::uint32_t kFSEventStreamCreateFlagUseCFTypes = 1;  ///< paths come as an array of texts; always set
inline constexpr std::uint32_t kFSEventStreamCreateFlagFileEvents = 16;  ///< paths of what changed, not of its folder

/// Is given the paths of one batch, never none: each once, the first occurrence first, spelled under the watched path
/// as that was given. They are bytes, not text.
using FSEventStreamCallback = std::function<void(const std::vector<std::string>& eventPaths)>;

/// A stream of events. Created stopped; its operations are called in the order in which they stand here, by one thread
/// at a time.
class JV_EXPORT FSEventStream {
 public:
  FSEventStream(const FSEventStream&) = delete;
  FSEventStream& operator=(const FSEventStream&) = delete;

  /// From now on the callback is called through @p queue, one batch at a time.
  virtual void FSEventStreamSetDispatchQueue(JVFoundation::Executor queue) = 0;
  /// Returns once everything that happens from now on will be reported; what happened before never is. A batch is
  /// handed to the queue when the latency has passed since its first event, and not while the callback runs.
  /// @return false when nothing can be reported; `problem` says why.
  virtual bool FSEventStreamStart() = 0;
  /// Ends the watching. Batches that the queue has already may still come.
  virtual void FSEventStreamStop() = 0;
  /// No call of the callback begins after this, and none is in progress any more when it returns, unless it is called
  /// from inside that very call.
  virtual void FSEventStreamInvalidate() = 0;
  /// Destroys the stream; the reference is dead.
  virtual void FSEventStreamRelease() = 0;

  /// What keeps the stream from seeing every change as it happens, with the remedy, in sentences for people; none when
  /// all is well. May change at any time; any thread.
  [[nodiscard]] virtual std::optional<std::string> problem() const = 0;

 protected:
  FSEventStream() = default;
  virtual ~FSEventStream();
};

/// Refers to a stream and owns nothing.
using FSEventStreamRef = FSEventStream*;

/// Makes streams. Any thread.
class JV_EXPORT EventStream {
 public:
  EventStream() = default;
  EventStream(const EventStream&) = delete;
  EventStream& operator=(const EventStream&) = delete;
  virtual ~EventStream();

  /// A new stream, which the caller releases.
  /// @param callback      kept until the stream is released
  /// @param pathsToWatch  folders, each with everything below it, and files; copied. Any bytes; none need exist.
  /// @param sinceWhen     `kFSEventStreamEventIdSinceNow`
  /// @param latency       seconds from the first event of a batch to its delivery
  /// @param flags         of the constants above
  /// @return              null when none can be made
  virtual FSEventStreamRef FSEventStreamCreate(FSEventStreamCallback callback,
                                               std::span<const std::string> pathsToWatch, std::uint64_t sinceWhen,
                                               double latency, std::uint32_t flags) = 0;
};

/// The implementation in use: at first one that asks the kernel.
JV_EXPORT std::shared_ptr<EventStream> eventStream();

/// Puts @p other in its place and gives back the one before; none brings back the first one.
JV_EXPORT std::shared_ptr<EventStream> installEventStream(std::shared_ptr<EventStream> other);

}  // namespace JVPlatform
