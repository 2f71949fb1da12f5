/// What the tests of watching share: a folder of a test's own, and what is done in it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "fileevents/Recorder.h"
#include "support/temporary_folder.h"

namespace jvtest {

/// Whether @p holds before the bound, of what nobody tells.
template <class Condition>
bool eventually(Condition holds) {
  const auto end = std::chrono::steady_clock::now() + kBound;
  while (!holds()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::yield();
  }
  return true;
}

/// A signal from one thread to another.
class Flag {
 public:
  void raise() {
    const std::lock_guard lock(mutex_);
    up_ = true;
    changed_.notify_all();
  }
  bool wait() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kBound, [this] { return up_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool up_ = false;
};

inline void write(const std::string& path) { std::ofstream(path) << "text"; }

inline void writeMapped(const std::string& path) {
  const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
  void* const memory = mmap(nullptr, 4, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ASSERT_NE(memory, MAP_FAILED);
  *static_cast<char*>(memory) = 'T';
  munmap(memory, 4);
  close(file);
}

/// What stands between the commas of @p text.
inline Paths parts(const std::string& text) {
  Paths all;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(", ", at), text.size());
    all.push_back(text.substr(at, end - at));
    at = end + 2;
  }
  return all;
}

/// Carries out @p steps in the folder @p base. Folders are made with those on the way to them, and removed with all
/// that is in them.
inline void carryOut(const std::string& base, const std::string& steps) {
  namespace fs = std::filesystem;
  for (const std::string& step : parts(steps)) {
    const std::size_t space = step.find(' ');
    const std::size_t arrow = step.find(" -> ");
    const std::string what = step.substr(0, space);
    const std::string first = step.substr(space + 1, arrow - space - 1);
    const std::string path = base + '/' + first;
    const std::string second = arrow == std::string::npos ? "" : base + '/' + step.substr(arrow + 4);
    if (what == "make")
      fs::create_directories(path);
    else if (what == "write")
      write(path);
    else if (what == "write-mapped")
      writeMapped(path);
    else if (what == "restrict")
      fs::permissions(path, fs::perms::owner_read);
    else if (what == "remove")
      fs::remove_all(path);
    else if (what == "move")
      fs::rename(path, second);
    else if (what == "link")
      fs::create_symlink(first, second);
    else if (what == "link-absolute")
      fs::create_symlink(path, second);
    else if (what == "link-hard")
      fs::create_hard_link(path, second);
    else
      FAIL() << step;
  }
}

/// A folder in which @p steps are carried out first.
struct Place {
  explicit Place(const std::string& steps = "") { run(steps); }

  void run(const std::string& steps) const { carryOut(base, steps); }
  /// The path of what is at @p below.
  std::string operator/(const std::string& below) const { return base + '/' + below; }
  /// Whether @p below was told of before the bound.
  bool tells(const std::string& below) const { return recorder->waitFor(*this / below); }

  const jv::test::TemporaryFolder folder;
  const std::string base = folder.path().string();
  const std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
};

}  // namespace jvtest
