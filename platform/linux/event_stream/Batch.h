/// Paths on their way to a delegate.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace jv::watching {

/// Paths, each once, in the order in which they came first. So many that they would fill the memory become one fact:
/// that everything may have changed. One thread at a time.
class Batch {
 public:
  static constexpr std::size_t kMost = 1'000'000;

  void add(std::string_view path);
  [[nodiscard]] bool isEmpty() const { return paths_.empty() && !overfull_; }
  /// Gives what it holds and is empty. Overfull, it gives @p everything.
  std::vector<std::string> take(const std::vector<std::string>& everything);

 private:
  void grow();
  [[nodiscard]] std::size_t placeOf(std::string_view path, std::size_t hash) const;

  struct Place {
    std::uint32_t hash;
    std::uint32_t number;  // of the path, from 1 on
  };

  std::vector<std::string> paths_;
  std::vector<Place> places_;  // a power of two of them, at most half of them taken
  bool overfull_ = false;
};

}  // namespace jv::watching
