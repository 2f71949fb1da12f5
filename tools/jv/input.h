/// Files and standard input, whole.
#pragma once

#include <string>

namespace jv {

/// Appends to @p bytes all that is left to read of @p descriptor.
/// @return  0, or the errno of what failed
int readToEnd(int descriptor, std::string& bytes);

/// The same for the file @p name, "-" being standard input.
int readFile(const std::string& name, std::string& bytes);

}  // namespace jv
