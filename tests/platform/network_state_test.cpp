#include "platform/linux/rtnetlink.h"

#include <gmock/gmock.h>

#include <linux/if_link.h>
#include <net/if.h>

using jv::NetworkLink;
using jv::NetworkState;
using testing::ElementsAre;

namespace {

constexpr unsigned kUp = IFF_UP | IFF_RUNNING;

TEST(Network, HasInterfacesAndAddressesInTheOrderInWhichTheyCount) {
  const NetworkLink wlan{9, kUp, 0, false, "wlan0"};
  const NetworkState state{{{5, kUp, 0, true, "docker0"},
                            wlan,
                            {1, kUp | IFF_LOOPBACK, 0, false, "lo"},
                            {3, kUp, 5, true, "port"},
                            {2, 0, 0, false, "eth0"},
                            {4, kUp, 0, true, "tun0"}},
                           {{9, false, true, "169.254.0.1"},
                            {9, true, false, "192.0.2.2"},
                            {2, false, false, "192.0.2.9"},
                            {9, false, false, "192.0.2.3"},
                            {9, false, false, "192.0.2.1"}}};
  std::vector<std::string> names;
  for (const NetworkLink* link : jv::orderedInterfaces(state)) names.push_back(link->name);
  EXPECT_THAT(names, ElementsAre("eth0", "wlan0", "tun0", "docker0"));
  EXPECT_THAT(jv::orderedAddresses(state, wlan), ElementsAre("192.0.2.3", "192.0.2.1", "192.0.2.2", "169.254.0.1"));
  EXPECT_FALSE(jv::isActive({1, IFF_UP, 0, false, "no carrier"}));
}

// A kernel need not fill up the last attribute, nor have written it to its end.
TEST(Network, MessagesAreReadAsFarAsTheyGo) {
  struct {
    nlmsghdr header{0, RTM_NEWLINK, 0, 0, 0};
    ifinfomsg body{0, 0, 0, 7, kUp, 0};
    rtattr masterHeader{RTA_LENGTH(4), IFLA_MASTER};
    int master = 3;
    rtattr nameHeader{RTA_LENGTH(5), IFLA_IFNAME};
    char name[8] = "lan0";
  } message;
  constexpr std::uint32_t kWhole = sizeof message - 3;  // without what fills up
  for (std::uint32_t length = 0; length <= kWhole; ++length) {
    SCOPED_TRACE(length);
    message.header.nlmsg_len = length;
    EXPECT_EQ(jv::linkOf(message.header).has_value(), length >= NLMSG_LENGTH(sizeof message.body));
  }
  EXPECT_EQ(jv::linkOf(message.header), (NetworkLink{7, kUp, 3, false, "lan0"}));
  message.body.ifi_family = AF_BRIDGE;
  EXPECT_FALSE(jv::linkOf(message.header));
}

}  // namespace
