/// Tools that exist on paper alone: what they do is set beforehand, and every step that is asked for is written down.
#pragma once

#include <JorvaneFoundation/platform/Process.h>

#include "support/installed.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace jvtest {

class FakeProcess final : public JVPlatform::Process {
 public:
  // How every tool behaves.
  std::string output;
  std::string error;
  std::int32_t status = 0;
  std::size_t inputRoom = static_cast<std::size_t>(-1);  ///< what the input pipe takes at a time
  bool hesitant = false;                                 ///< nothing is through before it was waited for once
  std::function<void()> beforePipe = [] {};              ///< may throw
  std::function<void()> beforeLaunch = [] {};            ///< may throw
  bool room = true;

  std::vector<std::string> steps;
  std::string input;  ///< what was written to all of them
  int pipes = 0;      ///< that exist now
  std::deque<std::function<void()>> background;

  std::unique_ptr<JVPlatform::Task> task() override {
    nextPipe_ = 0;
    record("task");
    return std::make_unique<FakeTask>(*this);
  }
  std::unique_ptr<JVPlatform::Pipe> pipe() override {
    beforePipe();
    static constexpr const char* kNames[] = {"input", "output", "error"};
    const std::string name = kNames[nextPipe_++ % 3];
    record("pipe " + name);
    return std::make_unique<FakePipe>(*this, name);
  }
  void performInBackground(std::function<void()> work) override { background.push_back(std::move(work)); }
  bool hasRoomForAnother() override { return room; }

  /// Runs what waits in the background, one piece. @return whether there was any.
  bool performNext() {
    if (background.empty()) return false;
    const std::function<void()> work = std::move(background.front());
    background.pop_front();
    work();
    return true;
  }

 private:
  void record(std::string step) { steps.push_back(std::move(step)); }

  /// Ready at the second time of asking, if the tools are hesitant.
  template <class Interface>
  class Hesitating : public Interface {
   public:
    Hesitating(FakeProcess& process, std::string name) : process_(process), name_(std::move(name)) {}
    void wait() override {
      process_.record("wait " + name_);
      waited_ = true;
    }
    void whenReady(std::function<void()> then) override {
      process_.record("later " + name_);
      waited_ = true;
      process_.background.push_back(std::move(then));
    }

   protected:
    bool isReady() { return !process_.hesitant || std::exchange(waited_, false); }

    FakeProcess& process_;
    std::string name_;

   private:
    bool waited_ = false;
  };

  class FakeHandle final : public Hesitating<JVPlatform::FileHandle> {
   public:
    using Hesitating::Hesitating;
    bool writeData(std::string_view& data) override {
      if (!isReady()) return false;
      const std::string_view now = data.substr(0, process_.inputRoom);
      process_.record("write " + name_ + " " + std::string(now));
      process_.input += now;
      data.remove_prefix(now.size());
      return data.empty();
    }
    bool readDataToEndOfFile(std::string& data) override {
      if (!isReady()) return false;
      process_.record("read " + name_);
      data += name_ == "output" ? process_.output : process_.error;
      return true;
    }
    void closeFile() override { process_.record("close " + name_); }
  };

  class FakePipe final : public JVPlatform::Pipe {
   public:
    FakePipe(FakeProcess& process, const std::string& name)
        : process_(process), name_(name), reading_(process, name), writing_(process, name) {
      ++process_.pipes;
    }
    ~FakePipe() override {
      process_.record("release " + name_);
      --process_.pipes;
    }
    JVPlatform::FileHandle& fileHandleForReading() override { return reading_; }
    JVPlatform::FileHandle& fileHandleForWriting() override { return writing_; }
    const std::string& name() const { return name_; }

   private:
    FakeProcess& process_;
    std::string name_;
    FakeHandle reading_;
    FakeHandle writing_;
  };

  class FakeTask final : public Hesitating<JVPlatform::Task> {
   public:
    explicit FakeTask(FakeProcess& process) : Hesitating(process, "task") {}
    void setStandardInput(JVPlatform::Pipe& pipe) override { set("standard input", pipe); }
    void setStandardOutput(JVPlatform::Pipe& pipe) override { set("standard output", pipe); }
    void setStandardError(JVPlatform::Pipe& pipe) override { set("standard error", pipe); }
    void setLaunchPath(std::string_view path) override { process_.record("path " + std::string(path)); }
    void setArguments(std::span<const std::string> arguments) override {
      std::string step = "arguments";
      for (const std::string& argument : arguments) step += " " + argument;
      process_.record(std::move(step));
    }
    void setCurrentDirectoryPath(std::string_view path) override { process_.record("directory " + std::string(path)); }
    void launch() override {
      process_.record("launch");
      process_.beforeLaunch();
    }
    bool waitUntilExit() override {
      if (!isReady()) return false;
      process_.record("exited");
      return true;
    }
    std::int32_t terminationStatus() const override {
      process_.record("status");
      return process_.status;
    }
    JVPlatform::TerminationReason terminationReason() const override { return JVPlatform::TerminationReason::exit; }

   private:
    void set(const char* stream, JVPlatform::Pipe& pipe) {
      process_.record(std::string(stream) + " is " + static_cast<FakePipe&>(pipe).name());
    }
  };

  std::size_t nextPipe_ = 0;
};

using InstalledProcess = InUse<JVPlatform::installProcess>;

}  // namespace jvtest
