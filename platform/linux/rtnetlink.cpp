#include "platform/linux/rtnetlink.h"

#include <arpa/inet.h>
#include <linux/if_link.h>
#include <net/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <tuple>

namespace jv {
namespace {

/// The payload of an attribute of at least that size.
template <class T>
std::optional<T> valueOf(const rtattr& attribute) {
  if (RTA_PAYLOAD(&attribute) < sizeof(T)) return std::nullopt;
  T value;
  std::memcpy(&value, RTA_DATA(&attribute), sizeof(T));
  return value;
}

/// Calls @p take with each attribute in the @p length bytes at @p first.
template <class Take>
void forEachAttribute(const rtattr* first, std::size_t length, Take take) {
  // Signed: behind the last one its padding, which need not be there, is taken off too.
  auto left = static_cast<int>(length);
  for (const rtattr* attribute = first; RTA_OK(attribute, left); attribute = RTA_NEXT(attribute, left)) {
    take(*attribute);
  }
}

/// Whether the attributes of IFLA_LINKINFO name a kind: then software made the interface.
bool namesKind(const rtattr& info) {
  bool named = false;
  forEachAttribute(static_cast<const rtattr*>(RTA_DATA(&info)), RTA_PAYLOAD(&info),
                   [&](const rtattr& attribute) { named = named || attribute.rta_type == IFLA_INFO_KIND; });
  return named;
}

std::string textOf(const in_addr& address) {
  std::array<char, INET_ADDRSTRLEN> text{};
  inet_ntop(AF_INET, &address, text.data(), text.size());
  return text.data();
}

/// Of use to nobody outside: scope host or link, or from the range that machines give themselves.
bool isLocal(std::uint8_t scope, const in_addr& address) {
  return scope >= RT_SCOPE_LINK || (ntohl(address.s_addr) >> 16) == 0xA9FE;
}

/// Asks for everything of a kind.
struct DumpRequest {
  nlmsghdr header;
  union {
    ifinfomsg link;
    ifaddrmsg address;
  } body;
  rtattr maskHeader;
  std::uint32_t mask;
};

bool send(int socket, DumpRequest& request, std::size_t length, std::uint16_t kind) {
  request.header.nlmsg_len = static_cast<std::uint32_t>(length);
  request.header.nlmsg_type = kind;
  request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  ssize_t sent;
  do {
    sent = ::send(socket, &request, length, 0);
  } while (sent < 0 && errno == EINTR);
  return sent == static_cast<ssize_t>(length);
}

bool askForLinks(int socket) {
  DumpRequest request{};
  request.body.link.ifi_family = AF_UNSPEC;
  // Without the counters, which nobody looks at, an answer is a third as long.
  request.maskHeader = {RTA_LENGTH(sizeof request.mask), IFLA_EXT_MASK};
  request.mask = RTEXT_FILTER_SKIP_STATS;
  return send(socket, request, sizeof request, RTM_GETLINK);
}

bool askForAddresses(int socket) {
  DumpRequest request{};
  request.body.address.ifa_family = AF_INET;
  return send(socket, request, NLMSG_LENGTH(sizeof request.body.address), RTM_GETADDR);
}

enum class Dump : std::uint8_t { complete, interrupted, failed };

/// Takes the answer to a question for everything.
template <class Take>
Dump receiveDump(int socket, Take take) {
  bool ended = false;
  bool interrupted = false;
  bool failed = false;
  while (!ended) {
    const Received received = receiveMessages(socket, [&](const nlmsghdr& message) {
      interrupted = interrupted || (message.nlmsg_flags & NLM_F_DUMP_INTR) != 0;
      if (message.nlmsg_type == NLMSG_DONE) {
        ended = true;
      } else if (message.nlmsg_type == NLMSG_ERROR) {
        ended = failed = true;
      } else {
        take(message);
      }
    });
    // The kernel has the first part of its answer ready when the question returns, and each next one when that is read.
    if (received != Received::messages) return Dump::failed;
  }
  if (failed) return Dump::failed;
  return interrupted ? Dump::interrupted : Dump::complete;
}

/// Asks until an answer comes out whole; interfaces that come and go meanwhile make it start anew.
template <class Record>
std::optional<std::vector<Record>> read(int socket, bool (*ask)(int),
                                        std::optional<Record> (*recordOf)(const nlmsghdr&)) {
  constexpr int kTries = 5;
  std::vector<Record> records;
  for (int tries = 0; tries < kTries; ++tries) {
    records.clear();
    if (!ask(socket)) return std::nullopt;
    const Dump dump = receiveDump(socket, [&](const nlmsghdr& message) {
      if (auto record = recordOf(message)) records.push_back(std::move(*record));
    });
    if (dump == Dump::failed) return std::nullopt;
    if (dump == Dump::complete) break;
  }
  return records;  // at worst what the last try gave: every change that it missed is still to be announced
}

}  // namespace

std::optional<NetworkLink> linkOf(const nlmsghdr& message) {
  const bool isLink = message.nlmsg_type == RTM_NEWLINK || message.nlmsg_type == RTM_DELLINK;
  if (!isLink || message.nlmsg_len < NLMSG_LENGTH(sizeof(ifinfomsg))) return std::nullopt;
  const auto& body = *static_cast<const ifinfomsg*>(NLMSG_DATA(&message));
  if (body.ifi_family != AF_UNSPEC) return std::nullopt;  // a bridge telling of its ports
  NetworkLink link;
  link.index = body.ifi_index;
  link.flags = body.ifi_flags;
  forEachAttribute(IFLA_RTA(&body), IFLA_PAYLOAD(&message), [&link](const rtattr& attribute) {
    switch (attribute.rta_type) {
      case IFLA_IFNAME:
        link.name.assign(static_cast<const char*>(RTA_DATA(&attribute)), RTA_PAYLOAD(&attribute));
        link.name.resize(std::min(link.name.find('\0'), link.name.size()));
        break;
      case IFLA_MASTER:
        link.master = valueOf<int>(attribute).value_or(0);
        break;
      case IFLA_LINKINFO:
        link.isVirtual = namesKind(attribute);
        break;
    }
  });
  return link;
}

std::optional<NetworkAddress> addressOf(const nlmsghdr& message) {
  const bool isAddress = message.nlmsg_type == RTM_NEWADDR || message.nlmsg_type == RTM_DELADDR;
  if (!isAddress || message.nlmsg_len < NLMSG_LENGTH(sizeof(ifaddrmsg))) return std::nullopt;
  const auto& body = *static_cast<const ifaddrmsg*>(NLMSG_DATA(&message));
  if (body.ifa_family != AF_INET) return std::nullopt;
  std::optional<in_addr> own;
  forEachAttribute(IFA_RTA(&body), IFA_PAYLOAD(&message), [&own](const rtattr& attribute) {
    // IFA_ADDRESS is the other end's on a link between two.
    if (attribute.rta_type == IFA_LOCAL) own = valueOf<in_addr>(attribute);
  });
  if (!own) return std::nullopt;
  return NetworkAddress{static_cast<int>(body.ifa_index), (body.ifa_flags & IFA_F_SECONDARY) != 0,
                        isLocal(body.ifa_scope, *own), textOf(*own)};
}

Descriptor openRtnetlink(std::uint32_t groups) {
  Descriptor opened(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = groups;
  if (opened.isOpen() && bind(opened.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    opened.close();
  }
  return opened;
}

Received receiveMessages(int socket, const std::function<void(const nlmsghdr&)>& take) {
  // As much as the kernel ever puts into one datagram.
  alignas(nlmsghdr) std::array<char, std::size_t{32} << 10> buffer;
  sockaddr_nl sender{};
  iovec piece{buffer.data(), buffer.size()};
  msghdr header{};
  header.msg_name = &sender;
  header.msg_namelen = sizeof sender;
  header.msg_iov = &piece;
  header.msg_iovlen = 1;
  ssize_t length;
  do {
    length = recvmsg(socket, &header, MSG_DONTWAIT);
  } while (length < 0 && errno == EINTR);
  if (length < 0) {
    if (errno == ENOBUFS) return Received::lost;
    return errno == EAGAIN ? Received::nothing : Received::failed;
  }
  if (sender.nl_pid != 0) return Received::messages;  // not from the kernel: passed over
  auto left = static_cast<unsigned>(length);
  for (const char* at = buffer.data();;) {
    const auto& message = *reinterpret_cast<const nlmsghdr*>(at);
    if (!NLMSG_OK(&message, left)) break;
    take(message);
    const unsigned step = std::min(NLMSG_ALIGN(message.nlmsg_len), left);  // the last one may lack its padding
    at += step;
    left -= step;
  }
  return (header.msg_flags & MSG_TRUNC) != 0 ? Received::lost : Received::messages;
}

std::optional<std::vector<NetworkLink>> readLinks(int socket) { return read<NetworkLink>(socket, askForLinks, linkOf); }

std::optional<NetworkState> readNetwork(int socket) {
  auto links = readLinks(socket);
  if (!links) return std::nullopt;
  auto addresses = read<NetworkAddress>(socket, askForAddresses, addressOf);
  if (!addresses) return std::nullopt;
  return NetworkState{std::move(*links), std::move(*addresses)};
}

std::vector<const NetworkLink*> orderedInterfaces(const NetworkState& state) {
  std::vector<const NetworkLink*> interfaces;
  for (const NetworkLink& link : state.links) {
    if ((link.flags & IFF_LOOPBACK) == 0 && link.master == 0) interfaces.push_back(&link);
  }
  std::ranges::sort(interfaces, {}, [](const NetworkLink* link) { return std::tuple(link->isVirtual, link->index); });
  return interfaces;
}

bool isActive(const NetworkLink& link) { return (link.flags & IFF_UP) != 0 && (link.flags & IFF_RUNNING) != 0; }

std::vector<std::string> orderedAddresses(const NetworkState& state, const NetworkLink& link) {
  std::vector<const NetworkAddress*> own;
  for (const NetworkAddress& address : state.addresses) {
    if (address.link == link.index) own.push_back(&address);
  }
  std::ranges::sort(own, {}, [](const NetworkAddress* a) { return std::tuple(a->local, a->secondary, a); });
  std::vector<std::string> texts;
  for (const NetworkAddress* const address : own) texts.push_back(address->text);
  return texts;
}

}  // namespace jv
