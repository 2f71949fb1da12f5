/// Where the process keeps the library's exported variables.
#pragma once

namespace jv {

/// The address of the library's exported variable @p name, as everybody sees it who was linked against it.
///
/// A plain reference is not enough for a name that others may use too. The linker may have moved the variable into the
/// executable (a copy relocation), and then that copy is the one that counts; or the executable may have a variable of
/// the same name that has nothing to do with ours, and a plain reference gets that one all the same. Only the symbol's
/// version tells the two apart: a copy bears it.
/// @param own  the answer where symbols have no versions, as in a program that contains the library.
void* exportedData(const char* name, void* own) noexcept;

}  // namespace jv
