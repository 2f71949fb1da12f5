#include <JorvaneFoundation/system/JVUtilities.h>

#include <gmock/gmock.h>

#include <cstring>
#include <limits>

#include <JorvaneFoundation/platform/FactOrigin.h>

#include "system/fakes.h"

using JVFoundation::Dictionary;
using JVFoundation::Value;
using JVPlatform::ABMultiValue;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Text = std::optional<std::string>;

TEST(Origins, AreThoseOfTheImplementationInUse) {
  using JVPlatform::Fact;
  static_cast<void>(JVPlatform::processInformation()->operatingSystemVersion());
  EXPECT_EQ(JVPlatform::originOf(Fact::systemVersion), "kernel's release");
  const jvtest::InstalledProcessInformation own;
  EXPECT_EQ(JVPlatform::originOf(Fact::systemVersion), "");
}

TEST(UserName, JoinsWhatThereIs) {
  const struct {
    const char* why;
    Text first, last, expected;
  } cases[] = {
      {"both", "Ada", "Lovelace", "Ada Lovelace"},
      {"first", "Ada", std::nullopt, "Ada"},
      {"last", std::nullopt, "Lovelace", "Lovelace"},
      {"neither", std::nullopt, std::nullopt, std::nullopt},
      {"a first name that is there and empty", "", "Doe", " Doe"},
      {"a last name that is there and empty", "Ada", "", "Ada "},
      {"both empty: the blank is left", "", "", " "},
      {"only an empty one", "", std::nullopt, std::nullopt},
  };
  const jvtest::InstalledAddressBook book;
  EXPECT_EQ(JVUtilities::userName(), std::nullopt) << "no card";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    book->card = {c.first, c.last, std::nullopt};
    EXPECT_EQ(JVUtilities::userName(), c.expected);
  }
}

TEST(UserEmail, IsThePrimaryOneOrTheFirstThatIsNotEmpty) {
  const struct {
    const char* why;
    std::optional<ABMultiValue> emails;
    Text expected;
  } cases[] = {
      {"no list", std::nullopt, std::nullopt},
      {"an empty list", ABMultiValue{}, std::nullopt},
      {"primary before first", ABMultiValue{{{"1", "a@b"}, {"2", "c@d"}}, "2"}, "c@d"},
      {"primary that is empty", ABMultiValue{{{"1", "a@b"}, {"2", ""}}, "2"}, ""},
      {"primary without value", ABMultiValue{{{"1", "a@b"}, {"2", std::nullopt}}, "2"}, std::nullopt},
      {"primary that is not there", ABMultiValue{{{"1", "a@b"}}, "9"}, std::nullopt},
      {"no primary", ABMultiValue{{{"1", "a@b"}, {"2", "c@d"}}, std::nullopt}, "a@b"},
      {"empty ones passed over", ABMultiValue{{{"1", ""}, {"2", std::nullopt}, {"3", "c@d"}}, std::nullopt}, "c@d"},
      {"all empty", ABMultiValue{{{"1", ""}, {"2", ""}}, std::nullopt}, std::nullopt},
  };
  const jvtest::InstalledAddressBook book;
  EXPECT_EQ(JVUtilities::userEmail(), std::nullopt) << "no card";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    book->card = {std::nullopt, std::nullopt, c.emails};
    EXPECT_EQ(JVUtilities::userEmail(), c.expected);
  }
}

TEST(ComputerName, FallsBackOnlyWhereThereIsNone) {
  const jvtest::InstalledSystemConfiguration system;
  for (const auto& [name, expected] :
       {std::pair<Text, const char*>{"Ada's Box", "Ada's Box"}, {"", ""}, {std::nullopt, "Computer"}}) {
    system->computerName = name;
    EXPECT_EQ(JVUtilities::computerName(), expected);
  }
}

TEST(ComputerModel, IsEmptyWhereSomethingFails) {
  const struct {
    const char* why;
    std::string model;
    const char* expected;
    bool sizeAnswers = true;
    bool valueAnswers = true;
    std::optional<std::size_t> claimedSize = {};
  } cases[] = {
      {"a model", std::string("Box15,2", 8), "Box15,2"},
      {"ends at its first zero byte", std::string("Box\0more\0", 9), "Box"},
      {"without a zero byte", "Box", "Box"},
      {"UTF-8", std::string("B\xC3\xB6x", 5), "B\xC3\xB6x"},
      {"not UTF-8", std::string("B\xF6x", 4), ""},
      {"empty", "", ""},
      {"no size", "Box", "", false},
      {"no value", "Box", "", true, false},
      {"more than there is memory for", "Box", "", true, true, std::numeric_limits<std::size_t>::max()},
      {"larger than thought", "Box", "", true, true, 2},
      {"smaller than thought", "Box", "Box", true, true, 100},
  };
  const jvtest::InstalledProcessInformation process;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    process->model = c.model;
    process->sizeAnswers = c.sizeAnswers;
    process->valueAnswers = c.valueAnswers;
    process->claimedSize = c.claimedSize;
    EXPECT_EQ(JVUtilities::computerModel(), c.expected);
    EXPECT_THAT(process->sysctlName, ElementsAre(6, 2));
  }
}

struct IPAddress : testing::Test {
  /// "interface address"
  static std::string state() {
    std::string interface = "untouched";
    const std::string address = JVUtilities::ipAddress(&interface);
    EXPECT_EQ(JVUtilities::ipAddress(), address);
    return interface + " " + address;
  }

  jvtest::InstalledSystemConfiguration system;
  jvtest::InstalledProcessInformation process;
};

