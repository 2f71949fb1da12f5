/// Standard output, in large pieces.
#pragma once

#include <string>
#include <string_view>

namespace jv {

/// Collects what is to go to standard output. The first failure is final: whatever comes behind it is dropped.
class Output {
 public:
  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output() { flush(); }

  /// @return  whether everything so far was taken
  bool write(std::string_view text);
  bool flush();

  /// Writes what waits, and then @p secret without making a copy of it.
  bool writeSecret(std::string_view secret);

  /// The reason of the failure, an errno; 0 without one.
  [[nodiscard]] int error() const { return error_; }

 private:
  void writeNow(std::string_view text);

  std::string waiting_;
  int error_ = 0;
};

}  // namespace jv
