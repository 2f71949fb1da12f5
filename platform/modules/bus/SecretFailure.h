/// Why a call of the password service failed.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/KeychainByKey.h"

namespace jv {

/// What a call failed for, as far as it matters to whoever may repeat it.
enum class FailureCause : std::uint8_t {
  answer,       ///< the service said so
  sessionGone,  ///< the service does not know the session: nothing was done
  lost,         ///< the service or the bus went away in the middle
  late,         ///< no answer within the time limit
};

struct SecretFailure : KeychainFailure {
  SecretFailure(JVPlatform::OSStatus code, FailureCause why) : KeychainFailure{code}, cause(why) {}
  FailureCause cause;
};

/// Which kind of object a call was for.
enum class SecretPlace : std::uint8_t { service, collection, item };

/// What the error by this name means as the answer to a call.
SecretFailure failureOf(std::string_view error, SecretPlace place, bool isWrite);

}  // namespace jv
