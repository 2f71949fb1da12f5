#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>

#include <JorvaneFoundation/foundation/version.h>

#include "commands.h"

namespace {

/// The version text that is meant for people: what stands behind the marks for tools, without the line's end.
std::string version() {
  std::string_view text(reinterpret_cast<const char*>(JorvaneFoundationVersionString));
  text = text.substr(text.rfind(':') + 1);
  return "jv " + std::string(text.substr(0, text.find('\n')));
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app{"Foundation services for Linux desktop applications, from the shell.", "jv"};
  app.set_version_flag("--version", version());
  app.require_subcommand(1);
  app.footer("jv COMMAND --help says more. Exit status: 0 done, 1 not found or nothing to say, 2 bad usage, 3 failed.");

  int status = jv::kDone;
  jv::addEncodingCommand(app, status);
  jv::addInfoCommand(app, status);
  jv::addKeychainCommand(app, status);
  jv::addListenCommand(app, status);
  jv::addRunCommand(app, status);
  jv::addScreensCommand(app, status);
  jv::addWatchCommand(app, status);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? jv::kDone : jv::kBadUsage;
  }
  return status;
} catch (const std::exception& error) {
  std::cerr << "jv: " << error.what() << '\n';
  return jv::kFailed;
}
