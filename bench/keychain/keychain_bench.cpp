// What passwords cost on a real password service, next to the same exchanges as bare sd-bus calls and to libsecret.
//
//   bench_keychain [--short]
#include <cstdio>
#include <cstdlib>
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
#include "support/report.h"

namespace {

using jv::bench::Measure;
using jv::bench::microsecondsOf;
using jv::bench::Who;

constexpr const char* kSchema = "org.gnome.keyring.NetworkPassword";
constexpr int kItems = 12;

void require(bool holds) {
  if (holds) return;
  std::fprintf(stderr, "a candidate gave a wrong answer\n");
  std::exit(1);
}

std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// Microseconds of the first read in a process of its own.
std::optional<double> firstCall() {
  FILE* const program = popen(JV_FIRST_CALL, "r");
  double took = 0;
  require(program != nullptr && std::fscanf(program, "%lf", &took) == 1);
  pclose(program);
  return took;
}

std::string hostOf(const char* who, int round) { return who + std::to_string(round); }

struct Peers {
  Measure lookUp, search, store;
};

/// Empty where the library is not there.
Peers libsecret() {
  Peers peers;
#ifdef WITH_LIBSECRET
  peers.lookUp = microsecondsOf([] {
    char* const password = secret_password_lookup_sync(SECRET_SCHEMA_COMPAT_NETWORK, nullptr, nullptr, "server",
                                                       "host-0", "user", "user", nullptr);
    require(password != nullptr);
    secret_password_free(password);
  });
  peers.search = microsecondsOf([] {
    SecretService* const client = secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, nullptr);
    GHashTable* const attributes = g_hash_table_new(g_str_hash, g_str_equal);
    g_hash_table_insert(attributes, const_cast<char*>("service"), const_cast<char*>("service"));
    const int flags = SECRET_SEARCH_ALL | SECRET_SEARCH_LOAD_SECRETS;
    GList* const items = secret_service_search_sync(client, nullptr, attributes, static_cast<SecretSearchFlags>(flags),
                                                    nullptr, nullptr);
    require(g_list_length(items) == kItems);
    g_list_free_full(items, g_object_unref);
    g_hash_table_unref(attributes);
    g_object_unref(client);
  });
  peers.store = microsecondsOf([] {
    require(secret_password_store_sync(SECRET_SCHEMA_COMPAT_NETWORK, SECRET_COLLECTION_DEFAULT, "label", "password",
                                       nullptr, nullptr, "server", "host-1", "user", "user", nullptr) != 0);
  });
#endif
  return peers;
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

  const std::vector<std::pair<const char*, const char*>> attributes{
      {"xdg:schema", kSchema}, {"server", "host-0"}, {"user", "user"}};
  bare::Service floor;
  floor.openSession();
  const Peers peers = libsecret();
  const jv::bench::Subject subject("Passwords in a service", "µs");
  subject.compare("read one",
                  {
                      {Who::kFloor, "bare sd-bus", microsecondsOf([&] { require(floor.read(attributes) == 8); })},
                      {Who::kOurs, "passwordForHost",
                       microsecondsOf([] { require(JVKeychain::passwordForHost("host-0", "user", 0) == "password"); })},
                      {Who::kPeer, "libsecret, look-up", peers.lookUp},
                  },
                  reads);
  subject.compare("read the twelve of a service",
                  {
                      {Who::kFloor, "bare sd-bus, call by call", microsecondsOf([&] {
                         require(floor.read({{"service", "service"}}) == 8 * kItems);
                       })},
                      {Who::kOurs, "genericPasswordsWithService", microsecondsOf([] {
                         const auto all = JVKeychain::genericPasswordsWithService("service");
                         require(all && all->dictionary()->size() == kItems);
                       })},
                      {Who::kPeer, "libsecret, search", peers.search},
                  },
                  reads / 5);
  subject.compare("save over one",
                  {
                      {Who::kFloor, "bare sd-bus", microsecondsOf([&] { floor.replace(attributes, "password"); })},
                      {Who::kOurs, "savePassword",
                       microsecondsOf([] { require(JVKeychain::savePassword("password", "host-0", "user", 0)); })},
                      {Who::kPeer, "libsecret, store", peers.store},
                  },
                  writes);
  subject.compare(
      "save a new one",
      {
          {Who::kFloor, "bare sd-bus", microsecondsOf([&, round = 0]() mutable {
             const std::string host = hostOf("bare-", round++);
             floor.create({{"xdg:schema", kSchema}, {"server", host.c_str()}, {"user", "user"}}, "password");
           })},
          {Who::kOurs, "savePassword", microsecondsOf([round = 0]() mutable {
             require(JVKeychain::savePassword("password", hostOf("new-", round++), "user", 0));
           })},
      },
      writes);
  subject.compare("first read of a process",
                  {
                      {Who::kFloor, "bare sd-bus, loaded already", microsecondsOf([&] {
                         bare::Service fresh;
                         fresh.openSession();
                         require(fresh.read(attributes) > 0);
                       })},
                      {Who::kOurs, "passwordForHost, with loading", firstCall},
                  },
                  isShort ? 5 : 50);
}
