/// A folder of a test's own, gone with all that is in it when the test ends.
#pragma once

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include <stdlib.h>

namespace jv::test {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "jv-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

  /// The path of a new file @p name that holds @p contents.
  std::string write(std::string_view name, std::string_view contents) const {
    const std::filesystem::path file = path_ / name;
    std::ofstream(file, std::ios::binary) << contents;
    return file.string();
  }

 private:
  std::filesystem::path path_;
};

}  // namespace jv::test
