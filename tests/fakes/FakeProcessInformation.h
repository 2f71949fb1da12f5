/// A process and a system as a test wants them.
#pragma once

#include <JorvaneFoundation/platform/ProcessInformation.h>

#include <cstring>
#include <string>

namespace jvtest {

struct FakeProcessInformation final : JVPlatform::ProcessInformation {
  NSOperatingSystemVersion operatingSystemVersion() override { return version; }
  std::string operatingSystemVersionString() override { return "1.2.3"; }
  std::int64_t executableArchitecture() override { return architecture; }
  std::string processName() override { return "program"; }
  std::optional<std::string> bundleIdentifier() override { return identifier; }
  int sysctl(std::span<const int>, void* value, std::size_t* size) override {
    if (!value) {
      *size = claimedSize.value_or(model.size());
      return 0;
    }
    if (*size < model.size()) return -1;
    std::memcpy(value, model.data(), model.size());
    *size = model.size();
    return 0;
  }

  NSOperatingSystemVersion version{};
  std::int64_t architecture = 0;
  std::optional<std::string> identifier;
  std::string model;  ///< with the zero byte at its end
  std::optional<std::size_t> claimedSize;
};

}  // namespace jvtest
