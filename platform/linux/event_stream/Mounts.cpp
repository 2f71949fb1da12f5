#include "platform/linux/event_stream/Mounts.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/event_stream/spelling.h"

namespace jv::watching {
namespace {

std::string textOf(int file) {
  std::string text;
  std::array<char, 16 << 10> buffer;
  if (lseek(file, 0, SEEK_SET) < 0) return text;
  for (;;) {
    const ssize_t size = ::read(file, buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(size));
  }
}

/// The word number @p index of @p line, from 0 on.
std::string_view wordOf(std::string_view line, int index) {
  for (; index > 0; --index) line.remove_prefix(std::min(line.size(), line.find(' ') + 1));
  return line.substr(0, line.find(' '));
}

/// Blanks, tabs, line feeds and backslashes stand there as a backslash and three octal digits.
std::string unescaped(std::string_view word) {
  std::string text;
  for (std::size_t at = 0; at < word.size(); ++at) {
    if (word[at] != '\\' || at + 3 >= word.size()) {
      text += word[at];
      continue;
    }
    const int value = (word[at + 1] - '0') * 64 + (word[at + 2] - '0') * 8 + (word[at + 3] - '0');
    text += static_cast<char>(value);
    at += 3;
  }
  return text;
}

}  // namespace

Mounts::Mounts() : table_(open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC)) {
  table_.leaveStandardStreams();
  known_ = read();
}

// A line is: number, number of the parent, device, root, place, …
std::vector<std::string> Mounts::read() {
  std::vector<std::string> mounts;
  const std::string text = table_.isOpen() ? textOf(table_.get()) : "";
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    mounts.push_back(std::string(wordOf(line, 0)) + ' ' + unescaped(wordOf(line, 4)));
  }
  std::ranges::sort(mounts);
  return mounts;
}

std::vector<std::string> Mounts::changes() {
  std::vector<std::string> now = read();
  std::vector<std::string> changed;
  std::ranges::set_symmetric_difference(known_, now, std::back_inserter(changed));
  known_ = std::move(now);
  for (std::string& entry : changed) entry.erase(0, entry.find(' ') + 1);
  return changed;
}

bool Mounts::hasBelow(const std::string& folder) const {
  return std::ranges::any_of(known_, [&](const std::string& entry) {
    return isBelow(std::string_view(entry).substr(entry.find(' ') + 1), folder);
  });
}

}  // namespace jv::watching
