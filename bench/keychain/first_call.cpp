// How long the first read of a password takes in a process that has nothing loaded but the library, in microseconds.
#include <chrono>
#include <cstdio>

#include <JorvaneFoundation/keychain/JVKeychain.h>

int main() {
  const auto begin = std::chrono::steady_clock::now();
  if (!JVKeychain::passwordForHost("host-0", "user", JVKeychainProtocolAny)) return 1;
  const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - begin;
  std::printf("%.1f\n", took.count());
}
