/// The fakes of this room, each with what puts it in use for the length of a test.
#pragma once

#include "fakes/FakeProcess.h"
#include "fakes/FakeProcessInformation.h"
#include "fakes/FakeSystemConfiguration.h"
#include "support/installed.h"

#include <JorvaneFoundation/platform/AddressBook.h>
#include <JorvaneFoundation/platform/DeviceRegistry.h>
#include <JorvaneFoundation/platform/SystemLog.h>
#include <JorvaneFoundation/platform/Workspace.h>

namespace jvtest {

struct FakeAddressBook final : JVPlatform::AddressBook {
  std::optional<JVPlatform::ABPerson> me() override { return card; }
  std::optional<JVPlatform::ABPerson> card;
};

/// Counts what is given out and not yet given back.
struct FakeDeviceRegistry final : JVPlatform::DeviceRegistry {
  using Properties = std::optional<JVFoundation::Value>;

  std::unique_ptr<JVPlatform::IOIterator> IOServiceGetMatchingServices(std::string_view name) override {
    asked = name;
    return hasIterator ? std::make_unique<Iterator>(*this) : nullptr;
  }

  bool hasIterator = true;
  std::vector<Properties> services;
  std::string asked;
  int open = 0;

 private:
  template <class Interface>
  struct Counted : Interface {
    explicit Counted(FakeDeviceRegistry& own) : registry(own) { ++registry.open; }
    ~Counted() override { --registry.open; }
    FakeDeviceRegistry& registry;
  };
  struct Entry final : Counted<JVPlatform::IORegistryEntry> {
    Entry(FakeDeviceRegistry& own, Properties all) : Counted(own), properties(std::move(all)) {}
    Properties IORegistryEntryCreateCFProperties() override { return properties; }
    Properties properties;
  };
  struct Iterator final : Counted<JVPlatform::IOIterator> {
    using Counted::Counted;
    std::unique_ptr<JVPlatform::IORegistryEntry> IOIteratorNext() override {
      if (next == registry.services.size()) return nullptr;
      return std::make_unique<Entry>(registry, registry.services[next++]);
    }
    std::size_t next = 0;
  };
};

struct FakeSystemLog final : JVPlatform::SystemLog {
  void log(std::string_view text) noexcept override { lines.emplace_back(text); }
  std::vector<std::string> lines;
};

/// Its sources are hung on the main run loop as real ones are, and never have anything to say.
struct FakeWorkspace final : JVPlatform::Workspace {
  JVFoundation::NSNotificationCenter& notificationCenter() override { return center; }
  std::shared_ptr<JVPlatform::RunLoopSource> createRunLoopSource() override {
    ++asked;
    return source;
  }
  int asked = 0;  ///< times for a source
  JVFoundation::NSNotificationCenter center;
  std::shared_ptr<JVPlatform::RunLoopSource> source;
};

using InstalledProcessInformation = Installed<FakeProcessInformation, JVPlatform::installProcessInformation>;
using InstalledSystemConfiguration = Installed<FakeSystemConfiguration, JVPlatform::installSystemConfiguration>;
using InstalledAddressBook = Installed<FakeAddressBook, JVPlatform::installAddressBook>;
using InstalledDeviceRegistry = Installed<FakeDeviceRegistry, JVPlatform::installDeviceRegistry>;
using InstalledSystemLog = Installed<FakeSystemLog, JVPlatform::installSystemLog>;
using InstalledWorkspace = Installed<FakeWorkspace, JVPlatform::installWorkspace>;

}  // namespace jvtest
