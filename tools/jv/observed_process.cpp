#include "observed_process.h"

#include <utility>

namespace {

using JVPlatform::Pipe;
using JVPlatform::TerminationReason;

/// Passes everything on, and looks at the reason when the tool has ended.
class ObservedTask final : public JVPlatform::Task {
 public:
  ObservedTask(std::unique_ptr<Task> task, TerminationReason& reason) : task_(std::move(task)), reason_(reason) {}

  void setStandardInput(Pipe& pipe) override { task_->setStandardInput(pipe); }
  void setStandardOutput(Pipe& pipe) override { task_->setStandardOutput(pipe); }
  void setStandardError(Pipe& pipe) override { task_->setStandardError(pipe); }
  void setLaunchPath(std::string_view path) override { task_->setLaunchPath(path); }
  void setArguments(std::span<const std::string> arguments) override { task_->setArguments(arguments); }
  void setCurrentDirectoryPath(std::string_view path) override { task_->setCurrentDirectoryPath(path); }
  void launch() override { task_->launch(); }
  void wait() override { task_->wait(); }
  void whenReady(std::function<void()> then) override { task_->whenReady(std::move(then)); }
  [[nodiscard]] std::int32_t terminationStatus() const override { return task_->terminationStatus(); }
  [[nodiscard]] TerminationReason terminationReason() const override { return task_->terminationReason(); }

  bool waitUntilExit() override {
    const bool ended = task_->waitUntilExit();
    if (ended) reason_ = task_->terminationReason();
    return ended;
  }

 private:
  std::unique_ptr<Task> task_;
  TerminationReason& reason_;
};

class ObservedProcess final : public JVPlatform::Process {
 public:
  ObservedProcess(std::shared_ptr<Process> process, TerminationReason& reason)
      : process_(std::move(process)), reason_(reason) {}

  std::unique_ptr<JVPlatform::Task> task() override {
    return std::make_unique<ObservedTask>(process_->task(), reason_);
  }
  std::unique_ptr<Pipe> pipe() override { return process_->pipe(); }
  void performInBackground(std::function<void()> work) override { process_->performInBackground(std::move(work)); }
  bool hasRoomForAnother() override { return process_->hasRoomForAnother(); }

 private:
  std::shared_ptr<Process> process_;
  TerminationReason& reason_;
};

}  // namespace

void observeTermination(TerminationReason& reason) {
  JVPlatform::installProcess(std::make_shared<ObservedProcess>(JVPlatform::process(), reason));
}
