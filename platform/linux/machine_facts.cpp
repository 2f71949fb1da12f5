#include "platform/linux/machine_facts.h"

#include <sys/utsname.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "platform/linux/text_files.h"

namespace jv {
namespace {

/// What makers of computers leave in the tables when they have nothing to say.
constexpr std::string_view kFillers[] = {
    "Default string",
    "INVALID",
    "None",
    "Not Applicable",
    "Not Specified",
    "O.E.M.",
    "OEM",
    "System Name",
    "System Product Name",
    "To Be Filled By O.E.M.",
    "To be filled",
    "To be filled by O.E.M.",
    "Undefined",
    "Unknown",
};

bool isFiller(std::string_view model) { return std::ranges::find(kFillers, model) != std::end(kFillers); }

std::string kernelHostName() {
  utsname names;
  if (uname(&names) != 0) return {};
  const std::string_view name = names.nodename;
  const std::string_view own = name.substr(0, name.find('.'));
  return own == "localhost" || own == "(none)" ? std::string() : std::string(own);
}

}  // namespace

std::optional<FoundText> computerName(const std::string& root) {
  if (auto pretty = variableIn(textOfFile(root + "/etc/machine-info"), "PRETTY_HOSTNAME");
      pretty && saysSomething(*pretty)) {
    return FoundText{std::move(*pretty), "/etc/machine-info"};
  }
  const std::string file = textOfFile(root + "/etc/hostname");
  if (const std::string_view host = firstLineOf(file); saysSomething(host)) {
    return FoundText{std::string(host), "/etc/hostname"};
  }
  if (std::string name = kernelHostName(); saysSomething(name)) return FoundText{std::move(name), "kernel's host name"};
  return std::nullopt;
}

std::optional<FoundText> computerModel(const std::string& root) {
  const std::string product = textOfFile(root + "/sys/class/dmi/id/product_name");
  if (const std::string_view model = firstLineOf(product); saysSomething(model) && !isFiller(model)) {
    return FoundText{std::string(model), "firmware tables"};
  }
  const std::string tree = textOfFile(root + "/proc/device-tree/model");
  if (std::string model = tree.substr(0, tree.find('\0')); saysSomething(model)) {
    return FoundText{std::move(model), "device tree"};
  }
  return std::nullopt;
}

std::optional<FoundText> systemText(const std::string& root) {
  constexpr const char* kPlaces[] = {"/etc/os-release", "/usr/lib/os-release"};
  for (const char* const place : kPlaces) {
    auto name = variableIn(textOfFile(root + place), "PRETTY_NAME");
    if (name && saysSomething(*name)) return FoundText{std::move(*name), place};
  }
  return std::nullopt;
}

}  // namespace jv
