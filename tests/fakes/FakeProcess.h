/// Tools that exist on paper alone: what they do is set beforehand, and every step that is asked for is written down.
#pragma once

#include <JorvaneFoundation/platform/Process.h>

#include "support/installed.h"

#include <cstddef>
#include <cstdint>
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
  std::int32_t status = 0;
  std::size_t inputRoom = static_cast<std::size_t>(-1);  ///< what the input pipe takes at a time
  std::function<void()> beforeLaunch = [] {};            ///< may throw

  std::vector<std::string> steps;

  std::unique_ptr<JVPlatform::Task> task() override {
    steps.emplace_back("task");
    return std::make_unique<FakeTask>(*this);
  }
  std::unique_ptr<JVPlatform::Pipe> pipe() override {
    static constexpr const char* kNames[] = {"input", "output", "error"};
    return std::make_unique<FakePipe>(*this, kNames[nextPipe_++ % 3]);
  }
  void performInBackground(std::function<void()> work) override { work(); }
  bool hasRoomForAnother() override { return true; }

 private:
  /// Ready as soon as somebody waits.
  template <class Interface>
  struct Part : Interface {
    Part(FakeProcess& itsProcess, std::string itsName) : process(itsProcess), name(std::move(itsName)) {}
    void wait() override { record("wait " + name); }
    void whenReady(std::function<void()> then) override {
      wait();
      then();
    }
    void record(std::string step) const { process.steps.push_back(std::move(step)); }

    FakeProcess& process;
    std::string name;
  };

  struct FakeHandle final : Part<JVPlatform::FileHandle> {
    using Part::Part;
    bool writeData(std::string_view& data) override {
      const std::string_view now = data.substr(0, process.inputRoom);
      record("write " + name + " " + std::string(now));
      data.remove_prefix(now.size());
      return data.empty();
    }
    bool readDataToEndOfFile(std::string& data) override {
      record("read " + name);
      if (name == "output") data += process.output;
      return true;
    }
    void closeFile() override { record("close " + name); }
  };

  struct FakePipe final : JVPlatform::Pipe {
    FakePipe(FakeProcess& process, const std::string& name) : handle(process, name) { handle.record("pipe " + name); }
    ~FakePipe() override { handle.record("release " + handle.name); }
    JVPlatform::FileHandle& fileHandleForReading() override { return handle; }
    JVPlatform::FileHandle& fileHandleForWriting() override { return handle; }
    FakeHandle handle;
  };

  struct FakeTask final : Part<JVPlatform::Task> {
    explicit FakeTask(FakeProcess& itsProcess) : Part(itsProcess, "task") {}
    void setStandardInput(JVPlatform::Pipe& pipe) override { set("standard input", pipe); }
    void setStandardOutput(JVPlatform::Pipe& pipe) override { set("standard output", pipe); }
    void setStandardError(JVPlatform::Pipe& pipe) override { set("standard error", pipe); }
    void setLaunchPath(std::string_view path) override { record("path " + std::string(path)); }
    void setArguments(std::span<const std::string> arguments) override {
      std::string step = "arguments";
      for (const std::string& argument : arguments) step += " " + argument;
      record(std::move(step));
    }
    void setCurrentDirectoryPath(std::string_view path) override { record("directory " + std::string(path)); }
    void launch() override {
      record("launch");
      process.beforeLaunch();
    }
    bool waitUntilExit() override {
      record("exited");
      return true;
    }
    std::int32_t terminationStatus() const override {
      record("status");
      return process.status;
    }
    JVPlatform::TerminationReason terminationReason() const override { return JVPlatform::TerminationReason::exit; }
    void set(const char* stream, JVPlatform::Pipe& pipe) const {
      record(std::string(stream) + " is " + static_cast<FakePipe&>(pipe).handle.name);
    }
  };

  std::size_t nextPipe_ = 0;
};

using InstalledProcess = InUse<JVPlatform::installProcess>;

}  // namespace jvtest
