/// What is mounted where: a folder that something is mounted over goes out of sight without an event.
#pragma once

#include <string>
#include <vector>

#include "platform/linux/Descriptor.h"

namespace jv::watching {

/// One thread at a time.
class Mounts {
 public:
  Mounts();

  /// Has an exceptional condition whenever something was mounted or unmounted. -1: nobody tells.
  [[nodiscard]] int descriptor() const { return table_.get(); }
  /// The places where something was mounted or unmounted since the last call, as absolute paths.
  std::vector<std::string> changes();
  /// Whether something is mounted below the folder at the absolute path @p folder.
  [[nodiscard]] bool hasBelow(const std::string& folder) const;

 private:
  std::vector<std::string> read();

  Descriptor table_;
  std::vector<std::string> known_;  // "number path", sorted
};

}  // namespace jv::watching
