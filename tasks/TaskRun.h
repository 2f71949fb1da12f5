/// One run of a tool: the order of its steps, and what comes out of it. Both faces of `NSTask` are made of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <JorvaneFoundation/platform/Process.h>

namespace jv {

/// The status of a tool that was not launched.
constexpr std::int32_t kNotLaunched = -666;

/// What to run. Nothing is copied: the run must not outlive what this refers to.
struct TaskRequest {
  std::string_view path;
  std::span<const std::string> arguments;
  std::string_view input;  ///< empty: there is none
  std::optional<std::string_view> directory;
};

struct TaskResult {
  std::int32_t status = 0;  ///< how the tool ended, or `kNotLaunched`
  std::optional<std::string> output;
  std::optional<std::string> error;  ///< of a tool that was not launched, the reason
};

/// What a tool has written, on its way to becoming a text. It is checked as it comes in, while it is still in the
/// processor's cache.
class CollectedText {
 public:
  /// Reads on. True at the end of the file.
  bool readFrom(JVPlatform::FileHandle& handle);
  /// The text, unless it is empty or not UTF-8.
  std::optional<std::string> take();

 private:
  std::string bytes_;
  std::size_t valid_ = 0;  // as many bytes at the front are valid
};

/// The steps, one after the other: launch; write all of the input; read the output to its end; read the error output to
/// its end; wait for the tool's end. Whatever was opened is released with the object.
///
/// The order is a promise, also where a tool makes it stand still: one that writes more than a pipe holds before it has
/// read its input waits for us while we wait for it.
class TaskRun {
 public:
  TaskRun(JVPlatform::Process& process, const TaskRequest& request) : process_(process), request_(request) {}

  /// Sets up and launches. A failure is a result like any other, and `goOn` deals with it.
  /// @return false when it failed for want of something that may be there later.
  bool launch();

  /// Goes on as far as it can be done without waiting. What comes back is to be waited for before the next call; none
  /// when the run is over.
  JVPlatform::Waitable* goOn();

  /// Once the run is over.
  TaskResult takeResult();

 private:
  enum class Step : std::uint8_t { writeInput, readOutput, readError, waitUntilExit, over };

  void setUpAndLaunch();
  JVPlatform::FileHandle* writeInput();
  [[nodiscard]] bool isLaunched() const { return status_ != kNotLaunched; }

  JVPlatform::Process& process_;
  TaskRequest request_;
  std::unique_ptr<JVPlatform::Pipe> inputPipe_;
  std::unique_ptr<JVPlatform::Pipe> outputPipe_;
  std::unique_ptr<JVPlatform::Pipe> errorPipe_;
  std::unique_ptr<JVPlatform::Task> task_;  // refers to the pipes
  Step step_ = Step::writeInput;
  std::int32_t status_ = 0;
  std::optional<std::string> reason_;
  CollectedText output_;
  CollectedText error_;
};

/// The whole run on the calling thread, which it blocks until the tool has ended.
TaskResult runTask(const TaskRequest& request);

}  // namespace jv
