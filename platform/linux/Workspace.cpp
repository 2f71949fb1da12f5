#include <JorvaneFoundation/platform/Workspace.h>

#include "platform/BusModule.h"
#include "platform/Defaults.h"
#include "platform/linux/ModuleLoader.h"

namespace jv {
namespace {

class LinuxWorkspace final : public JVPlatform::Workspace, public std::enable_shared_from_this<LinuxWorkspace> {
 public:
  JVFoundation::NSNotificationCenter& notificationCenter() override { return center_; }

  std::shared_ptr<JVPlatform::RunLoopSource> createRunLoopSource() override {
    const BusModule* const bus = module<BusModule>("bus");
    if (!bus) return nullptr;
    return bus->watchSession([self = shared_from_this()](bool active) {
      self->center_.post(active ? JVPlatform::NSWorkspaceSessionDidBecomeActiveNotification
                                : JVPlatform::NSWorkspaceSessionDidResignActiveNotification,
                         self.get());
    });
  }

 private:
  JVFoundation::NSNotificationCenter center_;
};

}  // namespace

std::shared_ptr<JVPlatform::Workspace> makeWorkspace() { return std::make_shared<LinuxWorkspace>(); }

}  // namespace jv
