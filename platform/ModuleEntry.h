/// The one thing that the core knows of a module before it trusts it.
#pragma once

#include <JorvaneFoundation/foundation/JVExport.h>

namespace jv {

/// What a module's entry function gives. The version stays the first member for good, so that a core of any version
/// can read it of a module of any other.
struct ModuleEntry {
  const char* version;
  const void* table;  ///< the factories: a struct that a header of this folder declares, BusModule.h for example
};

inline constexpr char kModuleEntryName[] = "JVModuleEntry";

}  // namespace jv

/// Written once in a module, with its table, which is constant and lives as long as the process.
#define JV_MODULE(table)                                               \
  extern "C" JV_EXPORT const jv::ModuleEntry* JVModuleEntry() {        \
    static constexpr jv::ModuleEntry entry{JV_VERSION_TEXT, &(table)}; \
    return &entry;                                                     \
  }