TEST_F(IPAddress, IsThatOfTheFirstActiveInterface) {
  EXPECT_EQ(state(), "en0 127.0.0.1") << "no list";
  system->addInterface("lan", false, {"192.0.2.1"});
  EXPECT_EQ(state(), "en0 127.0.0.1") << "none active";
  system->addInterface("wlan", true, {"192.0.2.2", "192.0.2.3"});
  EXPECT_EQ(state(), "wlan 192.0.2.2");
  system->addInterface("later", true, {"192.0.2.4"});
  EXPECT_EQ(state(), "wlan 192.0.2.2") << "the first active one";
  system->clear();
  system->addInterface("bare", true);
  system->addInterface("later", true, {"192.0.2.4"});
  EXPECT_EQ(state(), "bare 127.0.0.1") << "active, without an address: the search ends there";
}

TEST_F(IPAddress, AsksUnderTheProcessNameAndNoFurtherThanNeeded) {
  process->name = "some program";
  system->addInterface("lan", true, {"192.0.2.1"});
  system->addInterface("wlan", true);
  system->steps.clear();
  EXPECT_EQ(JVUtilities::ipAddress(), "192.0.2.1");
  EXPECT_THAT(system->steps,
              ElementsAre("store some program", "copy State:/Network/Interface",
                          "copy State:/Network/Interface/lan/Link", "copy State:/Network/Interface/lan/IPv4"));
  system->hasStore = false;
  EXPECT_EQ(state(), "en0 127.0.0.1");
}

TEST_F(IPAddress, TakesWhatIsOfAnotherKindAsMissing) {
  const std::string list = "State:/Network/Interface";
  for (const Value& wrong : {Value(1), Value("text"), Value(Dictionary{{"Interfaces", "lan"}}), Value(Dictionary{})}) {
    system->set(list, wrong);
    EXPECT_EQ(state(), "en0 127.0.0.1");
  }
  system->clear();
  system->addInterface("lan", true, {"192.0.2.1"});
  system->set(list, Dictionary{{"Interfaces", Value::Array{7, "", "lan"}}});
  EXPECT_EQ(state(), "lan 192.0.2.1");
  system->set(list + "/lan/IPv4", Dictionary{{"Addresses", Value::Array{}}});
  EXPECT_EQ(state(), "lan 127.0.0.1");
  for (const Value& flag : {Value("yes"), Value(0), Value(false)}) {
    system->set(list + "/lan/Link", Dictionary{{"Active", flag}});
    EXPECT_EQ(state(), "en0 127.0.0.1");
  }
  system->set(list + "/lan/Link", Dictionary{{"Other", true}});
  EXPECT_EQ(state(), "en0 127.0.0.1");
}

Value::Data bytesOf(std::uint64_t count, std::size_t size = 8) {
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
  } cases[] = {
      {"just short of a second", kSecond - 1, 0, false},
      {"a second", kSecond, 0, true},
      {"a minute is not more than a minute", 60 * kSecond, 1, false},
      {"nor is all but a second more", 61 * kSecond - 1, 1, false},
      {"a minute and a second", 61 * kSecond, 1, true},
      {"minutes wrap around", 61 * kSecond, kWrapping, true},
      {"before the wrapped ones", 60 * kSecond, kWrapping, false},
      {"below zero is very large", std::int64_t{-1}, 1'000'000, true},
      {"a number of another kind", 61.0 * static_cast<double>(kSecond), 1, true},
      {"data in host order", bytesOf(static_cast<std::uint64_t>(61 * kSecond)), 1, true},
      {"data that is longer", bytesOf(static_cast<std::uint64_t>(61 * kSecond), 16), 1, true},
      {"data that is shorter", bytesOf(static_cast<std::uint64_t>(61 * kSecond), 3), 0, false},
      {"no data", Value::Data{}, 0, false},
  };
  const jvtest::InstalledDeviceRegistry registry;
  const jvtest::InstalledSystemLog log;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    registry->services = {Dictionary{{"HIDIdleTime", c.idle}}};
    EXPECT_EQ(JVUtilities::isMachineIdleForMinutes(c.minutes), c.expected);
  }
  EXPECT_EQ(registry->asked, "IOHIDSystem");
  EXPECT_THAT(log->lines, IsEmpty());
}

TEST(IdleTime, IsNoneWhereNobodyCanTell) {
  const Value busy = Dictionary{{"HIDIdleTime", std::int64_t{0}}};
  const Value idle = Dictionary{{"HIDIdleTime", std::numeric_limits<std::int64_t>::max()}};
  const struct {
    const char* why;
    bool hasIterator;
    std::vector<std::optional<Value>> services;
    std::vector<std::string> logged;
  } cases[] = {
      {"no iterator", false, {idle}, {}},
      {"no service", true, {}, {}},
      {"no properties", true, {std::nullopt, idle}, {}},
      {"the first service alone", true, {busy, idle}, {}},
      {"no such property", true, {Dictionary{{"Other", 1}}}, {"Can't find idle timen"}},
      {"no dictionary", true, {"text"}, {"Can't find idle timen"}},
      {"a text", true, {Dictionary{{"HIDIdleTime", "9999999999999"}}}, {"1: unsupported type"}},
      {"an array", true, {Dictionary{{"HIDIdleTime", Value::Array{}}}}, {"3: unsupported type"}},
  };
  const jvtest::InstalledDeviceRegistry registry;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const jvtest::InstalledSystemLog log;
    registry->hasIterator = c.hasIterator;
    registry->services = c.services;
    EXPECT_FALSE(JVUtilities::isMachineIdleForMinutes(0));
    EXPECT_EQ(log->lines, c.logged);
    EXPECT_EQ(registry->open, 0) << "not given back";
  }
}

}  // namespace
