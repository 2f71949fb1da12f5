// A program finds the modules beside the library, wherever the installed tree is.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <stdlib.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "expect.h"

namespace {

/// The path of the first file in the process's memory whose name begins with @p name.
std::string mapped(std::string_view name) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    const auto path = line.find('/');
    if (path != std::string::npos && line.compare(line.rfind('/') + 1, name.size(), name) == 0)
      return line.substr(path);
  }
  return {};
}

}  // namespace

int main() {
  char folder[] = "/tmp/consumer.XXXXXX";
  EXPECT(::mkdtemp(folder));
  const std::array<std::uint8_t, 32> vaultKey{1, 2, 3};
  const auto vault =
      JVPlatform::openVault(std::string(folder) + "/vault", vaultKey, JVPlatform::VaultFile::createIfMissing);
  std::filesystem::remove_all(folder);

  EXPECT(vault != nullptr);
  EXPECT(JVPlatform::modules().size() == 1 && JVPlatform::modules()[0].problem.empty());
  const std::string library = mapped("libJorvaneFoundation.so");
  EXPECT(mapped("vault.so") == library.substr(0, library.rfind('/')) + "/JorvaneFoundation/vault.so");
}
