/// What the system's files say about the machine.
#pragma once

#include <optional>
#include <string>

namespace jv {

/// A text and what gave it.
struct FoundText {
  std::string text;
  const char* origin;  ///< in words; lives as long as the process
};

// A value that is no UTF-8, or has blanks alone, counts as missing.
// Below, @p root stands in front of every path that is read: empty, but for tests.

/// The name that people gave the computer (`/etc/machine-info`), else its host name (`/etc/hostname`), else that of the
/// kernel up to the first full stop, unless it says nothing ("localhost"). Cost: two files, a few microseconds.
std::optional<FoundText> computerName(const std::string& root);

/// The model of the computer from its firmware: the product's name in the DMI tables, without the fillers that makers
/// forget there, else the model of the device tree.
std::optional<FoundText> computerModel(const std::string& root);

/// The name and version of the distribution (os-release, in `/etc`, then in `/usr/lib`).
std::optional<FoundText> systemText(const std::string& root);

}  // namespace jv
