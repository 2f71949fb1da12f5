/// What `tasks/` asks of the platform: to start a tool with three pipes, feed it, read it and wait for its end.
///
/// No operation waits but `Waitable::wait` and, for about a millisecond, `Task::launch`. Each does what can be done now
/// and says whether it is through; the caller then waits for the object, on the spot or in the background, and asks
/// again. A task and its pipes are used on one thread at a time; different tasks do not know of one another.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSException.h>

namespace JVPlatform {

/// Raised when descriptors, memory, processes or threads have run out: the same may succeed later.
class JV_EXPORT ResourceShortage : public JVFoundation::NSException {
 public:
  using NSException::NSException;
  ~ResourceShortage() override;
};

/// Something that gets ready in its own time.
class JV_EXPORT Waitable {
 public:
  Waitable() = default;
  Waitable(const Waitable&) = delete;
  Waitable& operator=(const Waitable&) = delete;
  virtual ~Waitable();

  /// Blocks until asking again is worth while. It may return too early, never too late.
  virtual void wait() = 0;
  /// Calls @p then once, later, on a thread of the platform's own, as soon as asking again is worth while. @p then may
  /// wait for the same object again, or hold the last reference to it. Neither blocks nor fails.
  virtual void whenReady(std::function<void()> then) = 0;
};

/// One end of a pipe.
class JV_EXPORT FileHandle : public Waitable {
 public:
  ~FileHandle() override;
  /// Writes what the pipe takes of @p data and cuts it off its front. True when this is over: all is written, or
  /// nobody is left to read it and the rest is dropped. The process gets no signal for that. False: wait and go on.
  virtual bool writeData(std::string_view& data) = 0;
  /// Appends to @p data what has come since. True at the end of the file; a pipe that cannot be read is at its end.
  /// False: wait and go on.
  virtual bool readDataToEndOfFile(std::string& data) = 0;
  /// Gives the end back, which nothing may use any more. The destructor does so too.
  virtual void closeFile() = 0;
};

/// An anonymous pipe. No tool but the one that it is handed to inherits any of it.
class JV_EXPORT Pipe {
 public:
  Pipe() = default;
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  virtual ~Pipe();

  virtual FileHandle& fileHandleForReading() = 0;
  virtual FileHandle& fileHandleForWriting() = 0;
};

/// How a tool ended.
enum class TerminationReason : std::uint8_t { exit, uncaughtSignal };

/// A tool: first set up, then launched at most once, then waited for. What it is given by reference (pipes of the same
/// `Process`, texts) must outlive it, or for texts the launch. Its readiness is its end.
class JV_EXPORT Task : public Waitable {
 public:
  ~Task() override;
  virtual void setStandardInput(Pipe& pipe) = 0;
  virtual void setStandardOutput(Pipe& pipe) = 0;
  virtual void setStandardError(Pipe& pipe) = 0;
  /// The file to execute, as bytes. It is looked for nowhere else, and no shell takes it over.
  virtual void setLaunchPath(std::string_view path) = 0;
  /// The arguments after the first, which is the launch path.
  virtual void setArguments(std::span<const std::string> arguments) = 0;
  /// The tool's working directory; unless set, that of the caller.
  virtual void setCurrentDirectoryPath(std::string_view path) = 0;

  /// Starts the tool with the three pipes as its descriptors 0, 1 and 2 and no others, the caller's environment, no
  /// signal blocked and none ignored, and gives the caller's copies of the tool's ends back.
  /// Raises an `NSException` whose reason names the path and says what is wrong when the tool cannot be started, a
  /// `ResourceShortage` when that may pass. Nothing has started then, and the pipes are as they were.
  virtual void launch() = 0;
  /// True when the tool has ended. Only this tool is waited for, whoever else waits for children.
  virtual bool waitUntilExit() = 0;
  /// After its end: the exit status, or the number of the signal that ended it. 0 when the application has taken the
  /// status away (it ignores SIGCHLD or waits for any child) and the kernel, older than Linux 6.15, keeps no other.
  [[nodiscard]] virtual std::int32_t terminationStatus() const = 0;
  [[nodiscard]] virtual TerminationReason terminationReason() const = 0;
};

/// Starts tools. Any thread, any number at once.
class JV_EXPORT Process {
 public:
  Process() = default;
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  virtual ~Process();

  /// A fresh task. The destructor ends a tool that was launched and not waited for to its end.
  virtual std::unique_ptr<Task> task() = 0;
  /// A new pipe. Raises `ResourceShortage`.
  virtual std::unique_ptr<Pipe> pipe() = 0;
  /// Calls @p work once, later, on one of a few threads made for launching; what was handed in first starts first. It
  /// returns at once. Raises `ResourceShortage` when there is no thread and none can be made; @p work is not called
  /// then, and any `whenReady` after a success is sure to be served.
  virtual void performInBackground(std::function<void()> work) = 0;
  /// Whether the application would have some descriptors left after one more tool was launched.
  virtual bool hasRoomForAnother() = 0;
};

/// The implementation in use: at first one that asks the kernel.
JV_EXPORT std::shared_ptr<Process> process();

/// Puts @p other in its place and gives back the one before; none brings back the first one.
JV_EXPORT std::shared_ptr<Process> installProcess(std::shared_ptr<Process> other);

}  // namespace JVPlatform
