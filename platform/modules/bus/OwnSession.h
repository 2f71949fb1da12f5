/// Finds the session that the process belongs to, whoever carries the questions to the session manager and back.
#pragma once

#include <cstdint>
#include <string>

#include "platform/modules/bus/SdBus.h"

namespace jv {

/// A question about a property of one of the session manager's objects; null without memory.
SdMessage loginPropertyCall(sd_bus* bus, const char* path, const char* interface, const char* property);

/// Three ways lead to the own session. The environment's may name another user's, a process outside any session (in a
/// container, of a user's service) has no second, and the third is right wherever there is only one.
///
///     while (SdMessage question = search.question()) search.take(answerTo(std::move(question)).get());
class OwnSession {
 public:
  /// @param bus  stays open while questions are made; null: there is nothing to ask
  explicit OwnSession(sd_bus* bus) : bus_(bus) {}

  /// What to ask now; null when nothing is left to ask.
  [[nodiscard]] SdMessage question();
  /// Takes the answer to it: null, or an error's, when there is none.
  void take(sd_bus_message* answer);

  /// The path of the session; empty while it is unknown.
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  enum class Step : std::uint8_t { named, owner, process, user, display, over };

  sd_bus* bus_;
  Step step_ = Step::named;
  std::string candidate_;  // path of the object that is asked about
  std::string path_;
};

}  // namespace jv
