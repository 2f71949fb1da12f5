/// What is said when a tool cannot be started.
#pragma once

#include <string_view>

namespace jv {

/// Raises an `NSException` with the reason "@p doing: what the system says about @p error"; a `ResourceShortage` for
/// those errors that may pass.
[[noreturn]] void raiseFailure(std::string_view doing, int error);

}  // namespace jv
