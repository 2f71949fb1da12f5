/// A delegate that keeps what it is told.
#pragma once

#include <JorvaneFoundation/fileevents/JVFileEventer.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace jvtest {

using Paths = std::vector<std::string>;

class Recorder : public JVFileEventerDelegate {
 public:
  explicit Recorder(std::function<void(const Paths&)> also = nullptr) : also_(std::move(also)) {}

  void fileSystemEventHappenedAtPaths(const Paths& paths) override {
    {
      const std::lock_guard lock(mutex_);
      batches_.push_back(paths);
      told_.insert(paths.begin(), paths.end());
      changed_.notify_all();
    }
    if (also_) also_(paths);
  }

  /// Whether @p path was told of in time, since the beginning or the last `clear`.
  bool waitFor(const std::string& path, std::chrono::seconds bound = std::chrono::seconds(30)) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, bound, [&] { return told_.contains(path); });
  }
  std::set<std::string> told() {
    const std::lock_guard lock(mutex_);
    return told_;
  }
  std::vector<Paths> batches() {
    const std::lock_guard lock(mutex_);
    return batches_;
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    batches_.clear();
    told_.clear();
  }

 private:
  std::function<void(const Paths&)> also_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Paths> batches_;
  std::set<std::string> told_;
};

}  // namespace jvtest
