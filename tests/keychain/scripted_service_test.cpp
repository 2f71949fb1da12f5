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

class OnScriptedService : public testing::Test {
 protected:
  PasswordService bus;
  ScriptedService service;
};

TEST_F(OnScriptedService, TakesAsFewRoundTripsAsCanBe) {
  service.start();
  EXPECT_TRUE(JVKeychain::genericPasswordsWithService("s"));
  std::vector<std::string> expected{"SearchItems", "OpenSession", "GetAll", "GetAll", "GetSecrets"};
  EXPECT_EQ(service.calls(), expected) << "one fetch for all secrets";
  EXPECT_EQ(save(), 0);
  expected.insert(expected.end(), {"SearchItems", "GetAll", "GetAll", "SetSecret"});
  EXPECT_EQ(service.calls(), expected) << "the session stays open; a label that is there is not written";
}

TEST(ErrorsOfTheService, HaveAStatusEach) {
  struct Case {
    const char* method;
    const char* error;
    OSStatus reading;
    OSStatus writing;
  };
  const Case cases[] = {
      {"SearchItems", "org.freedesktop.DBus.Error.AccessDenied", errSecAuthFailed, errSecAuthFailed},
      {"SearchItems", "org.example.Strange", errSecInternalComponent, errSecInternalComponent},
      {"OpenSession", "org.freedesktop.DBus.Error.Spawn.ChildExited", errSecNotAvailable, errSecNotAvailable},
      {"GetAll", "org.freedesktop.DBus.Error.UnknownObject", -1, 0},  // the item is gone: as if there was none
      {"GetSecrets", "org.freedesktop.Secret.Error.IsLocked", errSecInteractionNotAllowed, 0},
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

TEST_F(OnScriptedService, AnItemThatStaysLockedIsNotTakenForMissing) {
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
      sd_bus_reply_method_return(call, nullptr);
      for (int i = 0; i < 50; ++i) {  // whoever believes the forgery is through with it by then
        sd_bus_call_method(forger, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
                           nullptr, nullptr, nullptr);
      }
      sd_bus_flush_close_unref(forger);
      sendSignal(sd_bus_message_get_bus(call), victim, "/prompt", "org.freedesktop.Secret.Prompt", "Completed", "bv", 1,
                 "ao", 0);
      return true;
    };
    service.start();
    EXPECT_EQ(read(), errSecUserCanceled) << "what the service said";
  }
}

TEST_F(OnScriptedService, AForgottenSessionIsOpenedAgain) {
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

TEST_F(OnScriptedService, AReadIsRepeatedWhenItDiesAndAWriteIsNot) {
  for (const bool reads : {true, false}) {
    installKeychain(nullptr);
    ScriptedService dying, next;  // which takes over
    dying.handlers[reads ? "GetSecrets" : "SetSecret"] = [&](sd_bus_message*) { return dying.die(); };
    dying.start();
    next.start();
    EXPECT_EQ(reads ? read() : save(), reads ? 0 : errSecServiceNotAvailable);
    EXPECT_EQ(next.calls().empty(), !reads);
  }
}

TEST_F(OnScriptedService, AnAnswerThatNeverComesIsGivenUp) {
  service.handlers["SearchItems"] = [](sd_bus_message*) { return true; };
  service.start();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(read(), errSecServiceNotAvailable);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, std::chrono::seconds(24));
  EXPECT_LT(took, std::chrono::seconds(45));
}

}  // namespace
