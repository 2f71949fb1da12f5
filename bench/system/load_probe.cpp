// An empty C++ program, once with the library and once without. Asked to, it says what it holds.
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>

#ifdef WITH_LIBRARY
#include <JorvaneFoundation/foundation/version.h>
#endif

int main(int argc, char**) {
#ifdef WITH_LIBRARY
  if (JorvaneFoundationVersionNumber < 1) return 1;
#endif
  if (argc == 1) return 0;
  const auto count = [](const char* folder) { return std::distance(std::filesystem::directory_iterator(folder), {}); };
  // One of the descriptors is that of the folder itself.
  std::printf("%td threads, %td descriptors\n", count("/proc/self/task"), count("/proc/self/fd") - 1);
}
