/// Starts a child at a cost that does not grow with the process, and knows which step of the start failed.
#pragma once

#include <array>
#include <cstdint>

#include "platform/linux/Descriptor.h"

namespace jv {

/// Every pointer and descriptor stays the caller's.
struct SpawnOrder {
  const char* path;
  char* const* arguments;      ///< the whole argument vector, ended by a null pointer
  const char* directory;       ///< null: that of the caller
  std::array<int, 3> streams;  ///< what becomes the child's descriptors 0, 1 and 2; all of them above 2
};

enum class SpawnStep : std::uint8_t { none, process, streams, directory, execution };

struct Spawned {
  Descriptor process;                  ///< a pidfd of the child, which is the caller's to wait for
  SpawnStep failed = SpawnStep::none;  ///< otherwise there is no child and no descriptor
  int error = 0;                       ///< errno of the failed step
};

/// Returns once the child executes the new program or has failed to. The child starts with the three streams as its
/// only descriptors, no signal blocked, and every signal at its default. Any thread.
Spawned spawn(const SpawnOrder& order);

}  // namespace jv
