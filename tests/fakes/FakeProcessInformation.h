/// A process and a system as a test wants them.
#pragma once

#include <JorvaneFoundation/platform/ProcessInformation.h>

#include <string>

namespace jvtest {

struct FakeProcessInformation final : JVPlatform::ProcessInformation {
  NSOperatingSystemVersion operatingSystemVersion() override { return version; }
  std::string operatingSystemVersionString() override { return "1.2.3"; }
  std::int64_t executableArchitecture() override { return 0; }
  std::string processName() override { return "program"; }
  std::optional<std::string> bundleIdentifier() override { return identifier; }
  int sysctl(std::span<const int>, void* value, std::size_t* size) override {
    if (value == nullptr) *size = claimedSize;
    const bool fits = *size >= model.size();
    if (value != nullptr && fits) *size = model.copy(static_cast<char*>(value), model.size());
    return value == nullptr || fits ? 0 : -1;
  }

  NSOperatingSystemVersion version{};
  std::optional<std::string> identifier;
  std::string model;
  std::size_t claimedSize = 0;  ///< of the model
};

}  // namespace jvtest
