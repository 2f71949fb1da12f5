#include "file_names.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace jv {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(int error, const std::string& list) {
  throw std::system_error(error, std::generic_category(), list == "-" ? "standard input" : list);
}

class List {
 public:
  explicit List(const std::string& name) : name_(name), descriptor_(STDIN_FILENO) {
    if (name == "-") return;
    do {
      descriptor_ = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    } while (descriptor_ < 0 && errno == EINTR);
    if (descriptor_ < 0) fail(errno, name);
  }
  List(const List&) = delete;
  List& operator=(const List&) = delete;
  ~List() {
    if (descriptor_ != STDIN_FILENO) close(descriptor_);
  }

  [[nodiscard]] bool hasSomethingToRead() const {
    pollfd waiting = {descriptor_, POLLIN, 0};
    return poll(&waiting, 1, 0) != 0;  // an error shows when reading
  }

  /// Appends to @p text what there is. False at the end.
  bool readInto(std::string& text) const {
    char chunk[1 << 16];
    ssize_t got = -1;
    do {
      got = read(descriptor_, chunk, sizeof chunk);
    } while (got < 0 && errno == EINTR);
    if (got < 0) fail(errno, name_);
    text.append(chunk, static_cast<std::size_t>(got));
    return got > 0;
  }

 private:
  std::string name_;
  int descriptor_;
};

/// What ends the names in a list that begins with @p text; the line feed also when there is neither yet.
char separatorOf(std::string_view text) { return text.find('\0') == std::string_view::npos ? '\n' : '\0'; }

/// Visits the names in @p text that are whole and leaves the rest there.
bool visitNames(std::string& text, char separator, const NameVisitor& visitor) {
  std::string_view left = text;
  for (std::size_t end = left.find(separator); end != std::string_view::npos; end = left.find(separator)) {
    if (end > 0 && !visitor.file(std::string(left.substr(0, end)))) return false;
    left.remove_prefix(end + 1);
  }
  text.erase(0, text.size() - left.size());
  return true;
}

/// A folder that is being read.
struct Level {
  fs::path folder;
  fs::directory_iterator next;
  std::deque<std::string> rest;  // behind what the iterator has

  /// The next entry; none at the end. After an error, which is told with the last entry, there are no more.
  std::optional<fs::directory_entry> take(std::error_code& error) {
    error.clear();
    if (next != fs::directory_iterator()) {
      fs::directory_entry entry = *next;
      next.increment(error);
      return entry;
    }
    if (rest.empty()) return std::nullopt;
    fs::directory_entry entry(folder / rest.front(), error);
    error.clear();
    rest.pop_front();
    return entry;
  }

  /// Reads what is left, so that the folder need not be kept open: there may be more levels than descriptors.
  void close() {
    std::error_code error;
    while (next != fs::directory_iterator()) {
      rest.push_back(next->path().filename().native());
      next.increment(error);
    }
  }
};

}  // namespace

bool visitFolder(const std::string& name, const NameVisitor& visitor) {
  constexpr std::size_t kOpenFolders = 32;
  std::vector<Level> levels;
  std::error_code error;
  const auto enter = [&](fs::path folder) {
    fs::directory_iterator first(folder, error);
    if (error) return visitor.unreadable(folder.native(), error.message());
    levels.push_back({std::move(folder), std::move(first), {}});
    if (levels.size() > kOpenFolders) levels[levels.size() - 1 - kOpenFolders].close();
    return true;
  };

  if (!enter(name)) return false;
  while (!levels.empty()) {
    Level& level = levels.back();
    const std::optional<fs::directory_entry> found = level.take(error);
    if (error && !visitor.unreadable(level.folder.native(), error.message())) return false;
    if (!found) {
      levels.pop_back();
      continue;
    }
    const fs::directory_entry& entry = *found;

    if (entry.is_symlink(error)) continue;
    if (entry.is_directory(error)) {
      if (!enter(entry.path())) return false;
    } else if (entry.is_regular_file(error)) {
      if (!visitor.file(entry.path().native())) return false;
    }
  }
  return true;
}

void visitList(const std::string& name, const NameVisitor& visitor) {
  constexpr std::size_t kLongestName = std::size_t{1} << 20;  // far more than any file system takes
  const List list(name);
  std::string text;
  char separator = '\n';
  bool known = false;
  for (bool more = true; more;) {
    const bool waits = !list.hasSomethingToRead();
    if (waits) visitor.waits(true);
    more = list.readInto(text);
    if (waits) visitor.waits(false);
    if (!known) {
      separator = separatorOf(text);
      known = text.find(separator) != std::string::npos;
    }
    if (!visitNames(text, separator, visitor)) return;
    if (text.size() > kLongestName) fail(ENAMETOOLONG, name);
  }
  if (!text.empty()) visitor.file(std::move(text));
}

}  // namespace jv
