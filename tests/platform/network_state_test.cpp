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

}  // namespace
