/// The lines that a text itself is made of, before any is broken to fit a width.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace jv {

/// @p text when it is UTF-8 without zero bytes; else what @p storage gets: the same with U+FFFD for each byte that is
/// neither.
std::string_view validText(std::string_view text, std::string& storage);

/// What ends a line of a text.
enum class LineEnd : std::uint8_t { text, line, paragraph };

/// Takes the first line off @p text, and leaves none of it there behind the last line. A text that ends in a line's end
/// has an empty line behind it.
struct TextLine {
  std::string_view text;
  LineEnd end = LineEnd::text;
};
TextLine takeLine(std::string_view& text);

/// The first @p size bytes of @p text, valid UTF-8, or a little less: up to a blank if there is one in the second half,
/// else up to a character.
/// @param size  at least 4, the length of a character
std::string_view beginningOf(std::string_view text, std::size_t size);

}  // namespace jv
