#include <JorvaneFoundation/platform/SystemLog.h>

#include <syslog.h>

#include <memory>

#include "platform/Defaults.h"

namespace jv {
namespace {

class Syslog final : public JVPlatform::SystemLog {
 public:
  void log(std::string_view text) noexcept override {
    syslog(LOG_USER | LOG_NOTICE, "%.*s", static_cast<int>(text.size()), text.data());
  }
};

}  // namespace

std::shared_ptr<JVPlatform::SystemLog> makeSystemLog() { return std::make_shared<Syslog>(); }

}  // namespace jv
