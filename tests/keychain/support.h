/// What the tests of the password functions share.
#pragma once

#include <JorvaneFoundation/keychain/JVKeychain.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "fakes/FakeKeychain.h"

namespace jvtest {

using Error = std::optional<JVFoundation::NSError>;

inline constexpr std::string_view kReading = "Error reading credentials from the keychain";
inline constexpr std::string_view kWriting = "Error writing credentials into the keychain";
inline constexpr std::string_view kWritting = "Error writting credentials into the keychain";

inline Error someError() { return JVFoundation::NSError("stale", 42); }

inline std::span<const std::uint8_t> bytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline std::string textOf(const JVFoundation::Value* data) {
  if (data == nullptr || data->data() == nullptr) return "(no data)";
  return {data->data()->begin(), data->data()->end()};
}

MATCHER_P2(IsStatus, description, status, "") {
  return arg && arg->domain() == "NSOSStatusErrorDomain" && arg->code() == status &&
         arg->localizedDescription() == description;
}

MATCHER_P2(IsMalformed, description, suggestion, "") {
  return arg && arg->domain() == "NSPOSIXErrorDomain" && arg->code() == 1 &&
         arg->userInfo() == JVFoundation::Value(JVFoundation::Dictionary{
                                {"NSLocalizedDescriptionKey", std::string(description)},
                                {"NSLocalizedRecoverySuggestionErrorKey", std::string(suggestion)}});
}

/// Checks after each test that everything went back to the keychain once.
class OnFakeKeychain : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(keychain.outstanding(), 0U);
    EXPECT_EQ(keychain.abuses, 0);
  }

  /// The calls but those that hand things back.
  std::vector<std::string> asked() const {
    std::vector<std::string> some;
    for (const std::string& call : keychain.calls) {
      if (call != "free" && !call.starts_with("release")) some.push_back(call);
    }
    return some;
  }

  std::shared_ptr<FakeKeychain> shared = std::make_shared<FakeKeychain>();
  FakeKeychain& keychain = *shared;
  InstalledKeychain installed{shared};
  Error error = someError();
};

}  // namespace jvtest
