#include "platform/modules/bus/SecretFailure.h"

#include <algorithm>
#include <iterator>

namespace jv {
namespace {

using namespace JVPlatform;

/// What the names of errors mean. An object that is not there means something else on each kind of object, and a
/// failure that is not explained something else when writing: that is how gnome-keyring tells that the disk is full or
/// read-only.
struct ErrorRow {
  std::string_view name;
  OSStatus status;
  FailureCause cause = FailureCause::answer;
};
constexpr OSStatus kNoSuchObject = 1;  // no statuses: what they mean is decided by the call
constexpr OSStatus kFailed = 2;
// clang-format off
constexpr ErrorRow kErrors[] = {
    {"org.freedesktop.DBus.Error.ServiceUnknown",    errSecNotAvailable},
    {"org.freedesktop.DBus.Error.TimedOut",          errSecNotAvailable},  // of starting it
    {"org.freedesktop.DBus.Error.NoReply",           errSecServiceNotAvailable, FailureCause::lost},
    {"org.freedesktop.DBus.Error.Timeout",           errSecServiceNotAvailable, FailureCause::lost},
    {"org.freedesktop.DBus.Error.NameHasNoOwner",    errSecServiceNotAvailable, FailureCause::lost},
    {"org.freedesktop.DBus.Error.Disconnected",      errSecServiceNotAvailable, FailureCause::lost},
    {"org.freedesktop.Secret.Error.NoSession",       errSecInternalComponent, FailureCause::sessionGone},
    {"org.freedesktop.Secret.Error.IsLocked",        errSecInteractionNotAllowed},
    {"org.freedesktop.Secret.Error.NoSuchObject",    kNoSuchObject},
    {"org.freedesktop.DBus.Error.UnknownObject",     kNoSuchObject},
    {"org.freedesktop.DBus.Error.UnknownMethod",     kNoSuchObject},
    {"org.freedesktop.DBus.Error.UnknownInterface",  kNoSuchObject},
    {"org.freedesktop.DBus.Error.Failed",            kFailed},
    {"org.freedesktop.DBus.Error.AccessDenied",      errSecAuthFailed},
    {"org.freedesktop.DBus.Error.AuthFailed",        errSecAuthFailed},
    {"org.freedesktop.DBus.Error.PropertyReadOnly",  errSecReadOnly},
    {"org.freedesktop.DBus.Error.NotSupported",      errSecReadOnly},
    {"org.freedesktop.DBus.Error.InvalidArgs",       errSecParam},
    {"org.freedesktop.DBus.Error.LimitsExceeded",    errSecParam},
    {"org.freedesktop.DBus.Error.NoMemory",          errSecAllocate},
};
// clang-format on
constexpr std::string_view kStartFailed = "org.freedesktop.DBus.Error.Spawn.";

ErrorRow meaningOf(std::string_view name) {
  const auto row = std::ranges::find(kErrors, name, &ErrorRow::name);
  if (row != std::end(kErrors)) return *row;
  return {name, name.starts_with(kStartFailed) ? errSecNotAvailable : errSecInternalComponent};
}

}  // namespace

SecretFailure failureOf(std::string_view error, SecretPlace place, bool isWrite) {
  const ErrorRow meaning = meaningOf(error);
  OSStatus status = meaning.status;
  if (status == kFailed) status = isWrite ? errSecReadOnly : errSecInternalComponent;
  if (status == kNoSuchObject) {
    status = place == SecretPlace::item         ? errSecItemNotFound
             : place == SecretPlace::collection ? errSecNoDefaultKeychain
                                                : errSecInternalComponent;
  }
  return {status, meaning.cause};
}

}  // namespace jv
