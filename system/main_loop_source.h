/// How what the platform hands up comes to be heard on the main thread.
#pragma once

#include <memory>
#include <optional>

#include <JorvaneFoundation/dispatch/NSRunLoop.h>
#include <JorvaneFoundation/platform/RunLoopSource.h>

namespace jv {

/// Has the main run loop perform @p source from now on, which it keeps alive. None without a source, and when it cannot
/// be watched. Any thread.
std::optional<JVFoundation::NSRunLoop::Source> addToMainRunLoop(
    std::shared_ptr<JVPlatform::RunLoopSource> source) noexcept;

}  // namespace jv
