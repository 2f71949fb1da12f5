#include "tasks/TaskRun.h"

#include <utility>

#include "foundation/utf8.h"

namespace jv {

bool CollectedText::readFrom(JVPlatform::FileHandle& handle) {
  const bool ended = handle.readDataToEndOfFile(bytes_);
  valid_ += validUtf8Prefix(std::string_view(bytes_).substr(valid_));
  return ended;
}

std::optional<std::string> CollectedText::take() {
  if (bytes_.empty() || valid_ < bytes_.size()) return std::nullopt;
  return std::move(bytes_);
}

bool TaskRun::launch() {
  try {
    setUpAndLaunch();
    return true;
  } catch (const JVPlatform::ResourceShortage& exception) {
    status_ = kNotLaunched;
    reason_ = exception.reason();
    return false;
  } catch (const JVFoundation::NSException& exception) {
    status_ = kNotLaunched;
    reason_ = exception.reason();
    return true;
  }
}

void TaskRun::setUpAndLaunch() {
  task_ = process_.task();
  inputPipe_ = process_.pipe();
  outputPipe_ = process_.pipe();
  errorPipe_ = process_.pipe();
  task_->setStandardInput(*inputPipe_);
  task_->setStandardOutput(*outputPipe_);
  task_->setStandardError(*errorPipe_);
  task_->setLaunchPath(request_.path);
  task_->setArguments(request_.arguments);
  if (request_.directory) task_->setCurrentDirectoryPath(*request_.directory);
  task_->launch();
}

JVPlatform::Waitable* TaskRun::goOn() {
  switch (step_) {
    case Step::writeInput:
      if (const auto full = writeInput(); full && isLaunched()) return full;  // else nobody will ever make room
      if (!isLaunched()) break;
      step_ = Step::readOutput;
      [[fallthrough]];
    case Step::readOutput:
      if (auto& handle = outputPipe_->fileHandleForReading(); !output_.readFrom(handle)) return &handle;
      step_ = Step::readError;
      [[fallthrough]];
    case Step::readError:
      if (auto& handle = errorPipe_->fileHandleForReading(); !error_.readFrom(handle)) return &handle;
      step_ = Step::waitUntilExit;
      [[fallthrough]];
    case Step::waitUntilExit:
      if (!task_->waitUntilExit()) return task_.get();
      status_ = task_->terminationStatus();
      break;
    case Step::over:
      break;
  }
  step_ = Step::over;
  return nullptr;
}

/// Returns the writing end when that is full. It is closed once all is written, and stays open when there is nothing to
/// write: a tool that reads its input then waits.
JVPlatform::FileHandle* TaskRun::writeInput() {
  if (request_.input.empty() || !errorPipe_) return nullptr;  // without all three none was set up
  JVPlatform::FileHandle& handle = inputPipe_->fileHandleForWriting();
  if (!handle.writeData(request_.input)) return &handle;
  handle.closeFile();
  return nullptr;
}

TaskResult TaskRun::takeResult() {
  if (!isLaunched()) return {status_, std::nullopt, std::move(reason_)};
  return {status_, output_.take(), error_.take()};
}

TaskResult runTask(const TaskRequest& request) {
  const std::shared_ptr<JVPlatform::Process> process = JVPlatform::process();
  TaskRun run(*process, request);
  run.launch();
  while (JVPlatform::Waitable* const awaited = run.goOn()) awaited->wait();
  return run.takeResult();
}

}  // namespace jv
