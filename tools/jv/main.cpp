#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <string>

#include <JorvaneFoundation/foundation/version.h>

#include "commands.h"

namespace {

/// Puts into the places of closed standard streams what can be neither read nor written, so that nothing that is opened
/// later takes them and gets what is meant for them.
void occupyStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  occupyStandardStreams();
  CLI::App app{"Foundation services for Linux desktop applications, from the shell.", "jv"};
  app.set_version_flag("--version", std::string("jv ") + JorvaneFoundationVersion);
  app.require_subcommand(1);
  app.footer("jv COMMAND --help says more. Exit status: 0 done, 1 not found or nothing to say, 2 bad usage, 3 failed.");

  int status = jv::kDone;
  jv::addEncodingCommand(app, status);
  jv::addFontCommand(app, status);
  jv::addInfoCommand(app, status);
  jv::addKeychainCommand(app, status);
  jv::addListenCommand(app, status);
  jv::addRunCommand(app, status);
  jv::addScreensCommand(app, status);
  jv::addTextSizeCommand(app, status);
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
