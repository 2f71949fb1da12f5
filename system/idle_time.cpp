// JVUtilities: how long the machine has been idle.

#include <JorvaneFoundation/system/JVUtilities.h>

#include <algorithm>
#include <cstring>

#include <JorvaneFoundation/platform/DeviceRegistry.h>
#include <JorvaneFoundation/platform/SystemLog.h>

namespace {

using JVFoundation::Value;

/// All properties of the first input service; none when there is no such thing.
std::optional<Value> inputProperties() {
  const auto services = JVPlatform::deviceRegistry()->IOServiceGetMatchingServices(JVPlatform::kIOHIDSystemClass);
  if (!services) return std::nullopt;
  const auto service = services->IOIteratorNext();
  return service ? service->IORegistryEntryCreateCFProperties() : std::nullopt;
}

/// The count of nanoseconds that @p value holds: in the first eight bytes of data, in host order (those that are not
/// there count 0), or as a number.
std::uint64_t nanosecondsIn(const Value& value) {
  if (const Value::Data* const data = value.data()) {
    std::uint64_t count = 0;
    if (!data->empty()) std::memcpy(&count, data->data(), std::min(data->size(), sizeof count));
    return count;
  }
  if (const auto* const number = value.number()) return static_cast<std::uint64_t>(number->longLongValue());
  JVPlatform::systemLog()->log(std::to_string(static_cast<unsigned long>(value.kind())) + ": unsupported type");
  return 0;
}

}  // namespace

bool JVUtilities::isMachineIdleForMinutes(std::uint64_t minutes) {
  const auto properties = inputProperties();
  if (!properties) return false;
  const Value* const found = properties->find(JVPlatform::kIOHIDIdleTimeKey);
  if (!found) {
    JVPlatform::systemLog()->log("Can't find idle timen");
    return false;
  }
  // Seconds of 2^30 nanoseconds, and minutes that wrap around: as it has always been.
  constexpr int kSecond = 30;
  constexpr std::uint64_t kSecondsOfMinute = 60;
  return nanosecondsIn(*found) >> kSecond > minutes * kSecondsOfMinute;
}
