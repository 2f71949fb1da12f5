/// Tells of changes of the network's links and IPv4 addresses.
#pragma once

#include <functional>
#include <unordered_map>

#include <JorvaneFoundation/platform/RunLoopSource.h>

#include "platform/linux/rtnetlink.h"

namespace jv {

/// A burst of messages makes one call. What changes neither an address nor a link's flags, master or name makes none:
/// the counters of a wireless interface arrive every few seconds. Messages that were lost count as a change.
class NetworkWatch final : public JVPlatform::RunLoopSource {
 public:
  /// @throws std::system_error when the system has no socket for it.
  explicit NetworkWatch(std::function<void()> changed);

  [[nodiscard]] int fileDescriptor() const noexcept override { return socket_.get(); }
  void perform() override;

 private:
  void learnLinks();
  bool matters(const nlmsghdr& message);
  bool linkMatters(const nlmsghdr& message);

  Descriptor socket_;
  std::function<void()> changed_;
  std::unordered_map<int, NetworkLink> links_;  // by index, as far as they matter
};

}  // namespace jv
