/// What a stream and the group that feeds it share.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <JorvaneFoundation/platform/EventStream.h>

#include "platform/linux/event_stream/Batch.h"
#include "platform/linux/event_stream/Folder.h"
#include "platform/linux/event_stream/Gate.h"
#include "platform/linux/event_stream/Tree.h"

namespace jv::watching {

using Clock = std::chrono::steady_clock;

/// A moment, by the clock that stamps files and by the one that never jumps.
struct Moment {
  static Moment now();
  /// The stamp of the moment, by the system clock as it is set now if that was set back meanwhile.
  [[nodiscard]] Stamp stamp() const;
  /// What changed after the moment has no stamp before this one, however slowly the clock of its file system ticks.
  [[nodiscard]] Stamp earliestStamp() const;

  Stamp system;
  Clock::time_point steady;
};

/// Why folders are not watched.
enum class Trouble : std::uint8_t {
  none,
  watchLimit,     ///< too many are
  instanceLimit,  ///< the kernel makes no instance, or gives no watch for some other reason
  disk,           ///< they cannot be read
  noDescriptors,  ///< of the stream: it never began
  noThread,       ///< of the stream likewise
};

class Group;
struct Stream;

/// A watched path.
struct Root {
  enum class Kind : std::uint8_t { missing, folder, file };

  Stream* stream;
  std::string given;     ///< as the client spells it
  std::string absolute;  ///< from "/" on; empty: it can never exist

  Kind kind = Kind::missing;
  FolderId folder = kNoFolder;                            ///< that it leads to, or that the file is in
  std::vector<std::pair<FolderId, std::string>> chain{};  ///< every name on the way, with the folder that it is in
  bool isDirty = false;                                   ///< the way may have changed
};

struct Stream {
  // Fixed before the stream joins.
  JVPlatform::FSEventStreamCallback callback;
  JVFoundation::Executor queue;
  std::vector<std::string> paths;
  std::string workingFolder;  ///< where relative paths begin
  Clock::duration latency{};
  bool wantsFiles = false;
  std::size_t largeTree = 0;  ///< so many folders are watched by their file system, where that is possible
  Moment begin;

  std::shared_ptr<Group> group;  ///< while it has joined; the owner's

  Gate gate;
  std::atomic<bool> isStopped{false};
  std::atomic<bool> isBusy{false};     ///< a batch is with the queue
  std::atomic<bool> isWaiting{false};  ///< a batch waits here; written by the group under its lock

  // The group's, under its lock.
  std::vector<std::unique_ptr<Root>> roots;
  Batch batch;
  Clock::time_point due;
  std::uint64_t number = 0;  ///< from 1 on, in the order in which streams joined
  bool isReady = false;      ///< its folders are watched

  std::atomic<Trouble> trouble{Trouble::none};
};

}  // namespace jv::watching
