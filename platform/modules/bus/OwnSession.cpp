#include "platform/modules/bus/OwnSession.h"

#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "platform/modules/bus/login.h"

namespace jv {
namespace {

SdMessage newCall(sd_bus* bus, const char* path, const char* interface, const char* method) {
  sd_bus_message* call = nullptr;
  if (!bus || sd_bus_message_new_method_call(bus, &call, login::kService, path, interface, method) < 0) return nullptr;
  sd_bus_message_set_auto_start(call, 0);  // a session manager that has to be started first has no session
  return SdMessage(call);
}

template <class... Arguments>
SdMessage managerCall(sd_bus* bus, const char* method, const char* types, Arguments... arguments) {
  SdMessage call = newCall(bus, login::kPath, login::kManager, method);
  return call && sd_bus_message_append(call.get(), types, arguments...) >= 0 ? std::move(call) : nullptr;
}

bool isAnswer(sd_bus_message* answer) { return answer && sd_bus_message_is_method_error(answer, nullptr) <= 0; }

std::string pathIn(sd_bus_message* answer) {
  const char* path = nullptr;
  return isAnswer(answer) && sd_bus_message_read(answer, "o", &path) > 0 ? path : "";
}

bool namesOwnUser(sd_bus_message* answer) {
  std::uint32_t user = 0;
  const char* path = nullptr;
  return isAnswer(answer) && sd_bus_message_read(answer, "v", "(uo)", &user, &path) > 0 && user == getuid();
}

std::string displayIn(sd_bus_message* answer) {
  const char* name = nullptr;
  const char* path = nullptr;
  if (!isAnswer(answer) || sd_bus_message_read(answer, "v", "(so)", &name, &path) <= 0) return {};
  return path == std::string("/") ? "" : path;  // no session
}

}  // namespace

SdMessage loginPropertyCall(sd_bus* bus, const char* path, const char* interface, const char* property) {
  SdMessage call = newCall(bus, path, "org.freedesktop.DBus.Properties", "Get");
  return call && sd_bus_message_append(call.get(), "ss", interface, property) >= 0 ? std::move(call) : nullptr;
}

SdMessage OwnSession::question() {
  switch (step_) {
    case Step::owner:
      return loginPropertyCall(bus_, candidate_.c_str(), login::kSession, "User");
    case Step::named: {
      const char* const name = std::getenv(login::kSessionVariable);  // any bytes
      if (SdMessage call = name ? managerCall(bus_, "GetSession", "s", name) : nullptr) return call;
      step_ = Step::process;
      [[fallthrough]];
    }
    case Step::process:
      return managerCall(bus_, "GetSessionByPID", "u", std::uint32_t{0});
    case Step::user:
      return managerCall(bus_, "GetUser", "u", static_cast<std::uint32_t>(getuid()));
    case Step::display:
      return loginPropertyCall(bus_, candidate_.c_str(), login::kUser, "Display");
    case Step::over:
      break;
  }
  return nullptr;
}

void OwnSession::take(sd_bus_message* answer) {
  switch (step_) {
    case Step::named:
      candidate_ = pathIn(answer);
      step_ = candidate_.empty() ? Step::process : Step::owner;
      break;
    case Step::owner:
      if (namesOwnUser(answer)) path_ = candidate_;
      step_ = path_.empty() ? Step::process : Step::over;
      break;
    case Step::process:
      path_ = pathIn(answer);
      step_ = path_.empty() ? Step::user : Step::over;
      break;
    case Step::user:
      candidate_ = pathIn(answer);
      step_ = candidate_.empty() ? Step::over : Step::display;
      break;
    case Step::display:
      path_ = displayIn(answer);
      step_ = Step::over;
      break;
    case Step::over:
      break;
  }
}

}  // namespace jv
