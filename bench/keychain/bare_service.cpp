#include "bare_service.h"

#include <cstdio>
#include <cstdlib>

namespace bare {
namespace {

constexpr const char* kPath = "/org/freedesktop/secrets";
constexpr const char* kService = "org.freedesktop.Secret.Service";
constexpr const char* kItem = "org.freedesktop.Secret.Item";

int checked(int result) {
  if (result >= 0) return result;
  std::fprintf(stderr, "the password service: error %d\n", -result);
  std::exit(1);
}

void append(sd_bus_message* message, const std::vector<std::pair<const char*, const char*>>& attributes) {
  checked(sd_bus_message_open_container(message, 'a', "{ss}"));
  for (const auto& [name, value] : attributes) checked(sd_bus_message_append(message, "{ss}", name, value));
  checked(sd_bus_message_close_container(message));
}

}  // namespace

Service::Service() { checked(sd_bus_open_user(&bus_)); }
Service::~Service() { sd_bus_flush_close_unref(bus_); }

sd_bus_message* Service::call(const char* path, const char* interface, const char* method) {
  sd_bus_message* message = nullptr;
  checked(sd_bus_message_new_method_call(bus_, &message, "org.freedesktop.secrets", path, interface, method));
  return message;
}

sd_bus_message* Service::answer(sd_bus_message* call) {
  sd_bus_message* reply = nullptr;
  checked(sd_bus_call(bus_, call, 0, nullptr, &reply));
  sd_bus_message_unref(call);
  return reply;
}

void Service::openSession() {
  sd_bus_message* const message = call(kPath, kService, "OpenSession");
  checked(sd_bus_message_append(message, "sv", "plain", "s", ""));
  sd_bus_message* const reply = answer(message);
  const char* path = nullptr;
  checked(sd_bus_message_skip(reply, "v"));
  checked(sd_bus_message_read(reply, "o", &path));
  session_ = path;
  sd_bus_message_unref(reply);
}

std::vector<std::string> Service::search(const Attributes& attributes) {
  sd_bus_message* const message = call(kPath, kService, "SearchItems");
  append(message, attributes);
  sd_bus_message* const reply = answer(message);
  std::vector<std::string> paths;
  checked(sd_bus_message_enter_container(reply, 'a', "o"));
  for (const char* path = nullptr; checked(sd_bus_message_read(reply, "o", &path)) > 0;) paths.emplace_back(path);
  sd_bus_message_unref(reply);
  return paths;
}

void Service::readAttributes(const std::string& item) {
  sd_bus_message* const message = call(item.c_str(), "org.freedesktop.DBus.Properties", "GetAll");
  checked(sd_bus_message_append(message, "s", kItem));
  sd_bus_message* const reply = answer(message);
  checked(sd_bus_message_skip(reply, "a{sv}"));
  sd_bus_message_unref(reply);
}

std::size_t Service::read(const Attributes& attributes) {
  const std::vector<std::string> items = search(attributes);
  for (const std::string& item : items) readAttributes(item);
  sd_bus_message* const message = call(kPath, kService, "GetSecrets");
  checked(sd_bus_message_open_container(message, 'a', "o"));
  for (const std::string& item : items) checked(sd_bus_message_append(message, "o", item.c_str()));
  checked(sd_bus_message_close_container(message));
  checked(sd_bus_message_append(message, "o", session_.c_str()));
  sd_bus_message* const reply = answer(message);
  std::size_t total = 0;
  checked(sd_bus_message_enter_container(reply, 'a', "{o(oayays)}"));
  while (checked(sd_bus_message_enter_container(reply, 'e', "o(oayays)")) > 0) {
    const void* bytes = nullptr;
    std::size_t size = 0;
    checked(sd_bus_message_skip(reply, "o"));
    checked(sd_bus_message_enter_container(reply, 'r', "oayays"));
    checked(sd_bus_message_skip(reply, "oay"));
    checked(sd_bus_message_read_array(reply, 'y', &bytes, &size));
    checked(sd_bus_message_skip(reply, "s"));
    checked(sd_bus_message_exit_container(reply));
    checked(sd_bus_message_exit_container(reply));
    total += size;
  }
  sd_bus_message_unref(reply);
  return total;
}

void Service::appendSecret(sd_bus_message* message, const std::string& secret) {
  checked(sd_bus_message_open_container(message, 'r', "oayays"));
  checked(sd_bus_message_append(message, "oay", session_.c_str(), 0));
  checked(sd_bus_message_append_array(message, 'y', secret.data(), secret.size()));
  checked(sd_bus_message_append(message, "s", "text/plain"));
  checked(sd_bus_message_close_container(message));
}

void Service::replace(const Attributes& attributes, const std::string& secret) {
  const std::vector<std::string> items = search(attributes);
  readAttributes(items.at(0));
  sd_bus_message* const message = call(items.at(0).c_str(), kItem, "SetSecret");
  appendSecret(message, secret);
  sd_bus_message_unref(answer(message));
}

void Service::create(const Attributes& attributes, const std::string& secret) {
  search(attributes);
  sd_bus_message* const message =
      call("/org/freedesktop/secrets/aliases/default", "org.freedesktop.Secret.Collection", "CreateItem");
  checked(sd_bus_message_open_container(message, 'a', "{sv}"));
  checked(sd_bus_message_append(message, "{sv}", "org.freedesktop.Secret.Item.Label", "s", "label"));
  checked(sd_bus_message_open_container(message, 'e', "sv"));
  checked(sd_bus_message_append(message, "s", "org.freedesktop.Secret.Item.Attributes"));
  checked(sd_bus_message_open_container(message, 'v', "a{ss}"));
  append(message, attributes);
  for (int containers = 3; containers > 0; --containers) checked(sd_bus_message_close_container(message));
  appendSecret(message, secret);
  checked(sd_bus_message_append(message, "b", 0));
  sd_bus_message_unref(answer(message));
}

}  // namespace bare
