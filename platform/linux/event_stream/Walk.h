/// The way of one thread through a scan.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/event_stream/Folder.h"
#include "platform/linux/event_stream/Group.h"

namespace jv::watching {

/// Goes depth first and holds a descriptor a level, so that each folder is opened in the one that it is in.
struct Group::Walk {
  /// Deeper folders become items of their own, which begin with their path again.
  static constexpr std::size_t kMostLevels = 24;

  [[nodiscard]] bool isActive() const { return item.has_value(); }

  Standpoint* standpoint = nullptr;
  std::optional<Item> item;
  bool hasBegun = false;
  std::vector<Frame> frames;
  Reader reader;
  // Whether folders on the file system of this device count the folders in them.
  std::uint64_t device = 0;
  bool counts = false;
};

/// What is known of the folder that a walk is at.
struct Group::Visit {
  Walk& walk;
  Child at;
  int descriptor;
  Facts facts;
  Frame frame;
  bool hasEntered = false;
  std::vector<FolderId> seen{};
  std::vector<Target> targets{};
  std::vector<Stamp> begins{};  // of the targets' streams
  std::uint64_t version = 0;    // that the targets belong to
};

}  // namespace jv::watching
