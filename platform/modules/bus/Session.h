/// Follows whether the own session is the active one.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <JorvaneFoundation/platform/RunLoopSource.h>

#include "platform/modules/bus/OwnSession.h"
#include "platform/modules/bus/SdBus.h"

namespace jv {

/// As `BusModule::watchSession`.
std::shared_ptr<JVPlatform::RunLoopSource> watchSession(std::function<void(bool active)> changed) noexcept;

/// One connection to the system bus. Which session is the own one is asked once the session manager is there, when it
/// comes back, and when a session begins; what was known last stays meanwhile. A bus that goes is joined again: at
/// once, a few times more in the seconds after, and whenever something appears in the folder of its socket, or on the
/// way to that when it is not there.
class SessionWatch final : public JVPlatform::RunLoopSource {
 public:
  /// @throws std::system_error when the system has no descriptors for it.
  explicit SessionWatch(std::function<void(bool active)> changed);
  ~SessionWatch() override;

  [[nodiscard]] int fileDescriptor() const noexcept override { return descriptor_; }
  void perform() override;

 private:
  using Step = void (SessionWatch::*)(sd_bus_message& answer);

  void processEvents() const;

  int connect();
  void disconnect();
  void joinSoon();
  void join();
  void watchFolder();

  void findSession();
  void askNext();
  void takeStep(sd_bus_message& answer);
  void follow();
  void takeActive(sd_bus_message& answer);
  void takeChanges(sd_bus_message& signal);
  void learn(bool active, bool announced);

  template <Step step>
  static int onAnswer(sd_bus_message* message, void* self, sd_bus_error*) noexcept;
  template <Step step>
  void ask(SdMessage call);
  static int onJoinTime(sd_event_source*, std::uint64_t, void* self) noexcept;
  static int onFolder(sd_event_source*, const struct inotify_event*, void* self) noexcept;
  static int onDisconnected(sd_bus_message*, void* self, sd_bus_error*) noexcept;
  static int onManagerOwner(sd_bus_message*, void* self, sd_bus_error*) noexcept;
  static int onNewSession(sd_bus_message*, void* self, sd_bus_error*) noexcept;
  static int onChanges(sd_bus_message*, void* self, sd_bus_error*) noexcept;

  std::function<void(bool active)> changed_;
  std::vector<bool> untold_;  // gathered while the library's code runs, told when it has returned
  std::optional<bool> active_;
  std::string manager_;  // the session manager's unique name, whose signals count; empty when it is unknown
  OwnSession search_{nullptr};
  int tries_ = 0;

  SdEvent event_;
  int descriptor_ = -1;
  SdEventSource folder_;
  SdEventSource joinTime_;
  SdBus bus_;
  SdSlot question_;
  SdSlot disconnected_;
  SdSlot managerOwner_;
  SdSlot newSession_;
  SdSlot properties_;
};

}  // namespace jv
