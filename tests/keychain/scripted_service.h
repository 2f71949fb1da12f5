/// A password service with two items, /item/0 and /item/1, that does what a test says, and writes down what it is
/// asked.
#pragma once

#include <systemd/sd-bus.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace jvtest {

class ScriptedService {
 public:
  /// Takes a call; false leaves it to the service's usual answer.
  using Handler = std::function<bool(sd_bus_message*)>;

  std::map<std::string, Handler> handlers;  ///< by the name of the method; set before `start`

  ScriptedService() = default;
  ScriptedService(const ScriptedService&) = delete;
  ScriptedService& operator=(const ScriptedService&) = delete;
  ~ScriptedService() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    sd_bus_close_unref(bus_);
  }

  /// Owns the service's name from now on, or as soon as its owner goes away.
  void start() {
    if (sd_bus_open_user(&bus_) < 0) throw std::runtime_error("no session bus");
    sd_bus_add_filter(bus_, nullptr, onMessage, this);
    sd_bus_request_name(bus_, "org.freedesktop.secrets", SD_BUS_NAME_QUEUE);
    thread_ = std::thread([this] {
      constexpr std::uint64_t kLookForTheEnd = 20'000;  // microseconds
      while (!stop_) {
        if (sd_bus_process(bus_, nullptr) == 0) sd_bus_wait(bus_, kLookForTheEnd);
      }
      sd_bus_close(bus_);
    });
  }

  /// Goes away without an answer to the call that it has.
  void die() { stop_ = true; }

  /// The names of the methods called so far.
  std::vector<std::string> calls() {
    const std::lock_guard lock(mutex_);
    return calls_;
  }

 private:
  static int onMessage(sd_bus_message* message, void* self, sd_bus_error*) {
    const bool isCall = sd_bus_message_is_method_call(message, nullptr, nullptr) > 0;
    if (isCall) static_cast<ScriptedService*>(self)->take(message);
    return isCall ? 1 : 0;
  }

  void take(sd_bus_message* call) {
    const std::string name = sd_bus_message_get_member(call);
    {
      const std::lock_guard lock(mutex_);
      calls_.push_back(name);
    }
    const auto handler = handlers.find(name);
    if (handler != handlers.end() && handler->second(call)) return;
    if (name == "OpenSession") {
      sd_bus_reply_method_return(call, "vo", "s", "", "/session");
    } else if (name == "GetAll") {
      sd_bus_reply_method_return(call, "a{sv}", 4, "Locked", "b", 0, "Attributes", "a{ss}", 3, "xdg:schema",
                                 "org.gnome.keyring.NetworkPassword", "server", "h", "user", "u", "Label", "s", "label",
                                 "Created", "t", std::uint64_t{7});
    } else if (name == "SearchItems") {
      sd_bus_reply_method_return(call, "aoao", 2, "/item/0", "/item/1", 0);
    } else if (name == "GetSecrets") {
      sd_bus_reply_method_return(call, "a{o(oayays)}", 2, "/item/0", "/session", 0, 1, '0', "text/plain", "/item/1",
                                 "/session", 0, 1, '1', "text/plain");
    } else {
      sd_bus_reply_method_return(call, nullptr);
    }
  }

  sd_bus* bus_ = nullptr;
  std::thread thread_;
  std::atomic<bool> stop_ = false;
  std::mutex mutex_;
  std::vector<std::string> calls_;
};

}  // namespace jvtest
