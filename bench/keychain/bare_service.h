/// The password service by bare sd-bus calls, one after the other: the floor.
#pragma once

#include <systemd/sd-bus.h>

#include <cstddef>
#include <string>
#include <vector>

namespace bare {

/// Ends the program when the service does not answer as expected.
class Service {
 public:
  Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;
  ~Service();

  void openSession();
  /// Search, all attributes of each item, and all secrets at once. Gives the number of bytes of the secrets.
  std::size_t read(const std::vector<std::pair<const char*, const char*>>& attributes);
  /// Search, attributes, and a new secret for the item.
  void replace(const std::vector<std::pair<const char*, const char*>>& attributes, const std::string& secret);
  /// Search, and a new item.
  void create(const std::vector<std::pair<const char*, const char*>>& attributes, const std::string& secret);

 private:
  using Attributes = std::vector<std::pair<const char*, const char*>>;
  sd_bus_message* call(const char* path, const char* interface, const char* method);
  sd_bus_message* answer(sd_bus_message* call);
  std::vector<std::string> search(const Attributes& attributes);
  void readAttributes(const std::string& item);
  void appendSecret(sd_bus_message* message, const std::string& secret);

  sd_bus* bus_ = nullptr;
  std::string session_;
};

}  // namespace bare
