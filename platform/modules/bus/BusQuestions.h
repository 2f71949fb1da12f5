/// Questions on a bus whose answers are waited for, up to a moment.
#pragma once

#include <chrono>
#include <cstdint>
#include <initializer_list>

#include "platform/modules/bus/SdBus.h"

namespace jv {

/// A connection for a few questions. The library's own blocking calls wait without end for a bus that lets nobody in.
class BusQuestions {
 public:
  enum class Bus : std::uint8_t { system, session };

  /// @param longestWait  microseconds for all questions together.
  BusQuestions(Bus bus, std::uint64_t longestWait);

  /// The connection, for whoever makes messages for it; null when there is no bus.
  [[nodiscard]] sd_bus* bus() const { return bus_.get(); }

  /// A fresh method call; null when there is no bus.
  [[nodiscard]] SdMessage call(const char* destination, const char* path, const char* interface,
                               const char* method) const;
  /// Sends @p call and waits for the answer; null when there is none, an error, or it does not come in time.
  [[nodiscard]] SdMessage answerTo(SdMessage call) const;

  /// The answer of the bus about a property, opened up so that its value, of the type @p type, is what comes next;
  /// null when there is none of that type.
  [[nodiscard]] SdMessage property(const char* destination, const char* path, const char* interface,
                                   const char* property, const char* type) const;

 private:
  using Clock = std::chrono::steady_clock;

  SdBus bus_;
  Clock::time_point end_;
};

}  // namespace jv
