#include "platform/linux/event_stream/Batch.h"

#include <functional>
#include <utility>

namespace jv::watching {

std::size_t Batch::placeOf(std::string_view path, std::size_t hash) const {
  const std::size_t mask = places_.size() - 1;
  std::size_t at = hash & mask;
  while (places_[at].number != 0 &&
         (places_[at].hash != static_cast<std::uint32_t>(hash) || paths_[places_[at].number - 1] != path)) {
    at = (at + 1) & mask;
  }
  return at;
}

void Batch::grow() {
  constexpr std::size_t kSmallest = 64;
  const std::size_t size = places_.empty() ? kSmallest : places_.size() * 2;
  const std::vector<Place> before = std::exchange(places_, std::vector<Place>(size));
  for (const Place& place : before) {
    if (place.number == 0) continue;
    std::size_t at = place.hash & (size - 1);
    while (places_[at].number != 0) at = (at + 1) & (size - 1);
    places_[at] = place;
  }
}

void Batch::add(std::string_view path) {
  if (overfull_) return;
  if (paths_.size() == kMost) {
    overfull_ = true;
    paths_ = {};
    places_ = {};
    return;
  }
  if ((paths_.size() + 1) * 2 > places_.size()) grow();
  // Places are found by 32 bits, so that growing need not look at the paths.
  const auto hash = static_cast<std::uint32_t>(std::hash<std::string_view>()(path));
  Place& place = places_[placeOf(path, hash)];
  if (place.number != 0) return;
  paths_.emplace_back(path);
  place = {hash, static_cast<std::uint32_t>(paths_.size())};
}

std::vector<std::string> Batch::take(const std::vector<std::string>& everything) {
  places_ = {};
  std::vector<std::string> taken = std::exchange(paths_, {});
  if (std::exchange(overfull_, false)) return everything;
  return taken;
}

}  // namespace jv::watching
