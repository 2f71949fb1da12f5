#include "platform/linux/text_files.h"

#include <sys/stat.h>

#include <cerrno>

#include "foundation/utf8.h"
#include "platform/linux/Descriptor.h"

namespace jv {
namespace {

constexpr std::string_view kBlanks = " \t\r\f\v";

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

/// Takes the first line off the front of @p text, without its end.
std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == text.npos ? text.size() : end + 1);
  return line;
}

/// @p value as a shell understands it.
std::string unquoted(std::string_view value) {
  std::string text;
  char quote = 0;
  for (std::size_t at = 0; at < value.size(); ++at) {
    const char c = value[at];
    if (quote != 0 && c == quote) {
      quote = 0;
    } else if (quote == 0 && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == '\\' && quote != '\'' && at + 1 < value.size()) {
      const char next = value[++at];
      constexpr std::string_view kSpecial = "\"\\$`";
      if (quote != 0 && kSpecial.find(next) == kSpecial.npos) text += c;
      text += next;
    } else {
      text += c;
    }
  }
  return text;
}

}  // namespace

std::string textOfFile(const std::string& path) {
  Descriptor file;
  do {
    // A named pipe without a writer would be waited for, and a device may do anything.
    file = Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  } while (!file.isOpen() && errno == EINTR);
  struct stat status = {};
  if (!file.isOpen() || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
  std::string text;
  for (;;) {  // until the end: files of the kernel do not tell their size
    constexpr std::size_t kAtOnce = 4096;
    const std::size_t had = text.size();
    text.resize(had + kAtOnce);
    const ssize_t got = read(file.get(), text.data() + had, kAtOnce);
    text.resize(had + static_cast<std::size_t>(got > 0 ? got : 0));
    if (got == 0) return text;
    if (text.size() > kLargestTextFile || (got < 0 && errno != EINTR)) return {};
  }
}

bool saysSomething(std::string_view value) { return !trimmed(value).empty() && isUtf8(value); }

std::string_view firstLineOf(std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = trimmed(takeLine(text));
    if (!line.empty() && line.front() != '#') return line;
  }
  return {};
}

std::optional<std::string> variableIn(std::string_view text, std::string_view name) {
  std::optional<std::string> value;
  while (!text.empty()) {
    const std::string_view line = trimmed(takeLine(text));
    if (line.size() <= name.size() || line[name.size()] != '=' || !line.starts_with(name)) continue;
    value = unquoted(line.substr(name.size() + 1));
  }
  return value;
}

}  // namespace jv
