/// The parts of the library that need a system library, as support asks for them.
///
/// A module is a shared object in the folder `JorvaneFoundation` beside the library. The first question that needs it
/// loads it, once, and only from a folder and a file that root or the user owns and that others cannot write to;
/// never when the library itself was found by a relative name (`LD_LIBRARY_PATH=.`).
/// Without it the service in question gives its fixed answers, and everything else is as before.
#pragma once

#include <string>
#include <vector>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVPlatform {

/// A module that something has asked for.
struct ModuleState {
  std::string name;     ///< "bus", "fonts", "text", "vault", "wayland" or "x11"
  std::string problem;  ///< why it could not be loaded, in words for support; empty when it was
};

/// The modules asked for so far in the process, in the order of their names. Loads nothing. Any thread.
JV_EXPORT std::vector<ModuleState> modules();

}  // namespace JVPlatform
