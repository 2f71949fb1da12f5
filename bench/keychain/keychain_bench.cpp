// What passwords cost on a real password service, next to the same exchanges as bare sd-bus calls and to libsecret. The
// candidates take turns; a row is the median and the best time, each with its ratio to the first row.
//
//   bench_keychain [--short]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#ifdef WITH_LIBSECRET
#include <libsecret/secret.h>
#endif

#include <JorvaneFoundation/keychain/JVKeychain.h>

#include "bare_service.h"
#include "keychain/password_service.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Candidate {
  const char* name;
  std::function<void(int round)> run;
};

constexpr const char* kSchema = "org.gnome.keyring.NetworkPassword";
constexpr int kItems = 12;

void require(bool holds) {
  if (holds) return;
  std::fprintf(stderr, "a candidate gave a wrong answer\n");
  std::exit(1);
}

void compare(const char* title, const std::vector<Candidate>& all, int rounds) {
  std::printf("%s, %d rounds\n", title, rounds);
  std::vector<std::vector<double>> times(all.size());
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t turn = 0; turn < all.size(); ++turn) {
      const std::size_t i = (turn + static_cast<std::size_t>(round)) % all.size();
      const auto begin = Clock::now();
      all[i].run(round);
      times[i].push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    }
  }
  for (auto& some : times) std::ranges::sort(some);
  const std::size_t middle = times[0].size() / 2;
  for (std::size_t i = 0; i < all.size(); ++i) {
    std::printf("  %-32s %10.1f us %6.2f %12.1f us %6.2f\n", all[i].name, times[i][middle],
                times[i][middle] / times[0][middle], times[i].front(), times[i].front() / times[0].front());
  }
}

std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// Microseconds of the first read in a process of its own.
double firstCall() {
  FILE* const program = popen(JV_FIRST_CALL, "r");
  double took = 0;
  require(program != nullptr && std::fscanf(program, "%lf", &took) == 1);
  pclose(program);
  return took;
}

void compareFirstCalls(int rounds) {
  std::printf("first read in a process, %d rounds\n", rounds);
  std::vector<double> bareTimes, ours;
  for (int round = 0; round < rounds; ++round) {
    const auto begin = Clock::now();
    bare::Service service;
    service.openSession();
    require(service.read({{"xdg:schema", kSchema}, {"server", "host-0"}, {"user", "user"}}) > 0);
    bareTimes.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    ours.push_back(firstCall());
  }
  std::ranges::sort(bareTimes);
  std::ranges::sort(ours);
  const std::size_t middle = ours.size() / 2;
  std::printf("  %-32s %10.1f us        %12.1f us\n", "bare sd-bus, library loaded", bareTimes[middle], bareTimes[0]);
  std::printf("  %-32s %10.1f us        %12.1f us\n", "passwordForHost, all loading", ours[middle], ours[0]);
  std::printf("  %-32s %10.1f us        %12.1f us\n", "more", ours[middle] - bareTimes[middle], ours[0] - bareTimes[0]);
}

}  // namespace

int main(int argc, char** argv) {
  const bool isShort = argc > 1 && std::string(argv[1]) == "--short";
  const int reads = isShort ? 50 : 1000;
  const int writes = isShort ? 10 : 100;
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  jvtest::PasswordService service;
  service.tell("start");
  require(JVKeychain::savePassword("password", "host-0", "user", JVKeychainProtocolAny));
  for (int at = 0; at < kItems; ++at) {
    require(JVKeychain::saveGenericPassword(bytesOf("password"), "service", std::to_string(at), "/"));
  }

  compareFirstCalls(isShort ? 5 : 50);

  bare::Service floor;
  floor.openSession();
  compare("read one internet password",
          {
              {"bare sd-bus",
               [&](int) {
                 require(floor.read({{"xdg:schema", kSchema}, {"server", "host-0"}, {"user", "user"}}) == 8);
               }},
              {"passwordForHost", [](int) { require(JVKeychain::passwordForHost("host-0", "user", 0) == "password"); }},
#ifdef WITH_LIBSECRET
              {"libsecret, look-up by attributes",
               [](int) {
                 char* const password = secret_password_lookup_sync(SECRET_SCHEMA_COMPAT_NETWORK, nullptr, nullptr,
                                                                    "server", "host-0", "user", "user", nullptr);
                 require(password != nullptr);
                 secret_password_free(password);
               }},
#endif
          },
          reads);

  compare("read a service with 12 passwords",
          {
              {"bare sd-bus, one call at a time",
               [&](int) {
                 require(floor.read({{"service", "service"}}) == 8 * kItems);
               }},
              {"genericPasswordsWithService",
               [](int) {
                 const auto all = JVKeychain::genericPasswordsWithService("service");
                 require(all && all->dictionary()->size() == kItems);
               }},
#ifdef WITH_LIBSECRET
              {"libsecret, search with secrets",
               [](int) {
                 SecretService* const client = secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, nullptr);
                 GHashTable* const attributes = g_hash_table_new(g_str_hash, g_str_equal);
                 g_hash_table_insert(attributes, const_cast<char*>("service"), const_cast<char*>("service"));
                 const int flags = SECRET_SEARCH_ALL | SECRET_SEARCH_LOAD_SECRETS;
                 GList* const items = secret_service_search_sync(
                     client, nullptr, attributes, static_cast<SecretSearchFlags>(flags), nullptr, nullptr);
                 require(g_list_length(items) == kItems);
                 g_list_free_full(items, g_object_unref);
                 g_hash_table_unref(attributes);
                 g_object_unref(client);
               }},
#endif
          },
          reads / 5);

  compare("save over an internet password",
          {
              {"bare sd-bus",
               [&](int) {
                 floor.replace({{"xdg:schema", kSchema}, {"server", "host-0"}, {"user", "user"}}, "password");
               }},
              {"savePassword", [](int) { require(JVKeychain::savePassword("password", "host-0", "user", 0)); }},
#ifdef WITH_LIBSECRET
              {"libsecret, store",
               [](int) {
                 require(secret_password_store_sync(SECRET_SCHEMA_COMPAT_NETWORK, SECRET_COLLECTION_DEFAULT, "label",
                                                    "password", nullptr, nullptr, "server", "host-1", "user", "user",
                                                    nullptr) != 0);
               }},
#endif
          },
          writes);

  compare(
      "save a new internet password",
      {
          {"bare sd-bus",
           [&](int round) {
             const std::string host = "bare-" + std::to_string(round);
             floor.create({{"xdg:schema", kSchema}, {"server", host.c_str()}, {"user", "user"}}, "password");
           }},
          {"savePassword",
           [](int round) { require(JVKeychain::savePassword("password", "new-" + std::to_string(round), "user", 0)); }},
      },
      writes);
}
