/// The commands of jv. Each has a source file of its own, whose one function adds the command to the application and
/// has it set @p status when it runs.
#pragma once

namespace CLI {
class App;
}

namespace jv {

/// How jv ends, unless a command says otherwise.
enum ExitStatus : int {
  kDone = 0,
  kNothing = 1,  ///< not found, or nothing to say
  kBadUsage = 2,
  kFailed = 3,
};

void addEncodingCommand(CLI::App& app, int& status);
void addInfoCommand(CLI::App& app, int& status);
void addKeychainCommand(CLI::App& app, int& status);
void addListenCommand(CLI::App& app, int& status);
void addRunCommand(CLI::App& app, int& status);
void addScreensCommand(CLI::App& app, int& status);
void addWatchCommand(CLI::App& app, int& status);

}  // namespace jv
