#include "platform/linux/rtnetlink.h"

#include <gmock/gmock.h>

#include <cstring>

#include <arpa/inet.h>
#include <linux/if_link.h>
#include <net/if.h>

#include "platform/linux/NetworkWatch.h"

using jv::NetworkAddress;
using jv::NetworkLink;
using jv::NetworkState;
using testing::ElementsAre;

namespace {

constexpr unsigned kUp = IFF_UP | IFF_RUNNING;
constexpr unsigned kLowerUp = 1U << 16;  // IFF_LOWER_UP, which no header gives beside the others

TEST(Interfaces, StandInTheOrderInWhichTheyCount) {
  const NetworkState state{{{5, kUp, 0, true, "docker0"},
                            {9, kUp, 0, false, "wlan0"},
                            {1, kUp | IFF_LOOPBACK, 0, false, "lo"},
                            {3, kUp, 5, true, "port"},
                            {2, 0, 0, false, "eth0"},
                            {4, kUp, 0, true, "tun0"}},
                           {}};
  std::vector<std::string> names;
  for (const NetworkLink* link : jv::orderedInterfaces(state)) names.push_back(link->name);
  EXPECT_THAT(names, ElementsAre("eth0", "wlan0", "tun0", "docker0"));
}

TEST(Interfaces, AreActiveWhenTheyAreUpAndRunning) {
  for (const auto& [flags, active] : {std::pair<unsigned, bool>{IFF_UP | IFF_RUNNING, true},
                                      {IFF_UP, false},
                                      {IFF_RUNNING, false},
                                      {IFF_UP | kLowerUp, false},
                                      {0, false}}) {
    EXPECT_EQ(jv::isActive({1, flags, 0, false, "x"}), active) << flags;
  }
}

TEST(Addresses, OfUseElsewhereComeFirst) {
  const NetworkState state{{},
                           {{1, false, true, "169.254.0.1"},
                            {1, true, false, "192.0.2.2"},
                            {2, false, false, "192.0.2.9"},
                            {1, false, false, "192.0.2.3"},
                            {1, false, false, "192.0.2.1"}}};
  EXPECT_THAT(jv::orderedAddresses(state, {1, kUp, 0, false, "x"}),
              ElementsAre("192.0.2.3", "192.0.2.1", "192.0.2.2", "169.254.0.1"));
}

/// A message of the kernel, put together attribute by attribute.
template <class Body>
class Message {
 public:
  Message(std::uint16_t type, Body body) {
    nlmsghdr header{};
    header.nlmsg_type = type;
    append(&header, sizeof header);
    append(&body, sizeof body);
  }
  Message& attribute(std::uint16_t type, const void* data, std::size_t size) {
    const rtattr header{static_cast<std::uint16_t>(RTA_LENGTH(size)), type};
    append(&header, sizeof header);
    append(data, size);
    return *this;
  }
  /// Has the attribute @p at a place claim another length.
  void attributeLength(std::size_t at, std::size_t length) {
    reinterpret_cast<rtattr*>(bytes_.data() + at)->rta_len = static_cast<std::uint16_t>(length);
  }
  /// As long as it claims to be, or cut off there.
  const nlmsghdr& header(std::size_t length = static_cast<std::size_t>(-1)) {
    reinterpret_cast<nlmsghdr*>(bytes_.data())->nlmsg_len = static_cast<std::uint32_t>(std::min(length, bytes_.size()));
    return *reinterpret_cast<const nlmsghdr*>(bytes_.data());
  }
  std::size_t size() const { return bytes_.size(); }

 private:
  void append(const void* data, std::size_t size) {
    const std::size_t at = bytes_.size();
    bytes_.resize(at + NLMSG_ALIGN(size));
    std::memcpy(bytes_.data() + at, data, size);
  }
  std::vector<char> bytes_;
};

TEST(Messages, AreReadAsFarAsTheyGo) {
  ifinfomsg body{};
  body.ifi_index = 7;
  body.ifi_flags = kUp;
  const int master = 3;
  rtattr kind{RTA_LENGTH(4), IFLA_INFO_KIND};
  char info[8];
  std::memcpy(info, &kind, 4);
  std::memcpy(info + 4, "veth", 4);
  Message link(RTM_NEWLINK, body);
  link.attribute(IFLA_IFNAME, "lan\0", 4).attribute(IFLA_MASTER, &master, 4).attribute(IFLA_LINKINFO, info, 8);
  EXPECT_EQ(jv::linkOf(link.header()), (NetworkLink{7, kUp, 3, true, "lan"}));
  for (std::size_t length = 0; length < link.size(); ++length) {
    EXPECT_EQ(jv::linkOf(link.header(length)).has_value(), length >= NLMSG_LENGTH(sizeof body)) << "cut off";
  }
  Message unpadded(RTM_NEWLINK, body);
  unpadded.attribute(IFLA_IFNAME, "eth0\0\0\0", 8).attribute(IFLA_MASTER, &master, 4);
  const std::size_t inName = NLMSG_LENGTH(sizeof body) + RTA_LENGTH(5);
  unpadded.attributeLength(NLMSG_LENGTH(sizeof body), RTA_LENGTH(5));
  EXPECT_EQ(jv::linkOf(unpadded.header(inName)), (NetworkLink{7, kUp, 0, false, "eth0"})) << "ends without padding";
  body.ifi_family = AF_BRIDGE;
  EXPECT_FALSE(jv::linkOf(Message(RTM_NEWLINK, body).header()));
  EXPECT_FALSE(jv::linkOf(Message(RTM_NEWADDR, ifaddrmsg{}).header()));

  ifaddrmsg own{};
  own.ifa_family = AF_INET;
  own.ifa_index = 7;
  own.ifa_flags = IFA_F_SECONDARY;
  in_addr here{};
  in_addr there{};
  inet_pton(AF_INET, "192.0.2.1", &here);
  inet_pton(AF_INET, "192.0.2.2", &there);
  Message address(RTM_NEWADDR, own);
  address.attribute(IFA_ADDRESS, &there, 4).attribute(IFA_LOCAL, &here, 4);
  const auto read = jv::addressOf(address.header());
  ASSERT_TRUE(read);
  EXPECT_EQ(read->text, "192.0.2.1") << "not that of the other end";
  EXPECT_TRUE(read->secondary);
  EXPECT_FALSE(read->local);
  EXPECT_FALSE(jv::addressOf(address.header(address.size() - 4))) << "cut off";
  own.ifa_scope = RT_SCOPE_HOST;
  EXPECT_TRUE(jv::addressOf(Message(RTM_NEWADDR, own).attribute(IFA_LOCAL, &here, 4).header())->local);
  own.ifa_family = AF_INET6;
  EXPECT_FALSE(jv::addressOf(Message(RTM_NEWADDR, own).attribute(IFA_LOCAL, &here, 4).header()));
}

TEST(Network, IsReadFromTheKernel) {
  const jv::Descriptor socket = jv::openRtnetlink(0);
  ASSERT_TRUE(socket.isOpen());
  for (int i = 0; i < 3; ++i) {
    const auto state = jv::readNetwork(socket.get());
    ASSERT_TRUE(state);
    EXPECT_THAT(state->links, testing::Contains(testing::Field(&NetworkLink::name, "lo")));
  }
}

TEST(NetworkWatch, SaysNothingWhenNothingHappened) {
  int calls = 0;
  jv::NetworkWatch watch([&] { ++calls; });
  watch.perform();
  EXPECT_EQ(calls, 0);
  EXPECT_GE(watch.fileDescriptor(), 0);
}

}  // namespace
