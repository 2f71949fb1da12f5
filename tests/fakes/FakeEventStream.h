/// Streams that deliver what a test hands them, and write down what is asked of them.
#pragma once

#include <JorvaneFoundation/platform/EventStream.h>

#include "support/installed.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace jvtest {

class FakeEventStream final : public JVPlatform::EventStream {
 public:
  /// The parameters of a stream, and its way back to the client.
  class Stream final : public JVPlatform::FSEventStream {
   public:
    explicit Stream(FakeEventStream& maker) : maker_(maker) {}

    void FSEventStreamSetDispatchQueue(JVFoundation::Executor executor) override {
      queue = std::move(executor);
      maker_.steps.emplace_back("queue");
    }
    bool FSEventStreamStart() override {
      maker_.steps.emplace_back("start");
      return maker_.starts;
    }
    void FSEventStreamStop() override { maker_.steps.emplace_back("stop"); }
    void FSEventStreamInvalidate() override { maker_.steps.emplace_back("invalidate"); }
    void FSEventStreamRelease() override {
      maker_.steps.emplace_back("release");
      std::erase(maker_.present, this);
      delete this;
    }
    [[nodiscard]] std::optional<std::string> problem() const override { return maker_.trouble; }

    /// Hands @p changed to the client, the way a stream does.
    void deliver(std::vector<std::string> changed) const {
      queue([call = callback, batch = std::move(changed)] { call(batch); });
    }

    JVPlatform::FSEventStreamCallback callback;
    JVFoundation::Executor queue;
    std::vector<std::string> paths;
    std::uint64_t sinceWhen = 0;
    double latency = 0;
    std::uint32_t flags = 0;

   private:
    FakeEventStream& maker_;
  };

  bool makes = true;   ///< whether a stream can be made
  bool starts = true;  ///< and started
  std::optional<std::string> trouble;

  std::vector<Stream*> present;
  std::vector<std::string> steps;

  JVPlatform::FSEventStreamRef FSEventStreamCreate(JVPlatform::FSEventStreamCallback callback,
                                                   std::span<const std::string> pathsToWatch, std::uint64_t sinceWhen,
                                                   double latency, std::uint32_t flags) override {
    steps.emplace_back("create");
    if (!makes) return nullptr;
    auto* const stream = new Stream(*this);
    stream->callback = std::move(callback);
    stream->paths.assign(pathsToWatch.begin(), pathsToWatch.end());
    stream->sinceWhen = sinceWhen;
    stream->latency = latency;
    stream->flags = flags;
    present.push_back(stream);
    return stream;
  }
};

using InstalledEventStream = Installed<FakeEventStream, JVPlatform::installEventStream>;

}  // namespace jvtest
