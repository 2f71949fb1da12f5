/// Loads the modules: the parts of the library that need a system library.
#pragma once

#include <string>
#include <string_view>

namespace jv {

/// A module's table of factories, or why there is none.
struct LoadedModule {
  const void* table = nullptr;
  std::string problem;
};

/// Loads `NAME.so` of @p folder for the life of the process. Refused: a folder or a file that neither root nor the user
/// owns, or that everybody or a group may write to (but root's and the owner's private one), and a module of another
/// version.
LoadedModule loadModule(const std::string& folder, std::string_view name);

/// The module @p name of the folder beside the library, loaded when it is asked for first. Any thread.
const LoadedModule& moduleNamed(std::string_view name);

/// Its table, which must be of the type that the module's header declares; null when it cannot be had.
template <class Table>
const Table* module(std::string_view name) {
  return static_cast<const Table*>(moduleNamed(name).table);
}

/// Why `module(name)` is null; empty when it is not.
inline const std::string& moduleProblem(std::string_view name) { return moduleNamed(name).problem; }

}  // namespace jv
