/// Event streams with another choice of what the kernel is asked for.
#pragma once

#include <cstddef>
#include <memory>

#include <JorvaneFoundation/platform/EventStream.h>

namespace jv::watching {

/// A tree of so many folders is watched by its file system where the program has the right to that. By a watch for each
/// folder this many take some hundredths of a second, and up to six megabytes of the kernel's memory.
inline constexpr std::size_t kLargeTree = 4000;

/// Makes streams for which trees are large that have @p largeTree folders.
std::shared_ptr<JVPlatform::EventStream> makeEventStream(std::size_t largeTree);

}  // namespace jv::watching
