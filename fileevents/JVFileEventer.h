/// Changes under a set of folders.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <JorvaneFoundation/dispatch/DispatchQueue.h>
#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/PlainInitializer.h>
#include <JorvaneFoundation/platform/EventStream.h>

/// Is told of changes by a `JVFileEventer`.
class JV_EXPORT JVFileEventerDelegate {
 public:
  virtual ~JVFileEventerDelegate();

  /// Something has changed at each of @p paths. Called on the watcher's own queue, one call at a time, never on the
  /// main thread. Must not let an exception out: that ends the process.
  ///
  /// @param paths  of one batch, never empty; each once, in the order in which they changed first. Without watch-files,
  ///               the folders whose contents changed; with it, what changed itself. Bytes, not text.
  virtual void fileSystemEventHappenedAtPaths(const std::vector<std::string>& paths) = 0;

  /// A delegate that calls @p handler, for those who need no class of their own. Never null; @p handler must not be
  /// empty, and is destroyed with the delegate, which may be on the watcher's queue.
  [[nodiscard]] static std::shared_ptr<JVFileEventerDelegate> create(
      std::function<void(const std::vector<std::string>& paths)> handler);
};

/// Watches folders, each with everything below it, and files, from the end of its constructor to the beginning of its
/// destructor. Changes are collected for 0.1 seconds from the first one on and then handed to the delegate.
///
///     const auto delegate = JVFileEventerDelegate::create([](const auto& paths) { index(paths); });
///     const JVFileEventer watcher(delegate, {"/home/me/Documents"}, false);
///
/// A path that is told of says "look here", no more: what is there now may be a file, a folder or nothing. A folder
/// that appears, by being made, moved or renamed, is told of with all that is in it, one that goes only as a whole.
///
/// The accessors read and write plain fields: one thread at a time.
class JV_EXPORT JVFileEventer {
 public:
  /// Starts to watch. Everything that changes after the return is told of, nothing that changed before the call.
  ///
  /// @param delegate      whom the changes are told to for the life of the watcher; may be none. Not kept alive:
  ///                      changes are dropped once it is gone.
  /// @param pathsToWatch  in this order, unchanged: told paths begin with them as they are spelled here. None
  ///                      need exist: a path that appears is told of. Symbolic links at and in front of a path are
  ///                      followed, those below it are not. A relative path counts from the present working directory.
  /// @param watchFiles    whether what changed itself is told, and not the folder it is in
  ///
  /// Blocks until every folder is watched, a few microseconds for each. The folders on the way
  /// to a path are watched as well, each for the one name that the way takes. Never fails: see `problem`.
  JVFileEventer(const std::shared_ptr<JVFileEventerDelegate>& delegate, const std::vector<std::string>& pathsToWatch,
                bool watchFiles);
  /// Not to be used: raises `JVBadInitializerException`.
  [[deprecated("use JVFileEventer(delegate, pathsToWatch, watchFiles)")]] JVFileEventer();

  JVFileEventer(const JVFileEventer&) = delete;
  JVFileEventer& operator=(const JVFileEventer&) = delete;

  /// Stops, invalidates and releases the stream. A call of the delegate that is in progress is waited for, unless this
  /// runs inside that very call; none comes afterwards. May run on any thread, but not on one that the delegate's call
  /// waits for.
  virtual ~JVFileEventer();

  /// None when there is none, or it is gone.
  [[nodiscard]] std::shared_ptr<JVFileEventerDelegate> delegate() const;
  /// Changes what `delegate` returns, not where changes are told.
  void setDelegate(const std::shared_ptr<JVFileEventerDelegate>& delegate);

  /// The serial queue "event_queue" of this watcher, or what was set.
  [[nodiscard]] JVFoundation::DispatchQueue eventQueue() const;
  /// Leaves the stream on the queue that it has.
  void setEventQueue(const JVFoundation::DispatchQueue& queue);

  /// The stream behind the watcher. Null when none could be made.
  [[nodiscard]] JVPlatform::FSEventStreamRef eventStream() const;
  /// Replaces the reference and no more. The stream before goes on, and is now the caller's to stop and release; the
  /// destructor stops and releases @p stream, unless it is null.
  void setEventStream(JVPlatform::FSEventStreamRef stream);

  /// What keeps the watcher from seeing every change as it happens, with the setting to raise, in sentences for people;
  /// none when all is well. May change while the watcher lives.
  [[nodiscard]] std::optional<std::string> problem() const;

 protected:
  /// For the plain initializer of a derived class: raises under that class's name.
  explicit JVFileEventer(const JVFoundation::PlainInitializer& initializer);

 private:
  struct State;

  std::unique_ptr<State> state_;
};
