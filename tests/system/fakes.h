/// The fakes of this room, each with what puts it in use for the length of a test.
#pragma once

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

/// Has one service.
struct FakeDeviceRegistry final : JVPlatform::DeviceRegistry {
  struct Entry final : JVPlatform::IORegistryEntry {
    explicit Entry(FakeDeviceRegistry& own) : registry(own) {}
    std::optional<JVFoundation::Value> IORegistryEntryCreateCFProperties() override { return registry.properties; }
    FakeDeviceRegistry& registry;
  };
  struct Iterator final : JVPlatform::IOIterator {
    explicit Iterator(FakeDeviceRegistry& own) : next(std::make_unique<Entry>(own)) {}
    std::unique_ptr<JVPlatform::IORegistryEntry> IOIteratorNext() override { return std::move(next); }
    std::unique_ptr<Entry> next;
  };
  std::unique_ptr<JVPlatform::IOIterator> IOServiceGetMatchingServices(std::string_view) override {
    return std::make_unique<Iterator>(*this);
  }
  std::optional<JVFoundation::Value> properties;
};

struct FakeSystemLog final : JVPlatform::SystemLog {
  void log(std::string_view text) noexcept override { last = text; }
  std::string last;
};

using InstalledProcessInformation = Installed<FakeProcessInformation, JVPlatform::installProcessInformation>;
using InstalledSystemConfiguration = Installed<FakeSystemConfiguration, JVPlatform::installSystemConfiguration>;
using InstalledAddressBook = Installed<FakeAddressBook, JVPlatform::installAddressBook>;
using InstalledDeviceRegistry = Installed<FakeDeviceRegistry, JVPlatform::installDeviceRegistry>;
using InstalledSystemLog = Installed<FakeSystemLog, JVPlatform::installSystemLog>;

}  // namespace jvtest
