#include "platform/linux/ProcessReason.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include <JorvaneFoundation/platform/Process.h>

namespace jv {
namespace {

constexpr int kPassing[] = {EAGAIN, EMFILE, ENFILE, ENOMEM};

/// In English, whatever the locale, and safe on any thread.
std::string description(int error) {
  const char* const known = strerrordesc_np(error);
  return known ? known : "Error " + std::to_string(error);
}

}  // namespace

void raiseFailure(std::string_view doing, int error) {
  const std::string reason = std::string(doing) + ": " + description(error);
  if (std::ranges::count(kPassing, error) != 0) throw JVPlatform::ResourceShortage("NSTaskResourceShortage", reason);
  throw JVFoundation::NSException("NSInvalidArgumentException", reason);
}

}  // namespace jv
