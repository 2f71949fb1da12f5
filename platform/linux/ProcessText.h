/// Room for output of unknown length in a text that is handed on as it is.
#pragma once

#include <cstddef>
#include <string>

namespace jv {

/// Makes sure that @p text has room for @p more bytes. A large text is moved seldom, to far more room than it needs,
/// which costs address space alone as long as nothing is written there, and it never takes its memory twice.
void makeRoom(std::string& text, std::size_t more);

}  // namespace jv
