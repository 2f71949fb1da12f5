/// The kernel's network interfaces and their IPv4 addresses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include "platform/linux/Descriptor.h"

namespace jv {

struct NetworkLink {
  int index = 0;
  unsigned flags = 0;      ///< IFF_UP and others
  int master = 0;          ///< index of the bond or bridge that it belongs to; 0: none
  bool isVirtual = false;  ///< made by software: a bridge, a tunnel, a pair of ends
  std::string name;

  friend bool operator==(const NetworkLink&, const NetworkLink&) = default;
};

struct NetworkAddress {
  int link = 0;  ///< index of the interface
  bool secondary = false;
  bool local = false;  ///< of use on this link, or in this machine, alone
  std::string text;    ///< "192.0.2.10"
};

struct NetworkState {
  std::vector<NetworkLink> links;
  std::vector<NetworkAddress> addresses;
};

/// What a message of the kernel says; none when it is of another kind or cut off.
std::optional<NetworkLink> linkOf(const nlmsghdr& message);
std::optional<NetworkAddress> addressOf(const nlmsghdr& message);

/// An open socket to the kernel that hears of @p groups (RTMGRP_LINK and others; 0: of none). Not open when the system
/// refuses.
Descriptor openRtnetlink(std::uint32_t groups);

/// Takes what one datagram holds, message by message, out of @p socket, and never waits.
enum class Received : std::uint8_t { messages, nothing, lost, failed };
Received receiveMessages(int socket, const std::function<void(const nlmsghdr&)>& take);

/// Asks for all links and addresses: two questions on @p socket. None when it cannot be had.
std::optional<NetworkState> readNetwork(int socket);
/// The links alone.
std::optional<std::vector<NetworkLink>> readLinks(int socket);

/// Those that can have addresses of their own and a link to elsewhere, real devices before virtual ones, each by index.
std::vector<const NetworkLink*> orderedInterfaces(const NetworkState& state);

/// Whether @p link is switched on and can carry data. That it has a carrier says less: interfaces that are down can
/// have one.
bool isActive(const NetworkLink& link);

/// The addresses of @p link, the one that others reach it by first: those of use elsewhere before those that are not,
/// primary ones before secondary ones.
std::vector<std::string> orderedAddresses(const NetworkState& state, const NetworkLink& link);

}  // namespace jv
