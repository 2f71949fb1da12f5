// jv info: what the library knows about system, machine and user, and where it has it from.

#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <JorvaneFoundation/platform/DeviceRegistry.h>
#include <JorvaneFoundation/platform/FactOrigin.h>
#include <JorvaneFoundation/platform/Modules.h>
#include <JorvaneFoundation/platform/ProcessInformation.h>
#include <JorvaneFoundation/system/JVUtilities.h>
#include <JorvaneFoundation/system/NSProcessInfo.h>

#include "commands.h"
#include "output.h"
#include "text_forms.h"

namespace {

using Json = nlohmann::ordered_json;
using JVPlatform::Fact;

constexpr const char* kProtectionTool = "/usr/bin/csrutil";

Json optionalText(const std::optional<std::string>& text) { return text ? Json(*text) : Json(nullptr); }

std::string interfaceName() {
  std::string name;
  JVUtilities::ipAddress(&name);
  return name;
}

/// Seconds since the last input; null when nobody can tell.
Json idleSeconds() {
  const auto services = JVPlatform::deviceRegistry()->IOServiceGetMatchingServices(JVPlatform::kIOHIDSystemClass);
  const auto service = services ? services->IOIteratorNext() : nullptr;
  const auto properties = service ? service->IORegistryEntryCreateCFProperties() : std::nullopt;
  const auto* const time = properties ? properties->number(JVPlatform::kIOHIDIdleTimeKey) : nullptr;
  constexpr double kSecond = 1e9;
  return time ? Json(time->doubleValue() / kSecond) : Json(nullptr);
}

std::string originOfProtection() { return std::filesystem::exists(kProtectionTool) ? kProtectionTool : ""; }

struct Row {
  const char* name;
  std::function<Json()> value;
  std::function<std::string()> origin;
};

std::function<std::string()> from(Fact fact) {
  return [fact] { return std::string(JVPlatform::originOf(fact)); };
}

const std::vector<Row>& rows() {
  // clang-format off
  static const std::vector<Row> all{
      {"system", [] { return JVFoundation::NSProcessInfo::processInfo().operatingSystemVersionString(); },
       from(Fact::systemText)},
      {"system description", [] { return JVFoundation::NSProcessInfo::processInfo().operatingSystemVersionDescription(); },
       from(Fact::systemText)},
      {"system version", [] { return JVUtilities::stringFromOperatingSystemVersion(
           JVPlatform::processInformation()->operatingSystemVersion()); }, from(Fact::systemVersion)},
      {"at least 10.14.0", JVUtilities::runningOnMojave, from(Fact::systemVersion)},
      {"at least 10.15.0", JVUtilities::runningOnCatalina, from(Fact::systemVersion)},
      {"at least 11.0.0", JVUtilities::runningOnBigSur, from(Fact::systemVersion)},
      {"system integrity protection", JVUtilities::isSIPEnabled, originOfProtection},
      {"user name", [] { return optionalText(JVUtilities::userName()); }, from(Fact::userName)},
      {"user e-mail", [] { return optionalText(JVUtilities::userEmail()); }, from(Fact::userEmail)},
      {"computer name", JVUtilities::computerName, from(Fact::computerName)},
      {"computer model", JVUtilities::computerModel, from(Fact::computerModel)},
      {"network interface", interfaceName, from(Fact::network)},
      {"IP address", [] { return JVUtilities::ipAddress(); }, from(Fact::network)},
      {"idle seconds", idleSeconds, from(Fact::idleTime)},
  };
  // clang-format on
  return all;
}

std::string lineOf(const Json& object) {
  return object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

std::string shown(const Json& value) {
  if (value.is_null()) return "none";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (!value.is_string()) return value.dump();
  const auto text = value.get<std::string>();
  return text.empty() ? "none" : jv::printableName(text);
}

std::string factLine(const Row& row, bool json) {
  const Json value = row.value();
  const std::string origin = row.origin();
  if (json)
    return lineOf({{"fact", row.name}, {"value", value}, {"origin", origin.empty() ? Json(nullptr) : Json(origin)}});
  std::string line = row.name + std::string(": ") + shown(value);
  return line + (origin.empty() ? " (fixed: nobody could tell)\n" : " (" + origin + ")\n");
}

std::string moduleLine(const JVPlatform::ModuleState& module, bool json) {
  if (json) return lineOf({{"module", module.name}, {"problem", module.problem}});
  return "module " + module.name + ": not loaded (" + jv::printableName(module.problem) + ")\n";
}

int info(bool json) {
  jv::Output output;
  for (const Row& row : rows()) output.write(factLine(row, json));
  for (const auto& module : JVPlatform::modules()) {
    if (!module.problem.empty()) output.write(moduleLine(module, json));
  }
  if (output.flush()) return jv::kDone;
  std::cerr << "jv info: cannot write: " << std::strerror(output.error()) << '\n';
  return jv::kFailed;
}

constexpr const char* kFooter =
    R"(Prints a fact a line, and in parentheses where it comes from. Facts that nobody could tell have fixed values.
The first word of the system description is the same on every system.

Other programs that are asked get a tenth of a second each.)";

}  // namespace

void jv::addInfoCommand(CLI::App& app, int& exitStatus) {
  CLI::App* const command = app.add_subcommand("info", "What is known about system, machine and user");
  command->footer(kFooter);
  const auto json = std::make_shared<bool>(false);
  command->add_flag("--json", *json, "A line of JSON for each: fact, value, origin");
  command->callback([json, &exitStatus] { exitStatus = info(*json); });
}
