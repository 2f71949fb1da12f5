#include <JorvaneFoundation/system/JVUtilities.h>

#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <limits>

#include "system/fakes.h"

using JVFoundation::Dictionary;
using JVFoundation::Value;
using JVPlatform::ABMultiValue;

namespace {

using Text = std::optional<std::string>;

TEST(UserName, JoinsWhatThereIs) {
  const jvtest::InstalledAddressBook book;
  EXPECT_EQ(JVUtilities::userName(), std::nullopt) << "no card";
  using Names = std::array<Text, 3>;  // first, last, both
  for (const auto& [first, last, both] : {Names{"Ada", "Lovelace", "Ada Lovelace"},
                                          {"Ada", std::nullopt, "Ada"},
                                          {"", "Lovelace", " Lovelace"},
                                          {"", std::nullopt, std::nullopt}}) {
    book->card = {first, last, std::nullopt};
    EXPECT_EQ(JVUtilities::userName(), both);
  }
}

TEST(UserEmail, IsThePrimaryOneOrTheFirstThatIsNotEmpty) {
  const struct {
    const char* why;
    std::optional<ABMultiValue> emails;
    Text expected;
  } cases[] = {
      {"primary before first", ABMultiValue{{{"1", "a@b"}, {"2", "c@d"}}, "2"}, "c@d"},
      {"primary that is empty", ABMultiValue{{{"1", "a@b"}, {"2", ""}}, "2"}, ""},
      {"primary that is not there", ABMultiValue{{{"1", "a@b"}}, "9"}, std::nullopt},
      {"empty ones passed over", ABMultiValue{{{"1", ""}, {"2", std::nullopt}, {"3", "c@d"}}, std::nullopt}, "c@d"},
  };
  const jvtest::InstalledAddressBook book;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    book->card = {std::nullopt, std::nullopt, c.emails};
    EXPECT_EQ(JVUtilities::userEmail(), c.expected);
  }
}

TEST(ComputerModel, IsEmptyWhereItIsNoTextOrDoesNotFit) {
  const struct {
    std::string model;
    std::size_t claimedSize;
    const char* expected;
  } cases[] = {
      {std::string("Box\0more\0", 9), 9, "Box"},
      {"B\xF6x", 3, ""},
      {"larger than said", 2, ""},
      {"smaller", 100, "smaller"},
      {"more than there is memory for", std::numeric_limits<std::size_t>::max(), ""},
  };
  const jvtest::InstalledProcessInformation process;
  for (const auto& c : cases) {
    process->model = c.model;
    process->claimedSize = c.claimedSize;
    EXPECT_EQ(JVUtilities::computerModel(), c.expected);
  }
}

/// "interface address"
std::string networkState() {
  std::string interface = "untouched";
  const std::string address = JVUtilities::ipAddress(&interface);
  return interface + " " + address;
}

TEST(IPAddress, IsThatOfTheFirstActiveInterface) {
  const jvtest::InstalledSystemConfiguration system;
  const std::string list = "State:/Network/Interface";
  system->set(list, Dictionary{{"Interfaces", "lan"}});
  EXPECT_EQ(networkState(), "en0 127.0.0.1") << "no list";
  system->addInterface("lan", false, {"192.0.2.1"});
  EXPECT_EQ(networkState(), "en0 127.0.0.1") << "none active";
  system->set(list + "/lan/Link", Dictionary{{"Active", "yes"}});
  EXPECT_EQ(networkState(), "en0 127.0.0.1") << "of another kind";
  system->addInterface("wlan", true, {7, "", "192.0.2.2", "192.0.2.3"});
  system->addInterface("later", true, {"192.0.2.4"});
  EXPECT_EQ(networkState(), "wlan 192.0.2.2");
  system->set(list + "/wlan/IPv4", Dictionary{{"Addresses", Value::Array{}}});
  EXPECT_EQ(networkState(), "wlan 127.0.0.1") << "active, without an address: the search ends there";
}

Value::Data bytesOf(std::int64_t count, std::size_t size) {
  Value::Data bytes(size);
  std::memcpy(bytes.data(), &count, std::min<std::size_t>(size, 8));
  return bytes;
}

TEST(IdleTime, CountsSecondsOfTwoToTheThirtieth) {
  constexpr std::int64_t kSecond = std::int64_t{1} << 30;
  constexpr std::uint64_t kWrapping = (std::uint64_t{1} << 62) + 1;  // times 60 is 60 again
  const struct {
    const char* why;
    Value idle;
    std::uint64_t minutes;
    bool expected;
    const char* logged = "";
  } cases[] = {
      {"all but a second more than a minute", 61 * kSecond - 1, 1, false},
      {"a minute and a second", 61 * kSecond, 1, true},
      {"minutes wrap around", 61 * kSecond, kWrapping, true},
      {"below zero is very large", std::int64_t{-1}, 1'000'000, true},
      {"data in host order, and more", bytesOf(61 * kSecond, 16), 1, true},
      {"data that is shorter", bytesOf(61 * kSecond, 3), 0, false},
      {"a text", "9999999999999", 0, false, "1: unsupported type"},
  };
  const jvtest::InstalledDeviceRegistry registry;
  const jvtest::InstalledSystemLog log;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    log->last = "";
    registry->properties = Dictionary{{"HIDIdleTime", c.idle}};
    EXPECT_EQ(JVUtilities::isMachineIdleForMinutes(c.minutes), c.expected);
    EXPECT_EQ(log->last, c.logged);
  }
  registry->properties = Dictionary{{"Other", 1}};
  EXPECT_FALSE(JVUtilities::isMachineIdleForMinutes(0));
  EXPECT_EQ(log->last, "Can't find idle timen");
  registry->properties = std::nullopt;
  EXPECT_FALSE(JVUtilities::isMachineIdleForMinutes(0));
}

}  // namespace
