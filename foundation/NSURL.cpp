#include <JorvaneFoundation/foundation/NSURL.h>

#include <filesystem>
#include <system_error>
#include <utility>

#include "foundation/ascii.h"
#include "foundation/hexadecimal.h"

namespace JVFoundation {
namespace {

constexpr bool isLetterOrDigit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

/// May stand in a path as it is, by the URL syntax (RFC 3986).
constexpr bool needsNoEscape(char c) {
  return isLetterOrDigit(c) || std::string_view("-._~!$&'()*+,;=:@/").find(c) != std::string_view::npos;
}

/// Takes @p prefix from the front of @p text, if it is there.
bool take(std::string_view& text, std::string_view prefix) {
  if (!jv::equalInEitherCase(text.substr(0, prefix.size()), prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

std::optional<std::string> withoutEscapes(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '%') {
      if (text.size() - i < 3) return std::nullopt;
      const std::optional<std::uint8_t> byte = jv::byteFromHexadecimal(text[i + 1], text[i + 2]);
      if (!byte) return std::nullopt;
      c = static_cast<char>(*byte);
      i += 2;
    }
    if (c == '\0') return std::nullopt;
    bytes += c;
  }
  return bytes;
}

std::string withEscapes(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (const char c : bytes) {
    if (needsNoEscape(c)) {
      text += c;
    } else {
      text += '%';
      jv::appendHexadecimal(text, static_cast<std::uint8_t>(c));
    }
  }
  return text;
}

}  // namespace

NSURL::NSURL(std::string path) : path_(std::make_shared<const std::string>(std::move(path))) {}

NSURL NSURL::fileURLWithPath(std::string_view path) { return NSURL(std::string(path)); }

std::optional<NSURL> NSURL::URLWithString(std::string_view text) {
  if (!take(text, "file:")) return std::nullopt;
  text = text.substr(0, text.find_first_of("?#"));
  if (take(text, "//")) {
    const std::string_view host = text.substr(0, text.find('/'));
    if (!host.empty() && !jv::equalInEitherCase(host, "localhost")) return std::nullopt;
    text.remove_prefix(host.size());
  }
  if (!text.empty() && text.front() != '/') return std::nullopt;
  std::optional<std::string> path = withoutEscapes(text);
  if (!path) return std::nullopt;
  return NSURL(std::move(*path));
}

const std::string& NSURL::path() const noexcept { return *path_; }

std::string NSURL::absoluteString() const {
  if (path_->empty() || path_->front() == '/') return "file://" + withEscapes(*path_);
  std::error_code error;
  const std::filesystem::path directory = std::filesystem::current_path(error);
  if (error) return "file:" + withEscapes(*path_);
  return "file://" + withEscapes((directory / *path_).native());
}

std::optional<std::string> NSURL::pathExtension() const {
  if (path_->empty()) return std::nullopt;
  std::string_view name = *path_;
  name = name.substr(0, name.find_last_not_of('/') + 1);
  name = name.substr(name.find_last_of('/') + 1);
  const std::size_t stop = name.find_last_of('.');
  if (stop == std::string_view::npos || stop == 0) return "";
  return std::string(name.substr(stop + 1));
}

bool operator==(const NSURL& a, const NSURL& b) noexcept { return a.path() == b.path(); }

}  // namespace JVFoundation
