/// Small files of the system that hold text.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace jv {

inline constexpr std::size_t kLargestTextFile = std::size_t{1} << 20;

/// The contents of the file at @p path; empty when it cannot be read, is no regular file or has more than
/// `kLargestTextFile` bytes. Never waits for another process.
std::string textOfFile(const std::string& path);

/// Whether @p value is UTF-8 with more than blanks in it. What is not counts as missing.
bool saysSomething(std::string_view value);

/// The first line of @p text that is neither blank nor a comment (`#`), without blanks around it; empty when there is
/// none.
std::string_view firstLineOf(std::string_view text);

/// The value that @p text, lines of `NAME=value` as shells read them, gives the variable @p name last; none when it
/// gives none. Knows single and double quotes, backslashes and comment lines. A value without quotes goes on to the end
/// of its line, blanks inside included; a quote that is not closed ends there too.
std::optional<std::string> variableIn(std::string_view text, std::string_view name);

}  // namespace jv
