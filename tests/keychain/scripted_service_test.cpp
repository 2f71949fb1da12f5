// The default keychain on a service that misbehaves, or looks closely at how it is asked.
#include "scripted_service.h"

#include "password_service.h"
#include "support.h"

namespace {

using namespace jvtest;
using namespace JVPlatform;

/// The status of a read: 0 when the password came, -1 when there was none.
std::int64_t read() {
  Error error;
  const auto password = JVKeychain::passwordForHost("h", "u", 0, &error);
  return error ? error->code() : password == "0" ? 0 : -1;
}

std::int64_t save() { return jvtest::save("p", "h", "u"); }

class OnScriptedService : public testing::Test {
 protected:
  PasswordService bus;
  ScriptedService service;
};

TEST(ErrorsOfTheService, HaveAStatusEach) {
  const struct {
    const char *method, *error;
    OSStatus reading, writing;
  } cases[] = {
      {"SearchItems", "org.freedesktop.DBus.Error.AccessDenied", errSecAuthFailed, errSecAuthFailed},
      {"OpenSession", "org.freedesktop.DBus.Error.Spawn.ChildExited", errSecNotAvailable, errSecNotAvailable},
      {"GetSecrets", "org.freedesktop.Secret.Error.IsLocked", errSecInteractionNotAllowed, 0},
      {"SetSecret", "org.freedesktop.DBus.Error.Failed", 0, errSecReadOnly},
      {"SetSecret", "org.freedesktop.Secret.Error.NoSuchObject", 0, errSecItemNotFound},
  };
  PasswordService bus;
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.method) + " " + c.error);
    installKeychain(nullptr);
    ScriptedService service;
    service.handlers[c.method] = [&](sd_bus_message* call) {
      return sd_bus_reply_method_errorf(call, c.error, "as the script says") >= 0;
    };
    service.start();
    EXPECT_EQ(read(), c.reading);
    EXPECT_EQ(save(), c.writing);
  }
}

/// An item that is locked, and shows nothing but hashes as long as it is. Unlocking it takes @p prompt, or nothing.
void lock(ScriptedService& service, const char* prompt) {
  service.handlers["SearchItems"] = [](sd_bus_message* call) {
    return sd_bus_reply_method_return(call, "aoao", 0, 1, "/item/0") >= 0;
  };
  service.handlers["GetAll"] = [](sd_bus_message* call) {
    return sd_bus_reply_method_return(call, "a{sv}", 2, "Locked", "b", 1, "Attributes", "a{ss}", 1,
                                      "gkr:compat:hashed:server", "2510c39011c5be704182423e3a695e91") >= 0;
  };
  service.handlers["Unlock"] = [prompt](sd_bus_message* call) {
    return sd_bus_reply_method_return(call, "aoo", 0, prompt) >= 0;
  };
}

TEST_F(OnScriptedService, AnItemThatStaysLockedIsNotTakenForMissing) {
  lock(service, "/");
  service.start();
  EXPECT_EQ(read(), errSecInteractionNotAllowed);
  EXPECT_EQ(save(), errSecInteractionNotAllowed);
  EXPECT_THAT(service.calls(), testing::Not(testing::Contains("CreateItem")));
}

template <class... Arguments>
void sendTo(const char* destination, sd_bus* bus, const char* path, const char* interface, const char* name,
            const char* types, Arguments... arguments) {
  sd_bus_message* signal = nullptr;
  sd_bus_message_new_signal(bus, &signal, path, interface, name);
  sd_bus_message_append(signal, types, arguments...);
  sd_bus_message_set_destination(signal, destination);
  sd_bus_send(bus, signal, nullptr);
  sd_bus_message_unref(signal);
}

TEST_F(OnScriptedService, OnlyItAndTheBusEndPrompts) {
  setenv("DISPLAY", ":test", 1);
  lock(service, "/prompt");
  service.handlers["Prompt"] = [](sd_bus_message* call) {
    const char* const victim = sd_bus_message_get_sender(call);
    sd_bus_reply_method_return(call, nullptr);
    sd_bus* forger = nullptr;
    sd_bus_open_user(&forger);
    sendTo(victim, forger, "/prompt", "org.freedesktop.Secret.Prompt", "Completed", "bv", 0, "ao", 0);
    sendTo(victim, forger, "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged", "sss",
           "org.freedesktop.secrets", ":1.0", "");
    for (int i = 0; i < 50; ++i) {  // whoever believes the forgery is through with it by then
      sd_bus_call_method(forger, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
                         nullptr, nullptr, nullptr);
    }
    sd_bus_flush_close_unref(forger);
    sendTo(victim, sd_bus_message_get_bus(call), "/prompt", "org.freedesktop.Secret.Prompt", "Completed", "bv", 1, "ao",
           0);
    return true;
  };
  service.start();
  EXPECT_EQ(read(), errSecUserCanceled) << "what the service said";
}

TEST_F(OnScriptedService, AReadIsRepeatedWhenItDiesAndAWriteIsNot) {
  for (const bool reads : {true, false}) {
    installKeychain(nullptr);
    ScriptedService dying, next;  // which takes over
    dying.handlers[reads ? "GetSecrets" : "SetSecret"] = [&](sd_bus_message*) { return dying.die(), true; };
    dying.start();
    next.start();
    EXPECT_EQ(reads ? read() : save(), reads ? 0 : errSecServiceNotAvailable);
    EXPECT_EQ(next.calls().empty(), !reads);
  }
}

TEST_F(OnScriptedService, AnAnswerThatNeverComesIsGivenUp) {
  service.handlers["SearchItems"] = [](sd_bus_message*) { return true; };
  service.start();
  EXPECT_EQ(read(), errSecServiceNotAvailable);
}

}  // namespace
