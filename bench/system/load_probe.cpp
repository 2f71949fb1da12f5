// An empty C++ program, once with the library and once without. Asked to, it says what it holds.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#ifdef WITH_LIBRARY
#include <JorvaneFoundation/foundation/version.h>
#endif

namespace {

std::ptrdiff_t entriesOf(const char* folder) { return std::distance(std::filesystem::directory_iterator(folder), {}); }

/// KiB.
long peakMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    long size = 0;
    if (word == "VmHWM:" && status >> size) return size;
  }
  return 0;
}

}  // namespace

int main(int argc, char**) {
  const char* who = "without";
#ifdef WITH_LIBRARY
  if (JorvaneFoundationVersionNumber < 1) return 1;
  who = "with";
#endif
  if (argc == 1) return 0;
  const long peak = peakMemory();
  // One of the descriptors is that of the folder itself.
  std::printf("- A program %s the library holds %ld KiB at most, %td thread, %td descriptors.\n", who, peak,
              entriesOf("/proc/self/task"), entriesOf("/proc/self/fd") - 1);
}
