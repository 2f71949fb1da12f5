/// Runs command-line tools to their end, on the calling thread or in the background, and hands back how they ended and
/// what they wrote.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/Value.h>

namespace JVFoundation {

/// A run launches the tool, writes all of the input and closes it, reads the output to its end, then the error output
/// to its end, and then waits for the tool.
///
/// What goes in:
/// - path: the file to execute, absolute. No search path, no shell; a script needs its `#!` line. Path, arguments,
///   input and directory are bytes and go to the tool unchanged.
/// - arguments: those after the program's name, which is the path.
/// - input: goes to the tool's standard input, which then ends. Without an input, or with an empty one, the standard
///   input stays open while the tool runs: a tool that reads it waits for ever.
/// - directory: the tool's working directory; none: the caller's.
///
/// What comes out:
/// - status: the tool's exit status, or the number of the signal that ended it; -666 when it could not be launched
///   (missing, not executable, a directory, no known format, a zero byte in path or arguments, a directory that cannot
///   be entered, no descriptors or processes left).
/// - output and error: all that the tool wrote, line ends and zero bytes included. Missing when that is nothing or not
///   UTF-8. For a tool that could not be launched there is no output, and the error is the reason.
///
/// The tool has the three standard streams, the caller's environment and nothing else of it: no other descriptor, no
/// blocked and no ignored signal. The application's other children and its handling of SIGCHLD and SIGPIPE are left
/// alone.
///
/// The order of the steps is a promise, and with it comes that some tools never end: one that writes more error output
/// than its pipe holds before it has ended its output, or more output than the pipe holds before it has read its input.
/// The pipes are made to hold 1 MiB where the system allows (at least 64 KiB). The output also ends only when the last
/// process has closed it that the tool has left behind with it.
///
/// Any thread, any number at once. Cost: about a millisecond a launch, however large the process is; the memory of the
/// output. The input is not copied by the synchronous form.
class JV_EXPORT NSTask {
 public:
  using CompletionHandler =
      std::function<void(std::int32_t status, std::optional<std::string> output, std::optional<std::string> error)>;

  /// Runs the tool and blocks until it has ended. Throws nothing but std::bad_alloc, after ending the tool.
  /// @return  an immutable dictionary: "JVTaskStatus", a signed 32-bit number, always; "JVTaskOutput" and
  ///          "JVTaskError", texts, unless they are missing.
  [[nodiscard]] static Value launchSyncWithPath(std::string_view path, const std::vector<std::string>& arguments);
  [[nodiscard]] static Value launchSyncWithPath(std::string_view path, const std::vector<std::string>& arguments,
                                                std::optional<std::string_view> input);
  [[nodiscard]] static Value launchSyncWithPath(std::string_view path, const std::vector<std::string>& arguments,
                                                std::optional<std::string_view> input,
                                                std::optional<std::string_view> directory);

  /// Starts the run and returns at once; all arguments are copied. The handler is called exactly once, later, on the
  /// queue under the operation queue that the caller runs on: for a call on the main thread on the main queue, and so
  /// when that thread runs or drains its `NSRunLoop`. Handlers are called in the order in which the tools end. They
  /// must not throw.
  ///
  /// There must be such a queue when the tool has ended: without one there is nobody to tell, and the process ends.
  /// That is so for a call on a thread that is not the main one, outside the operations of an operation queue with an
  /// underlying queue.
  ///
  /// Memory that runs out for the output ends the process, for there is nobody to throw to.
  ///
  /// Tools run side by side, on no threads of their own and none of the queues'. As many run at once as the process may
  /// have descriptors (a tool takes four) and processes; the others wait for one to end.
  static void launchAsyncWithPath(std::string_view path, const std::vector<std::string>& arguments,
                                  CompletionHandler completionHandler);
  static void launchAsyncWithPath(std::string_view path, const std::vector<std::string>& arguments,
                                  std::optional<std::string_view> input, CompletionHandler completionHandler);
  static void launchAsyncWithPath(std::string_view path, const std::vector<std::string>& arguments,
                                  std::optional<std::string_view> input, std::optional<std::string_view> directory,
                                  CompletionHandler completionHandler);

  /// The methods above as an object, for those who change what one of them does. The shorter forms call the next longer
  /// one, so that overriding the longest reaches them all:
  ///
  ///     struct LoggingTasks : JVFoundation::NSTask::Class {
  ///       using Class::launchSyncWithPath;  // the shorter forms stay visible
  ///       Value launchSyncWithPath(std::string_view path, const std::vector<std::string>& arguments,
  ///                                std::optional<std::string_view> input,
  ///                                std::optional<std::string_view> directory) const override;
  ///     };
  ///     LoggingTasks().launchSyncWithPath("/bin/true", {});
  class JV_EXPORT Class {
   public:
    Class() = default;
    Class(const Class&) = delete;
    Class& operator=(const Class&) = delete;
    virtual ~Class();

    virtual Value launchSyncWithPath(std::string_view path, const std::vector<std::string>& arguments) const;
    virtual Value launchSyncWithPath(std::string_view path, const std::vector<std::string>& arguments,
                                     std::optional<std::string_view> input) const;
    virtual Value launchSyncWithPath(std::string_view path, const std::vector<std::string>& arguments,
                                     std::optional<std::string_view> input,
                                     std::optional<std::string_view> directory) const;

    virtual void launchAsyncWithPath(std::string_view path, const std::vector<std::string>& arguments,
                                     CompletionHandler completionHandler) const;
    virtual void launchAsyncWithPath(std::string_view path, const std::vector<std::string>& arguments,
                                     std::optional<std::string_view> input, CompletionHandler completionHandler) const;
    virtual void launchAsyncWithPath(std::string_view path, const std::vector<std::string>& arguments,
                                     std::optional<std::string_view> input, std::optional<std::string_view> directory,
                                     CompletionHandler completionHandler) const;
  };
};

}  // namespace JVFoundation
