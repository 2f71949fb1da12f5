/// What fuzz targets make of the bytes that they are given.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>

namespace jv::fuzz {

using Bytes = std::span<const std::uint8_t>;

/// The bytes of one run: choices at the front, taken one after the other, and the text behind them.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : left_(data, size) {}

  /// A number of @p bytes bytes; what is missing at the end counts 0.
  std::uint64_t number(std::size_t bytes = 1) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      value <<= 8;
      if (left_.empty()) continue;
      value |= left_.front();
      left_ = left_.subspan(1);
    }
    return value;
  }

  bool flag() { return (number() & 1) != 0; }

  [[nodiscard]] Bytes text() const { return left_; }

 private:
  Bytes left_;
};

/// A copy of a text that ends where its memory ends and begins @p offset bytes into it, so that a read too far is seen
/// and all alignments occur.
class ExactCopy {
 public:
  ExactCopy(Bytes text, std::size_t offset)
      : memory_(new std::uint8_t[offset + text.size()]), bytes_(memory_.get() + offset, text.size()) {
    std::ranges::copy(text, memory_.get() + offset);
  }

  [[nodiscard]] Bytes bytes() const { return bytes_; }

 private:
  std::unique_ptr<std::uint8_t[]> memory_;
  Bytes bytes_;
};

/// Ends the run as a finding unless @p holds.
inline void require(bool holds, const char* what, const char* where = "") {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s %s\n", what, where);
  std::abort();
}

}  // namespace jv::fuzz
