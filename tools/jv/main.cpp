#include <CLI/CLI.hpp>

#include "run.h"

int main(int argc, char** argv) {
  CLI::App app{"Foundation services for Linux desktop applications, from the shell.", "jv"};
  int exitStatus = 0;
  addRunCommand(app, exitStatus);
  CLI11_PARSE(app, argc, argv);
  return exitStatus;
}
