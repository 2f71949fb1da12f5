// JVUtilities: versions of the system.

#include <JorvaneFoundation/system/JVUtilities.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <limits>
#include <tuple>

#include <JorvaneFoundation/platform/ProcessInformation.h>
#include <JorvaneFoundation/tasks/NSTask.h>

#include "system/YesNoCache.h"

namespace {

using Limits = std::numeric_limits<std::int64_t>;

/// The number at the front of @p text, behind white space and one sign.
std::int64_t integerValue(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  std::uint64_t digits = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), digits);
  constexpr auto kMost = static_cast<std::uint64_t>(Limits::max());
  if (error == std::errc::result_out_of_range || digits > kMost) return negative ? Limits::min() : Limits::max();
  const auto value = static_cast<std::int64_t>(digits);
  return negative ? -value : value;
}

auto partsOf(const NSOperatingSystemVersion& version) {
  return std::tuple(version.majorVersion, version.minorVersion, version.patchVersion);
}

bool runsAtLeast(const NSOperatingSystemVersion& threshold, jv::YesNoCache& cache) {
  if (const auto known = cache.answer()) return *known;
  const NSOperatingSystemVersion running = JVPlatform::processInformation()->operatingSystemVersion();
  const bool answer = partsOf(running) >= partsOf(threshold);
  cache.set(answer);
  return answer;
}

}  // namespace

NSOperatingSystemVersion JVUtilities::operatingSystemVersionFromString(std::optional<std::string_view> text) {
  if (!text || std::ranges::count(*text, '.') != 2) return {};
  const std::size_t first = text->find('.');
  const std::size_t second = text->rfind('.');
  return {integerValue(text->substr(0, first)), integerValue(text->substr(first + 1, second - first - 1)),
          integerValue(text->substr(second + 1))};
}

std::string JVUtilities::stringFromOperatingSystemVersion(const NSOperatingSystemVersion& version) {
  return std::to_string(version.majorVersion) + "." + std::to_string(version.minorVersion) + "." +
         std::to_string(version.patchVersion);
}

bool JVUtilities::runningOnMojave() {
  static constinit jv::YesNoCache cache;
  return runsAtLeast({10, 14, 0}, cache);
}

bool JVUtilities::runningOnCatalina() {
  static constinit jv::YesNoCache cache;
  return runsAtLeast({10, 15, 0}, cache);
}

bool JVUtilities::runningOnBigSur() {
  static constinit jv::YesNoCache cache;
  return runsAtLeast({11, 0, 0}, cache);
}

bool JVUtilities::isSIPEnabled() {
  static constinit jv::YesNoCache cache;
  if (const auto known = cache.answer()) return *known;
  const auto result = JVFoundation::NSTask::launchSyncWithPath("/usr/bin/csrutil", {"status"});
  const std::string* const output = result.text("JVTaskOutput");
  const JVFoundation::NSNumber* const status = result.number("JVTaskStatus");
  if (!status || status->intValue() != 0 || !output || output->empty()) return false;
  const bool enabled = output->find(": enabled.") != output->npos;
  cache.set(enabled);
  return enabled;
}
