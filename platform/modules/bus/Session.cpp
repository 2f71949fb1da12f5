#include "platform/modules/bus/Session.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/modules/bus/login.h"

namespace jv {
namespace {

constexpr std::uint64_t kFirstPause = 10'000;  // microseconds; each next one is twice as long
constexpr int kMostTries = 10;                 // the last pause is of five seconds

int check(int status, const char* operation) {
  if (status < 0) throw std::system_error(-status, std::generic_category(), operation);
  return status;
}

SdEvent newEvent() {
  sd_event* event = nullptr;
  check(sd_event_new(&event), "sd_event_new");
  return SdEvent(event);
}

/// The folder of the system bus's socket; empty when it is no socket of a file.
std::string socketFolder() {
  const char* const environment = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
  const std::string_view address = environment ? environment : "unix:path=/run/dbus/system_bus_socket";
  constexpr std::string_view kKind = "unix:path=";
  if (!address.starts_with(kKind)) return {};
  const std::string_view path = address.substr(kKind.size(), address.find_first_of(",;") - kKind.size());
  return std::string(path.substr(0, path.rfind('/')));
}

/// Whether @p message comes from @p sender. Signals have to be asked: anybody may send one to this connection alone,
/// and the library takes it for the service's that was subscribed to by its well-known name.
bool comesFrom(sd_bus_message* message, std::string_view sender) {
  const char* const own = sd_bus_message_get_sender(message);
  return own && own == sender;
}

/// Enters the value in the answer about a property. @return whether it is there and of @p type.
bool enterProperty(sd_bus_message& answer, const char* type) {
  return sd_bus_message_is_method_error(&answer, nullptr) <= 0 &&
         sd_bus_message_enter_container(&answer, 'v', type) > 0;
}

}  // namespace

std::shared_ptr<JVPlatform::RunLoopSource> watchSession(std::function<void(bool active)> changed) noexcept try {
  return std::make_shared<SessionWatch>(std::move(changed));
} catch (...) {
  return nullptr;
}

SessionWatch::SessionWatch(std::function<void(bool active)> changed)
    : changed_(std::move(changed)),
      event_(newEvent()),
      descriptor_(check(sd_event_get_fd(event_.get()), "sd_event_get_fd")) {
  sd_event_source* source = nullptr;
  check(sd_event_add_time(event_.get(), &source, CLOCK_MONOTONIC, UINT64_MAX, 0, onJoinTime, this), "timer");
  joinTime_.reset(source);
  sd_event_source_set_enabled(joinTime_.get(), SD_EVENT_OFF);
  watchFolder();
  join();
  processEvents();  // tells the kernel what to wait for
}

SessionWatch::~SessionWatch() { disconnect(); }

void SessionWatch::processEvents() const {
  while (sd_event_run(event_.get(), 0) > 0) {
  }
}

void SessionWatch::perform() {
  processEvents();
  for (const bool active : std::exchange(untold_, {})) changed_(active);
}

// ---------------------------------------------------------------------------------------------------------------------
// The bus

/// Watches the folder of the socket, or what there is of the way to it.
void SessionWatch::watchFolder() {
  constexpr std::uint32_t kEvents = IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
  std::string folder = socketFolder();
  std::string below;  // the next folder on the way, which is not there
  while (!folder.empty()) {
    sd_event_source* source = nullptr;
    const int status = sd_event_add_inotify(event_.get(), &source, folder.c_str(), kEvents, onFolder, this);
    if (status >= 0) {
      folder_.reset(source);
      if (below.empty() || access(below.c_str(), F_OK) != 0) return;
      folder = socketFolder();  // it came meanwhile
      below.clear();
    } else {
      if (status != -ENOENT || folder == "/") break;
      below = folder;
      folder.erase(std::max<std::size_t>(folder.rfind('/'), 1));
    }
  }
  folder_.reset();
}

int SessionWatch::connect() {
  sd_bus* bus = nullptr;
  int status = sd_bus_open_system(&bus);
  if (status < 0) return status;
  bus_.reset(bus);
  constexpr const char* kLocal = "org.freedesktop.DBus.Local";
  constexpr const char* kManagerOwner =
      "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',interface='org.freedesktop.DBus',"
      "member='NameOwnerChanged',arg0='org.freedesktop.login1'";
  sd_bus_slot* slot = nullptr;
  status =
      sd_bus_match_signal_async(bus, &slot, kLocal, nullptr, kLocal, "Disconnected", onDisconnected, nullptr, this);
  if (status < 0) return status;
  disconnected_.reset(slot);
  status = sd_bus_add_match_async(bus, &slot, kManagerOwner, onManagerOwner, nullptr, this);
  if (status < 0) return status;
  managerOwner_.reset(slot);
  status = sd_bus_match_signal_async(bus, &slot, login::kService, login::kPath, login::kManager, "SessionNew",
                                     onNewSession, nullptr, this);
  if (status < 0) return status;
  newSession_.reset(slot);
  status = sd_bus_attach_event(bus, event_.get(), SD_EVENT_PRIORITY_NORMAL);
  if (status < 0) return status;
  findSession();
  return 0;
}

void SessionWatch::disconnect() {
  for (SdSlot* const slot : {&question_, &properties_, &newSession_, &managerOwner_, &disconnected_}) slot->reset();
  if (bus_) sd_bus_detach_event(bus_.get());
  bus_.reset();
  manager_.clear();
}

void SessionWatch::joinSoon() {
  if (tries_ >= kMostTries) return;
  sd_event_source_set_time_relative(joinTime_.get(), kFirstPause << tries_++);
  sd_event_source_set_enabled(joinTime_.get(), SD_EVENT_ONESHOT);
}

void SessionWatch::join() {
  sd_event_source_set_enabled(joinTime_.get(), SD_EVENT_OFF);
  disconnect();
  const int status = connect();
  // Where there is no socket, the folder tells when there is one.
  if (status < 0 && !(status == -ENOENT && folder_)) joinSoon();
}

int SessionWatch::onJoinTime(sd_event_source*, std::uint64_t, void* self) noexcept {
  static_cast<SessionWatch*>(self)->join();
  return 0;
}

int SessionWatch::onFolder(sd_event_source*, const inotify_event*, void* self) noexcept {
  auto& watch = *static_cast<SessionWatch*>(self);
  watch.watchFolder();  // it may have come, or gone
  if (watch.bus_ && sd_bus_is_open(watch.bus_.get()) > 0) return 0;
  watch.tries_ = 0;
  watch.join();
  return 0;
}

// The connection is still in use by whoever calls this, so a new one has to wait.
int SessionWatch::onDisconnected(sd_bus_message*, void* self, sd_bus_error*) noexcept {
  static_cast<SessionWatch*>(self)->joinSoon();
  return 0;
}

int SessionWatch::onManagerOwner(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  const char* name = nullptr;
  const char* before = nullptr;
  const char* now = nullptr;
  if (!comesFrom(message, "org.freedesktop.DBus") || sd_bus_message_read(message, "sss", &name, &before, &now) <= 0) {
    return 0;
  }
  auto& watch = *static_cast<SessionWatch*>(self);
  watch.manager_ = now;
  if (!watch.manager_.empty()) watch.findSession();
  return 0;
}

// A service of the user's may run before and between sessions.
int SessionWatch::onNewSession(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  auto& watch = *static_cast<SessionWatch*>(self);
  if (comesFrom(message, watch.manager_)) watch.findSession();
  return 0;
}

// ---------------------------------------------------------------------------------------------------------------------
// Questions, one at a time

/// The bus lets nobody but the one who was asked answer, itself aside. What the manager signals before its first answer
/// needs no look: it answers with what is so afterwards.
template <SessionWatch::Step step>
int SessionWatch::onAnswer(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  auto& watch = *static_cast<SessionWatch*>(self);
  watch.tries_ = 0;  // the bus is there
  const char* const sender = sd_bus_message_get_sender(message);
  if (sender && *sender == ':') watch.manager_ = sender;
  (watch.*step)(*message);
  return 0;
}

template <SessionWatch::Step step>
void SessionWatch::ask(SdMessage call) {
  sd_bus_slot* slot = nullptr;
  if (call && sd_bus_call_async(bus_.get(), &slot, call.get(), onAnswer<step>, this, 0) >= 0) question_.reset(slot);
}

void SessionWatch::findSession() {
  search_ = OwnSession(bus_.get());
  askNext();
}

void SessionWatch::askNext() {
  if (SdMessage question = search_.question()) return ask<&SessionWatch::takeStep>(std::move(question));
  if (!search_.path().empty()) follow();
}

void SessionWatch::takeStep(sd_bus_message& answer) {
  search_.take(&answer);
  askNext();
}

// ---------------------------------------------------------------------------------------------------------------------
// The session

// The bus works on what it is sent in order: what changes after the answer is announced.
void SessionWatch::follow() {
  const char* const session = search_.path().c_str();
  sd_bus_slot* slot = nullptr;
  if (sd_bus_match_signal_async(bus_.get(), &slot, login::kService, session, "org.freedesktop.DBus.Properties",
                                "PropertiesChanged", onChanges, nullptr, this) < 0) {
    return;
  }
  properties_.reset(slot);
  ask<&SessionWatch::takeActive>(loginPropertyCall(bus_.get(), session, login::kSession, "Active"));
}

void SessionWatch::takeActive(sd_bus_message& answer) {
  int active = 0;
  if (enterProperty(answer, "b") && sd_bus_message_read(&answer, "b", &active) > 0) learn(active != 0, false);
}

int SessionWatch::onChanges(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  auto& watch = *static_cast<SessionWatch*>(self);
  if (comesFrom(message, watch.manager_)) watch.takeChanges(*message);
  return 0;
}

void SessionWatch::takeChanges(sd_bus_message& signal) {
  const char* interface = nullptr;
  if (sd_bus_message_read(&signal, "s", &interface) <= 0 || std::strcmp(interface, login::kSession) != 0) return;
  if (sd_bus_message_enter_container(&signal, 'a', "{sv}") <= 0) return;
  while (sd_bus_message_enter_container(&signal, 'e', "sv") > 0) {
    const char* name = nullptr;
    int active = 0;
    if (sd_bus_message_read(&signal, "s", &name) <= 0) return;
    if (std::strcmp(name, "Active") == 0) {
      if (sd_bus_message_read(&signal, "v", "b", &active) > 0) learn(active != 0, true);
      return;
    }
    if (sd_bus_message_skip(&signal, "v") < 0 || sd_bus_message_exit_container(&signal) < 0) return;
  }
}

/// What is known for the first time is news only if it was announced as a change.
void SessionWatch::learn(bool active, bool announced) {
  const std::optional<bool> before = std::exchange(active_, active);
  if (before ? *before != active : announced) untold_.push_back(active);
}

}  // namespace jv
