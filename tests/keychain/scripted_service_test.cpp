// The default keychain on a service that misbehaves, or looks closely at how it is asked.
#include "scripted_service.h"

#include <chrono>
#include <functional>

#include "password_service.h"
#include "support.h"

namespace {

using namespace jvtest;
using namespace JVPlatform;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

/// The status of a read: 0 when the password came.
std::int64_t read() {
  Error error;
  const auto password = JVKeychain::passwordForHost("h", "u", 0, &error);
  return error ? error->code() : password == "0" ? 0 : -1;
}

std::int64_t save() {
  Error error;
  return JVKeychain::savePassword("p", "h", "u", 0, &error) ? 0 : error->code();
}

template <class... Arguments>
void sendSignal(sd_bus* bus, const char* to, const char* path, const char* interface, const char* name,
                const char* types, Arguments... arguments) {
  sd_bus_message* signal = nullptr;
  sd_bus_message_new_signal(bus, &signal, path, interface, name);
  sd_bus_message_append(signal, types, arguments...);
  sd_bus_message_set_destination(signal, to);
  sd_bus_send(bus, signal, nullptr);
  sd_bus_message_unref(signal);
}

/// When it returns, the bus has passed on what was sent before.
void askTheBus(sd_bus* bus) {
  sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId", nullptr,
                     nullptr, nullptr);
}

class OnScriptedService : public testing::Test {
 protected:
  PasswordService bus;
  ScriptedService service, next;  // the other one takes over when the service dies, if it is started
};
using RoundTrips = OnScriptedService;
using Errors = OnScriptedService;

TEST_F(RoundTrips, ReadingAndSavingTakeAsFewAsCanBe) {
  service.start();
  EXPECT_EQ(read(), 0);
  std::vector<std::string> expected{"SearchItems", "OpenSession", "GetAll", "GetSecrets"};
  EXPECT_EQ(service.calls(), expected);
  EXPECT_EQ(read(), 0);
  expected.insert(expected.end(), {"SearchItems", "GetAll", "GetSecrets"});
  EXPECT_EQ(service.calls(), expected) << "the session stays open";
  EXPECT_EQ(save(), 0);
  expected.insert(expected.end(), {"SearchItems", "GetAll", "SetSecret"});
  EXPECT_EQ(service.calls(), expected) << "a label that is there is not written";
}

TEST_F(RoundTrips, ManyItemsAreAskedForTogether) {
  constexpr int kItems = 100;
  service.items = kItems;
  // Nothing is answered before everything was asked: whoever waits for one answer at a time waits for ever.
  std::vector<sd_bus_message*> waiting;
  service.handlers["GetAll"] = [&](sd_bus_message* call) {
    waiting.push_back(sd_bus_message_ref(call));
    if (waiting.size() < kItems) return true;
    for (sd_bus_message* one : waiting) {
      service.answerProperties(one);
      sd_bus_message_unref(one);
    }
    waiting.clear();
    return true;
  };
  service.start();
  const auto passwords = JVKeychain::genericPasswordsWithService("s");
  ASSERT_TRUE(passwords);
  EXPECT_EQ(passwords->dictionary()->size(), std::size_t{kItems});
  EXPECT_EQ(textOf(passwords->find("42")), "42");
  EXPECT_EQ(service.calls().size(), std::size_t{2 + kItems + 1}) << "one fetch for all secrets";
}

TEST(StatusOfErrors, IsOneEach) {
  struct Case {
    const char* method;
    const char* error;
    OSStatus reading;
    OSStatus writing;
  };
  const Case cases[] = {
      {"SearchItems", "org.freedesktop.DBus.Error.AccessDenied", errSecAuthFailed, errSecAuthFailed},
      {"SearchItems", "org.freedesktop.DBus.Error.UnknownMethod", errSecInternalComponent, errSecInternalComponent},
      {"SearchItems", "org.example.Strange", errSecInternalComponent, errSecInternalComponent},
      {"OpenSession", "org.freedesktop.DBus.Error.Spawn.ChildExited", errSecNotAvailable, errSecNotAvailable},
      {"GetAll", "org.freedesktop.DBus.Error.UnknownObject", -1, 0},  // the item is gone: as if there was none
      {"GetSecrets", "org.freedesktop.Secret.Error.IsLocked", errSecInteractionNotAllowed, 0},
      {"SetSecret", "org.freedesktop.DBus.Error.NotSupported", 0, errSecReadOnly},
      {"SetSecret", "org.freedesktop.DBus.Error.PropertyReadOnly", 0, errSecReadOnly},
      {"SetSecret", "org.freedesktop.DBus.Error.Failed", 0, errSecReadOnly},
      {"GetSecrets", "org.freedesktop.DBus.Error.Failed", errSecInternalComponent, 0},
      {"SetSecret", "org.freedesktop.DBus.Error.LimitsExceeded", 0, errSecParam},
      {"SetSecret", "org.freedesktop.Secret.Error.NoSuchObject", 0, errSecItemNotFound},
  };
  PasswordService bus;
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.method) + " " + c.error);
    installKeychain(nullptr);
    ScriptedService service;
    service.handlers[c.method] = [&](sd_bus_message* call) { return ScriptedService::fail(call, c.error); };
    service.start();
    EXPECT_EQ(read(), c.reading);
    // Adding needs an item that is not there yet.
    EXPECT_EQ(save(), c.writing);
  }
}

