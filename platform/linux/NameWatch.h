/// Tells of changes of what the computer's name is made of.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include <JorvaneFoundation/platform/RunLoopSource.h>

#include "platform/linux/Descriptor.h"

namespace jv {

/// Watches the folder of the two files, since both are replaced or removed rather than written, and the kernel's own
/// name. What comes at once makes one call. Where one of the two cannot be watched, the call comes every few seconds.
class NameWatch final : public JVPlatform::RunLoopSource {
 public:
  /// @param root   stands in front of the paths: empty, but for tests.
  /// @param pause  between two calls where something cannot be watched.
  /// @throws std::system_error when the system has no descriptors for it.
  explicit NameWatch(const std::string& root, std::chrono::milliseconds pause = std::chrono::seconds(5));
  ~NameWatch() override;

  /// Who is called; nobody when empty.
  void setHandler(std::function<void()> changed) { changed_ = std::move(changed); }

  [[nodiscard]] int fileDescriptor() const noexcept override { return poll_.get(); }
  void perform() override;

 private:
  class HostNameWatch;

  void watch(const Descriptor& descriptor) const;
  void startTimer(std::chrono::milliseconds pause);
  bool readFolder() const;
  bool readTimer() const;

  std::function<void()> changed_;
  Descriptor folder_;
  Descriptor timer_;  // open where something cannot be watched
  std::unique_ptr<HostNameWatch> hostName_;
  Descriptor poll_;
};

}  // namespace jv
