#include <JorvaneFoundation/platform/ProcessInformation.h>

#include <errno.h>
#include <sys/utsname.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

#include "platform/Defaults.h"
#include "platform/fact_origins.h"
#include "platform/linux/machine_facts.h"

namespace jv {
namespace {

using JVPlatform::Fact;

constexpr int kHardwareModel[] = {6, 2};

/// The numbers at the front of a kernel's release, "6.1.0-38-amd64" for example; 0 for those that are not there.
NSOperatingSystemVersion versionOf(std::string_view release) {
  NSOperatingSystemVersion version{};
  const char* at = release.data();
  const char* const end = at + release.size();
  for (std::int64_t* const part : {&version.majorVersion, &version.minorVersion, &version.patchVersion}) {
    const auto [next, error] = std::from_chars(at, end, *part);
    if (error != std::errc() || next == end || *next != '.') break;
    at = next + 1;
  }
  return version;
}

class LinuxProcessInformation final : public JVPlatform::ProcessInformation {
 public:
  NSOperatingSystemVersion operatingSystemVersion() override {
    utsname names;
    if (uname(&names) != 0) return {};
    noteOrigin(Fact::systemVersion, "kernel's release");
    return versionOf(names.release);
  }

  std::string operatingSystemVersionString() override {
    const auto found = systemText("");
    noteOrigin(Fact::systemText, found ? found->origin : nullptr);
    return found ? found->text : "Linux";
  }

  std::int64_t executableArchitecture() override {
    noteOrigin(Fact::architecture, "the library's own build");
#if defined(__x86_64__)
    return JVPlatform::NSBundleExecutableArchitectureX86_64;
#elif defined(__i386__)
    return JVPlatform::NSBundleExecutableArchitectureI386;
#elif defined(__aarch64__)
    return JVPlatform::NSBundleExecutableArchitectureARM64;
#elif defined(__arm__)
    return JVPlatform::NSBundleExecutableArchitectureARM;
#elif defined(__powerpc64__)
    return JVPlatform::NSBundleExecutableArchitecturePPC64;
#elif defined(__powerpc__)
    return JVPlatform::NSBundleExecutableArchitecturePPC;
#else
    return 0;
#endif
  }

  std::string processName() override { return program_invocation_short_name; }

  // A program's desktop file is known to the desktop alone.
  std::optional<std::string> bundleIdentifier() override { return std::nullopt; }

  int sysctl(std::span<const int> name, void* value, std::size_t* size) override {
    if (!std::ranges::equal(name, kHardwareModel)) return -1;
    const auto found = computerModel("");
    noteOrigin(Fact::computerModel, found ? found->origin : nullptr);
    if (!found) return -1;
    const std::size_t needed = found->text.size() + 1;
    if (value && *size < needed) return -1;
    if (value) std::memcpy(value, found->text.c_str(), needed);
    *size = needed;
    return 0;
  }
};

}  // namespace

std::shared_ptr<JVPlatform::ProcessInformation> makeProcessInformation() {
  return std::make_shared<LinuxProcessInformation>();
}

}  // namespace jv
