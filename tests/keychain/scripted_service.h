/// A password service with two items, with their numbers as account and password, that does what a test says, and
/// writes down what it is asked.
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

  /// Owns the service's name from now on, or as soon as its owner goes away.
  void start() {
    if (sd_bus_open_user(&bus_) < 0) throw std::runtime_error("no session bus");
    sd_bus_add_filter(bus_, nullptr, onMessage, this);
    sd_bus_request_name(bus_, "org.freedesktop.secrets", SD_BUS_NAME_QUEUE);
    thread_ = std::thread([this] { run(); });
  }
  ScriptedService() = default;
  ScriptedService(const ScriptedService&) = delete;
  ScriptedService& operator=(const ScriptedService&) = delete;
  ~ScriptedService() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    sd_bus_close_unref(bus_);
  }

  /// For handlers: goes away without an answer.
  bool die() {
    stop_ = true;
    return true;
  }
  static bool fail(sd_bus_message* call, const char* error) {
    sd_bus_reply_method_errorf(call, error, "as the script says");
    return true;
  }

  /// The names of the methods called so far.
  std::vector<std::string> calls() {
    const std::lock_guard lock(mutex_);
    return calls_;
  }

  /// For handlers: one item, which is locked, and answers with hashes for its attributes as long as it is.
  static bool answerOneLocked(sd_bus_message* call) {
    sd_bus_reply_method_return(call, "aoao", 0, 1, "/item/0");
    return true;
  }
  static bool answerHashes(sd_bus_message* call) {
    sd_bus_reply_method_return(call, "a{sv}", 4, "Locked", "b", 1, "Attributes", "a{ss}", 1, "gkr:compat:hashed:server",
                               "2510c39011c5be704182423e3a695e91", "Label", "s", "", "Created", "t", std::uint64_t{0});
    return true;
  }
  static bool answerUnlock(sd_bus_message* call, const char* prompt) {
    sd_bus_reply_method_return(call, "aoo", 0, prompt);
    return true;
  }

 private:
  static int onMessage(sd_bus_message* message, void* self, sd_bus_error*) {
    std::uint8_t type = 0;
    sd_bus_message_get_type(message, &type);
    if (type != SD_BUS_MESSAGE_METHOD_CALL) return 0;
    static_cast<ScriptedService*>(self)->take(message);
    return 1;
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
      sd_bus_reply_method_return(call, "a{sv}", 4, "Locked", "b", 0, "Attributes", "a{ss}", 5, "xdg:schema",
                                 "org.gnome.keyring.NetworkPassword", "server", "h", "user", "u", "service", "s",
                                 "username", sd_bus_message_get_path(call) + 6, "Label", "s", "label", "Created", "t",
                                 std::uint64_t{7});
    } else if (name == "SearchItems") {
      sd_bus_reply_method_return(call, "aoao", 2, "/item/0", "/item/1", 0);
    } else if (name == "GetSecrets") {
      answerSecrets(call);
    } else if (name == "CreateItem") {
      sd_bus_reply_method_return(call, "oo", "/item/0", "/");
    } else {
      sd_bus_reply_method_return(call, nullptr);
    }
  }

  static void answerSecrets(sd_bus_message* call) {
    sd_bus_message* reply = nullptr;
    sd_bus_message_new_method_return(call, &reply);
    sd_bus_message_enter_container(call, 'a', "o");
    sd_bus_message_open_container(reply, 'a', "{o(oayays)}");
    for (const char* path = nullptr; sd_bus_message_read(call, "o", &path) > 0;) {
      sd_bus_message_append(reply, "{o(oayays)}", path, "/session", 0, 1, path[6], "text/plain");
    }
    sd_bus_message_close_container(reply);
    sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
  }

  void run() {
    constexpr std::uint64_t kLookForTheEnd = 20'000;  // microseconds
    while (!stop_) {
      const int result = sd_bus_process(bus_, nullptr);
      if (result < 0) return;
      if (result == 0) sd_bus_wait(bus_, kLookForTheEnd);
    }
    sd_bus_close(bus_);
  }

  sd_bus* bus_ = nullptr;
  std::thread thread_;
  std::atomic<bool> stop_ = false;
  std::mutex mutex_;
  std::vector<std::string> calls_;
};

}  // namespace jvtest
