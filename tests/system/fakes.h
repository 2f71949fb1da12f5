/// The fakes of this room, each with what puts it in use for the length of a test.
#pragma once

#include "fakes/FakeProcess.h"
#include "fakes/FakeProcessInformation.h"
#include "fakes/FakeSystemConfiguration.h"
#include "support/installed.h"

#include <JorvaneFoundation/platform/AddressBook.h>
#include <JorvaneFoundation/platform/DeviceRegistry.h>
#include <JorvaneFoundation/platform/SystemLog.h>

namespace jvtest {

struct FakeAddressBook final : JVPlatform::AddressBook {
  std::optional<JVPlatform::ABPerson> me() override { return card; }
  std::optional<JVPlatform::ABPerson> card;
};

struct FakeDeviceRegistry final : JVPlatform::DeviceRegistry {
  using Properties = std::optional<JVFoundation::Value>;

  std::unique_ptr<JVPlatform::IOIterator> IOServiceGetMatchingServices(std::string_view name) override {
    return name == "IOHIDSystem" ? std::make_unique<Iterator>(services) : nullptr;
  }

  std::vector<Properties> services;

 private:
  struct Entry final : JVPlatform::IORegistryEntry {
    explicit Entry(Properties all) : properties(std::move(all)) {}
    Properties IORegistryEntryCreateCFProperties() override { return properties; }
    Properties properties;
  };
  struct Iterator final : JVPlatform::IOIterator {
    explicit Iterator(const std::vector<Properties>& all) : left(all.begin(), all.end()) {}
    std::unique_ptr<JVPlatform::IORegistryEntry> IOIteratorNext() override {
      if (left.empty()) return nullptr;
      auto next = std::make_unique<Entry>(left.front());
      left.pop_front();
      return next;
    }
    std::deque<Properties> left;
  };
};

struct FakeSystemLog final : JVPlatform::SystemLog {
  void log(std::string_view text) noexcept override { lines.emplace_back(text); }
  std::vector<std::string> lines;
};

using InstalledProcessInformation = Installed<FakeProcessInformation, JVPlatform::installProcessInformation>;
using InstalledSystemConfiguration = Installed<FakeSystemConfiguration, JVPlatform::installSystemConfiguration>;
using InstalledAddressBook = Installed<FakeAddressBook, JVPlatform::installAddressBook>;
using InstalledDeviceRegistry = Installed<FakeDeviceRegistry, JVPlatform::installDeviceRegistry>;
using InstalledSystemLog = Installed<FakeSystemLog, JVPlatform::installSystemLog>;

}  // namespace jvtest
