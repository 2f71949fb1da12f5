#include "platform/modules/text/text_lines.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

namespace jv {
namespace {

struct LineEndText {
  std::string_view text;
  LineEnd kind;
};
// Of two that begin alike the longer one comes first.
constexpr std::array kLineEnds{
    LineEndText{"\r\n", LineEnd::paragraph},         LineEndText{"\n", LineEnd::paragraph},
    LineEndText{"\r", LineEnd::paragraph},           LineEndText{"\xE2\x80\xA8", LineEnd::line},
    LineEndText{"\xE2\x80\xA9", LineEnd::paragraph},
};

bool isInsideCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

}  // namespace

std::string_view validText(std::string_view text, std::string& storage) {
  if (g_utf8_validate_len(text.data(), text.size(), nullptr)) return text;
  const std::unique_ptr<char, decltype(&g_free)> valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())),
                                                       &g_free);
  storage = valid.get();
  return storage;
}

TextLine takeLine(std::string_view& text) {
  for (std::size_t at = 0; (at = text.find_first_of("\n\r\xE2", at)) != text.npos; ++at) {
    for (const LineEndText& end : kLineEnds) {
      if (!text.substr(at).starts_with(end.text)) continue;
      const TextLine line{text.substr(0, at), end.kind};
      text.remove_prefix(at + end.text.size());
      return line;
    }
  }
  return {std::exchange(text, {}), LineEnd::text};
}

std::string_view beginningOf(std::string_view text, std::size_t size) {
  if (size >= text.size()) return text;
  const std::size_t blank = text.rfind(' ', size - 1);
  if (blank != text.npos && blank >= size / 2) return text.substr(0, blank + 1);
  while (isInsideCharacter(text[size])) --size;
  return text.substr(0, size);
}

}  // namespace jv
