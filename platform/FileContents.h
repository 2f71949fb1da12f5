/// All bytes of a file in one piece.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace jv {

/// The bytes of a file while it lives. A large regular file is mapped and costs no memory of its own; everything else
/// is read. A mapped file that somebody shrinks meanwhile does not end the process: the bytes that went read as zero,
/// and `shrank` tells. Moved, never copied.
class FileContents {
 public:
  /// Files of this many bytes and more are mapped. Below, reading is as fast and needs no guard.
  static constexpr std::uint64_t kMappedFrom = std::uint64_t{32} << 20;

  enum class Means : std::uint8_t {
    mappedWhenLarge,
    read,
  };

  /// The contents of the file at @p path (any bytes but NUL); none when it cannot be opened or read, is a directory, or
  /// does not fit into memory. Waits as long as reading waits: a named pipe, until a writer came and went. Never
  /// throws.
  static std::optional<FileContents> of(std::string_view path, Means means = Means::mappedWhenLarge) noexcept;

  FileContents(FileContents&& other) noexcept;
  FileContents& operator=(FileContents&&) = delete;
  ~FileContents();

  [[nodiscard]] std::span<const std::uint8_t> bytes() const noexcept { return {bytes_, size_}; }

  /// Whether a mapped file lost bytes while they were looked at, which then read as zero.
  [[nodiscard]] bool shrank() const noexcept;

 private:
  FileContents() = default;

  const std::uint8_t* bytes_ = nullptr;
  std::size_t size_ = 0;
  int guard_ = -1;  // the mapping's place among the guarded ones; -1: the bytes are on the heap
};

}  // namespace jv
