/// Bytes that are overwritten before their memory is given back.
#pragma once

#include <string.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace jv {

/// Overwrites all memory that @p bytes holds, and empties it.
template <class Bytes>
void wipe(Bytes& bytes) noexcept {
  bytes.resize(bytes.capacity());  // nothing is allocated: what lies behind the end held bytes once
  if (!bytes.empty()) explicit_bzero(bytes.data(), bytes.size());
  bytes.clear();
}

/// Owns a text or a vector that holds a secret, and wipes it at the end, however that comes. Fill it in one piece: a
/// container that grows leaves its old memory behind.
template <class Bytes>
class Secret {
 public:
  Secret() = default;
  explicit Secret(Bytes bytes) noexcept : bytes_(std::move(bytes)) {}
  Secret(Secret&& other) noexcept : bytes_(std::move(other.bytes_)) { wipe(other.bytes_); }
  Secret& operator=(Secret&& other) noexcept {
    if (this == &other) return *this;
    wipe(bytes_);
    bytes_ = std::move(other.bytes_);
    wipe(other.bytes_);
    return *this;
  }
  ~Secret() { wipe(bytes_); }

  Bytes& operator*() noexcept { return bytes_; }
  const Bytes& operator*() const noexcept { return bytes_; }
  Bytes* operator->() noexcept { return &bytes_; }
  const Bytes* operator->() const noexcept { return &bytes_; }

  /// Hands the bytes over; whoever gets them answers for them.
  Bytes release() noexcept {
    Bytes released = std::move(bytes_);
    wipe(bytes_);
    return released;
  }

 private:
  Bytes bytes_;
};

}  // namespace jv
