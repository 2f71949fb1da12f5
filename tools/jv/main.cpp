#include <CLI/CLI.hpp>

int main(int argc, char** argv) {
  CLI::App app{"Foundation services for Linux desktop applications, from the shell.", "jv"};
  CLI11_PARSE(app, argc, argv);
  return 0;
}