TEST_F(Errors, AnItemThatStaysLockedIsNotTakenForMissing) {
  service.handlers["SearchItems"] = ScriptedService::answerOneLocked;
  service.handlers["GetAll"] = ScriptedService::answerHashes;
  service.handlers["Unlock"] = [](sd_bus_message* call) { return ScriptedService::answerUnlock(call, "/"); };
  service.start();
  EXPECT_EQ(read(), errSecInteractionNotAllowed);
  EXPECT_EQ(save(), errSecInteractionNotAllowed);
  EXPECT_THAT(service.calls(), Not(Contains("CreateItem")));
}

TEST(Prompts, OnlyTheServiceAndTheBusEndThem) {
  const std::function<void(sd_bus*, const char*)> forgeries[] = {
      [](sd_bus* bus, const char* victim) {
        sendSignal(bus, victim, "/prompt", "org.freedesktop.Secret.Prompt", "Completed", "bv", 0, "ao", 0);
      },
      [](sd_bus* bus, const char* victim) {
        sendSignal(bus, victim, "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged", "sss",
                   "org.freedesktop.secrets", ":1.0", "");
      },
  };
  PasswordService bus;
  setenv("DISPLAY", ":test", 1);
  for (const auto& forge : forgeries) {
    installKeychain(nullptr);
    ScriptedService service;
    service.handlers["SearchItems"] = ScriptedService::answerOneLocked;
    service.handlers["Unlock"] = [](sd_bus_message* call) { return ScriptedService::answerUnlock(call, "/prompt"); };
    service.handlers["Prompt"] = [&](sd_bus_message* call) {
      const char* const victim = sd_bus_message_get_sender(call);
      sd_bus* forger = nullptr;
      sd_bus_open_user(&forger);
      forge(forger, victim);
      askTheBus(forger);
      sd_bus_reply_method_return(call, nullptr);
      for (int i = 0; i < 50; ++i) askTheBus(forger);  // whoever believes the forgery is through with it by then
      sd_bus_flush_close_unref(forger);
      sendSignal(sd_bus_message_get_bus(call), victim, "/prompt", "org.freedesktop.Secret.Prompt", "Completed", "bv", 1,
                 "ao", 0);
      return true;
    };
    service.start();
    EXPECT_EQ(read(), errSecUserCanceled) << "what the service said";
  }
}

TEST_F(Errors, AForgottenSessionIsOpenedAgain) {
  int sessions = 0, refused = 0;
  service.handlers["OpenSession"] = [&](sd_bus_message*) { return ++sessions, false; };
  const auto refuseOnce = [&](sd_bus_message* call) {
    return refused++ % 2 == 0 && ScriptedService::fail(call, "org.freedesktop.Secret.Error.NoSession");
  };
  service.handlers["GetSecrets"] = refuseOnce;
  service.handlers["SetSecret"] = refuseOnce;
  service.start();
  EXPECT_EQ(read(), 0);
  EXPECT_EQ(save(), 0);
  EXPECT_EQ(sessions, 3);
}

TEST_F(Errors, AReadIsRepeatedWhenTheServiceDies) {
  service.handlers["GetSecrets"] = [&](sd_bus_message*) { return service.die(); };
  service.start();
  next.start();
  EXPECT_EQ(read(), 0);
  EXPECT_THAT(next.calls(), Contains("GetSecrets"));
}

TEST_F(Errors, AWriteIsNotRepeatedWhenTheServiceDies) {
  service.handlers["SetSecret"] = [&](sd_bus_message*) { return service.die(); };
  service.start();
  next.start();
  EXPECT_EQ(save(), errSecServiceNotAvailable);
  EXPECT_THAT(next.calls(), Not(Contains("SetSecret")));
}

TEST_F(Errors, AnAnswerThatNeverComesIsGivenUp) {
  service.handlers["SearchItems"] = [](sd_bus_message*) { return true; };
  service.start();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(read(), errSecServiceNotAvailable);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, std::chrono::seconds(24));
  EXPECT_LT(took, std::chrono::seconds(45));
}

}  // namespace
