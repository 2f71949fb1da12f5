#include "platform/modules/bus/Accounts.h"

#include "platform/modules/bus/BusQuestions.h"

namespace jv {
namespace {

constexpr const char* kService = "org.freedesktop.Accounts";

std::string textProperty(const BusQuestions& bus, const char* user, const char* name) {
  const SdMessage answer = bus.property(kService, user, "org.freedesktop.Accounts.User", name, "s");
  const char* text = nullptr;
  if (!answer || sd_bus_message_read(answer.get(), "s", &text) <= 0) return {};
  return text;
}

}  // namespace

bool readAccount(std::uint32_t user, std::uint64_t longestWait, Account& account) noexcept try {
  const BusQuestions bus(BusQuestions::Bus::system, longestWait);
  SdMessage find = bus.call(kService, "/org/freedesktop/Accounts", kService, "FindUserById");
  if (!find || sd_bus_message_append(find.get(), "x", static_cast<std::int64_t>(user)) < 0) return false;
  const SdMessage found = bus.answerTo(std::move(find));
  const char* path = nullptr;
  if (!found || sd_bus_message_read(found.get(), "o", &path) <= 0) return false;
  account = {textProperty(bus, path, "RealName"), textProperty(bus, path, "Email")};
  return true;
} catch (...) {
  return false;
}

}  // namespace jv
