#include "platform/modules/bus/BusQuestions.h"

#include <cerrno>

namespace jv {
namespace {

struct Answer {
  SdMessage message;
  bool came = false;
};

int keepAnswer(sd_bus_message* message, void* answer, sd_bus_error*) {
  auto& kept = *static_cast<Answer*>(answer);
  kept.message.reset(sd_bus_message_ref(message));
  kept.came = true;
  return 0;
}

SdBus openBus(BusQuestions::Bus bus) {
  sd_bus* opened = nullptr;
  const int status = bus == BusQuestions::Bus::system ? sd_bus_open_system(&opened) : sd_bus_open_user(&opened);
  return SdBus(status < 0 ? nullptr : opened);
}

}  // namespace

BusQuestions::BusQuestions(Bus bus, std::uint64_t longestWait)
    : bus_(openBus(bus)), end_(Clock::now() + std::chrono::microseconds(longestWait)) {}

SdMessage BusQuestions::call(const char* destination, const char* path, const char* interface,
                             const char* method) const {
  sd_bus_message* message = nullptr;
  if (!bus_ || sd_bus_message_new_method_call(bus_.get(), &message, destination, path, interface, method) < 0) {
    return nullptr;
  }
  return SdMessage(message);
}

SdMessage BusQuestions::answerTo(SdMessage call) const {
  if (!call) return nullptr;
  Answer answer;
  sd_bus_slot* slot = nullptr;
  if (sd_bus_call_async(bus_.get(), &slot, call.get(), keepAnswer, &answer, 0) < 0) return nullptr;
  const SdSlot pending(slot);
  while (!answer.came) {
    const int processed = sd_bus_process(bus_.get(), nullptr);
    if (processed < 0) return nullptr;
    if (processed > 0) continue;
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(end_ - Clock::now()).count();
    if (left <= 0) return nullptr;
    const int waited = sd_bus_wait(bus_.get(), static_cast<std::uint64_t>(left));
    if (waited < 0 && waited != -EINTR) return nullptr;
  }
  if (sd_bus_message_is_method_error(answer.message.get(), nullptr) > 0) return nullptr;
  return std::move(answer.message);
}

SdMessage BusQuestions::property(const char* destination, const char* path, const char* interface, const char* property,
                                 const char* type) const {
  SdMessage get = call(destination, path, "org.freedesktop.DBus.Properties", "Get");
  if (!get || sd_bus_message_append(get.get(), "ss", interface, property) < 0) return nullptr;
  SdMessage answer = answerTo(std::move(get));
  if (!answer || sd_bus_message_enter_container(answer.get(), 'v', type) <= 0) return nullptr;
  return answer;
}

}  // namespace jv
