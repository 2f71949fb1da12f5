#include <cstdlib>
#include <memory>
#include <utility>

#include <unistd.h>

#include <JorvaneFoundation/platform/EventStream.h>

#include "platform/Defaults.h"
#include "platform/linux/event_stream/Group.h"
#include "platform/linux/event_stream/factory.h"
#include "platform/threads.h"

namespace jv {
namespace {

using watching::Group;
using watching::Stream;
using watching::Trouble;

std::string workingFolder() {
  const std::unique_ptr<char, decltype(&std::free)> path(getcwd(nullptr, 0), std::free);
  return path ? path.get() : "";
}

std::optional<std::string> textOf(Trouble trouble) {
  switch (trouble) {
    case Trouble::none:
      break;
    case Trouble::watchLimit:
      return "The limit of watched folders is reached; those beyond it are looked at every few seconds only. Raise the "
             "setting fs.inotify.max_user_watches, for example: sysctl fs.inotify.max_user_watches=1048576";
    case Trouble::disk:
      return "Folders cannot be read, because of an error of their disk; they are looked at every few seconds.";
    case Trouble::instanceLimit:
      return "No more folders can be watched; they are looked at every few seconds at best. Raise the setting "
             "fs.inotify.max_user_instances, for example: sysctl fs.inotify.max_user_instances=1024, or the limit of "
             "open files (ulimit -n).";
    case Trouble::noDescriptors:
      return "Nothing is watched: the limit of open files is reached. Raise it (ulimit -n).";
    case Trouble::noThread:
      return "Nothing is watched: the system refuses another thread. Raise the limit of processes (ulimit -u).";
  }
  return std::nullopt;
}

/// In a forked child it does nothing: what is behind the descriptors is the parent's as well.
class KernelStream final : public JVPlatform::FSEventStream {
 public:
  explicit KernelStream(std::shared_ptr<Stream> stream) : stream_(std::move(stream)) {}

  void FSEventStreamSetDispatchQueue(JVFoundation::Executor queue) override { stream_->queue = std::move(queue); }

  bool FSEventStreamStart() override {
    if (isForkedChild() || stream_->group) return false;
    stream_->workingFolder = workingFolder();
    return Group::join(stream_);
  }

  void FSEventStreamStop() override {
    if (isForkedChild()) return;
    stream_->isStopped = true;
    Group::leave(stream_);
  }

  void FSEventStreamInvalidate() override {
    if (!isForkedChild()) stream_->gate.close();
  }

  void FSEventStreamRelease() override {
    FSEventStreamStop();
    FSEventStreamInvalidate();
    delete this;
  }

  [[nodiscard]] std::optional<std::string> problem() const override {
    if (isForkedChild()) return "Nothing is watched: this process was forked, and runs no program of its own.";
    return textOf(stream_->trouble);
  }

 private:
  const std::shared_ptr<Stream> stream_;  // calls that wait in the queue hold it as well
};

class KernelEventStream final : public JVPlatform::EventStream {
 public:
  explicit KernelEventStream(std::size_t largeTree) : largeTree_(largeTree) {}

  JVPlatform::FSEventStreamRef FSEventStreamCreate(JVPlatform::FSEventStreamCallback callback,
                                                   std::span<const std::string> pathsToWatch, std::uint64_t,
                                                   double latency, std::uint32_t flags) override {
    auto stream = std::make_shared<Stream>();
    stream->callback = std::move(callback);
    stream->paths.assign(pathsToWatch.begin(), pathsToWatch.end());
    stream->latency = std::chrono::duration_cast<watching::Clock::duration>(std::chrono::duration<double>(latency));
    stream->wantsFiles = (flags & JVPlatform::kFSEventStreamCreateFlagFileEvents) != 0;
    stream->largeTree = largeTree_;
    return new KernelStream(std::move(stream));
  }

 private:
  const std::size_t largeTree_;
};

}  // namespace

std::shared_ptr<JVPlatform::EventStream> makeEventStream() { return watching::makeEventStream(watching::kLargeTree); }

std::shared_ptr<JVPlatform::EventStream> watching::makeEventStream(std::size_t largeTree) {
  return std::make_shared<KernelEventStream>(largeTree);
}

}  // namespace jv
