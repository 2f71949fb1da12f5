// jv run: runs a tool and shows what came back.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <JorvaneFoundation/dispatch/NSRunLoop.h>
#include <JorvaneFoundation/tasks/NSTask.h>

#include "arguments.h"
#include "commands.h"
#include "input.h"
#include "observed_process.h"
#include "output.h"
#include "text_forms.h"

namespace {

using JVFoundation::NSTask;

constexpr std::int32_t kNotLaunched = -666;
constexpr int kExitNotLaunched = 127;
constexpr int kExitSignal = 128;

struct Options {
  std::vector<std::string> words;
  std::optional<std::string> input;
  std::optional<std::string> inputFile;
  std::optional<std::string> directory;
  bool json = false;
  bool async = false;
};

struct Result {
  std::int32_t status = 0;
  std::optional<std::string> output;
  std::optional<std::string> error;
};

/// The file to execute: a name without a slash is looked up as shells do.
std::optional<std::string> findTool(const std::string& tool) {
  namespace fs = std::filesystem;
  if (tool.find('/') != std::string::npos) return tool;
  const char* const path = std::getenv("PATH");
  std::istringstream folders(path ? path : "/usr/local/bin:/usr/bin:/bin");
  for (std::string folder; std::getline(folders, folder, ':');) {
    // Absolute, for the tool may be told to start elsewhere.
    std::error_code error;
    const fs::path file = fs::absolute(folder.empty() ? "." : folder, error) / tool;
    if (!error && fs::is_regular_file(file, error) && access(file.c_str(), X_OK) == 0) return file.string();
  }
  return std::nullopt;
}

std::optional<std::string> textIn(const JVFoundation::Value& result, std::string_view key) {
  const std::string* const text = result.text(key);
  return text ? std::optional(*text) : std::nullopt;
}

Result runHere(const std::string& path, const std::vector<std::string>& arguments,
               const std::optional<std::string>& input, const std::optional<std::string>& directory) {
  const auto result = NSTask::launchSyncWithPath(path, arguments, input, directory);
  return {result.number("JVTaskStatus")->intValue(), textIn(result, "JVTaskOutput"), textIn(result, "JVTaskError")};
}

Result runInBackground(const std::string& path, const std::vector<std::string>& arguments,
                       const std::optional<std::string>& input, const std::optional<std::string>& directory) {
  Result result;
  auto& loop = JVFoundation::NSRunLoop::mainRunLoop();
  NSTask::launchAsyncWithPath(path, arguments, input, directory, [&](std::int32_t status, auto output, auto error) {
    result = {status, std::move(output), std::move(error)};
    loop.stop();
  });
  loop.run();
  return result;
}

std::string inJson(const Result& result, bool bySignal) {
  nlohmann::ordered_json line;
  line[bySignal ? "signal" : "status"] = result.status;
  if (result.output) line["output"] = *result.output;
  if (result.error) line["error"] = *result.error;
  return line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

/// False when standard output does not take it.
bool show(const Result& result, bool json, bool bySignal) {
  jv::Output output;
  if (json) {
    output.write(inJson(result, bySignal));
  } else if (result.status != kNotLaunched) {
    output.write(result.output.value_or(""));
  }
  const bool shown = output.flush();
  if (!json && result.status == kNotLaunched) std::cerr << "jv run: ";
  if (!json) std::cerr << result.error.value_or("") << (result.status == kNotLaunched ? "\n" : "");
  if (!shown) std::cerr << "jv run: standard output: " << std::strerror(output.error()) << '\n';
  return shown;
}

int run(const Options& options) {
  std::optional<std::string> input = options.input;
  if (options.inputFile) {
    const int error = jv::readFile(*options.inputFile, input.emplace());
    if (error != 0) {
      std::cerr << "jv run: " + jv::printableName(*options.inputFile) + ": " + std::strerror(error) + '\n';
      return jv::kFailed;
    }
  }
  JVPlatform::TerminationReason reason{};
  Result result;
  const std::string& tool = options.words.front();
  if (const auto path = findTool(tool)) {
    const std::vector<std::string> arguments(options.words.begin() + 1, options.words.end());
    observeTermination(reason);
    result = (options.async ? runInBackground : runHere)(*path, arguments, input, options.directory);
  } else {
    result = {kNotLaunched, std::nullopt, "Cannot find " + tool + " in the folders of PATH"};
  }

  const bool bySignal = reason == JVPlatform::TerminationReason::uncaughtSignal;
  if (!show(result, options.json, bySignal)) return jv::kFailed;
  if (result.status == kNotLaunched) return kExitNotLaunched;
  return bySignal ? kExitSignal + result.status : result.status;
}

constexpr const char* kFooter = R"(jv ends with the tool's exit status, with 128 plus the number of the signal that
ended the tool, or with 127 and the reason when it could not be launched.

TOOL without a slash is looked for in the folders of PATH. A relative path with a
slash counts from the tool's working directory. Without an input, or with an empty one,
the tool's standard input stays open and never ends: a tool that reads it waits for
ever.
Output that is not UTF-8 is not shown.)";

}  // namespace

void jv::addRunCommand(CLI::App& app, int& exitStatus) {
  CLI::App* const command = app.add_subcommand("run", "Runs a tool, and shows its output and its error output");
  command->footer(kFooter);
  const auto options = std::make_shared<Options>();
  const auto text = command->add_option("--input", options->input, "Text for the tool's standard input");
  command->add_option("--input-file", options->inputFile, "File with the tool's standard input; - is that of jv")
      ->excludes(text);
  command->add_option("--directory", options->directory, "The tool's working directory");
  command->add_flag("--json", options->json, "One line of JSON: status or signal, output, error");
  command->add_flag("--async", options->async, "Run it in the background; the result is the same");
  addUnchangedArguments(*command, "TOOL", options->words,
                        "The tool and its arguments; put -- before it when they contain options")
      ->required();
  command->callback([options, &exitStatus] { exitStatus = run(*options); });
}
