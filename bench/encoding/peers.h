/// Other libraries that answer the same question.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace jv::bench {

struct Peer {
  std::string name;
  std::size_t largest;  ///< it is given no more of a text, since its pace would take minutes
  /// The name that it gives to the encoding; empty when it has none. Keeps its detector from one call to the next. No
  /// function where this program was built without the library.
  std::function<std::string(std::span<const std::uint8_t>)> ask;
};

std::vector<Peer> peers();

}  // namespace jv::bench
