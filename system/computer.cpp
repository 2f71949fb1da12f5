// JVUtilities: the computer's name and model.

#include <JorvaneFoundation/system/JVUtilities.h>

#include <algorithm>
#include <new>
#include <stdexcept>

#include <JorvaneFoundation/platform/ProcessInformation.h>
#include <JorvaneFoundation/platform/SystemConfiguration.h>

#include "foundation/utf8.h"

namespace {

constexpr int kHardwareModel[] = {6, 2};

/// @p size bytes; none when there is no memory for them.
std::optional<std::string> allocate(std::size_t size) try {
  return std::string(size, '\0');
} catch (const std::bad_alloc&) {
  return std::nullopt;
} catch (const std::length_error&) {
  return std::nullopt;
}

}  // namespace

std::string JVUtilities::computerName() {
  return JVPlatform::systemConfiguration()->SCDynamicStoreCopyComputerName().value_or("Computer");
}

std::string JVUtilities::computerModel() {
  const auto platform = JVPlatform::processInformation();
  std::size_t size = 0;
  if (platform->sysctl(kHardwareModel, nullptr, &size) != 0) return {};
  auto model = allocate(size);
  if (!model || platform->sysctl(kHardwareModel, model->data(), &size) != 0) return {};
  model->resize(std::min(model->find('\0'), model->size()));
  return jv::isUtf8(*model) ? *model : std::string();
}
