/// The signals by which people and systems end a program.
#pragma once

#include <csignal>

namespace jv {

/// Blocks SIGINT, SIGTERM and SIGHUP, for whoever waits for them: those that jv was not started to ignore, as under
/// nohup. Before any thread starts, so that all of them inherit it.
/// @return  those that are blocked now
sigset_t blockEndingSignals();

}  // namespace jv
