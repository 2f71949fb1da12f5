/// `jv run`: runs a tool and shows what came back.
#pragma once

#include <CLI/CLI.hpp>

/// Adds the command to @p app. When it is chosen, it runs while the arguments are parsed and writes the status that jv
/// ends with to @p exitStatus.
void addRunCommand(CLI::App& app, int& exitStatus);
