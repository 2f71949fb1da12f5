#include <JorvaneFoundation/system/NSProcessInfo.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <memory>

#include <JorvaneFoundation/platform/ProcessInformation.h>

namespace JVFoundation {
namespace {

struct Architecture {
  std::int64_t code;
  const char* name;
};

constexpr Architecture kArchitectures[] = {
    {JVPlatform::NSBundleExecutableArchitectureI386, "i386"},
    {JVPlatform::NSBundleExecutableArchitecturePPC, "PPC"},
    {JVPlatform::NSBundleExecutableArchitectureX86_64, "x86_64"},
    {JVPlatform::NSBundleExecutableArchitecturePPC64, "PPC64"},
};

const char* nameOf(std::int64_t architecture) {
  const auto* const row = std::ranges::find(kArchitectures, architecture, &Architecture::code);
  return row == std::end(kArchitectures) ? "(unknown architecture)" : row->name;
}

}  // namespace

const NSProcessInfo& NSProcessInfo::processInfo() noexcept {
  static const auto& only = *new NSProcessInfo;
  return only;
}

NSProcessInfo::~NSProcessInfo() = default;

std::string NSProcessInfo::operatingSystemVersionString() const {
  return JVPlatform::processInformation()->operatingSystemVersionString();
}

std::string NSProcessInfo::processName() const { return JVPlatform::processInformation()->processName(); }

std::string NSProcessInfo::operatingSystemVersionDescription() const {
  static constinit std::atomic<const std::string*> description{nullptr};
  if (const std::string* const known = description) return *known;
  const char* const architecture = nameOf(JVPlatform::processInformation()->executableArchitecture());
  auto made = std::make_unique<const std::string>("macOS " + operatingSystemVersionString() + " " + architecture);
  const std::string* first = nullptr;  // of two threads that make it, one is heard
  return description.compare_exchange_strong(first, made.get()) ? *made.release() : *first;
}

}  // namespace JVFoundation
