#include "platform/linux/NetworkWatch.h"

#include <net/if.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace jv {
namespace {

/// @p link without what may change and does not matter.
NetworkLink reduced(NetworkLink link) {
  link.flags &= IFF_UP | IFF_RUNNING | IFF_LOOPBACK;
  return link;
}

}  // namespace

NetworkWatch::NetworkWatch(std::function<void()> changed)
    : socket_(openRtnetlink(RTMGRP_LINK | RTMGRP_IPV4_IFADDR)), changed_(std::move(changed)) {
  if (!socket_.isOpen()) throw std::system_error(errno, std::generic_category(), "rtnetlink");
  learnLinks();
}

void NetworkWatch::perform() {
  bool changed = false;
  for (;;) {
    const Received received =
        receiveMessages(socket_.get(), [&](const nlmsghdr& message) { changed = matters(message) || changed; });
    if (received == Received::nothing || received == Received::failed) break;
    if (received == Received::lost) {
      changed = true;
      learnLinks();
    }
  }
  if (changed) changed_();
}

// On a socket of its own: answers would mix with what this one is told.
void NetworkWatch::learnLinks() {
  links_.clear();
  const Descriptor socket = openRtnetlink(0);
  if (!socket.isOpen()) return;  // each link's first message then counts as a change
  for (NetworkLink& link : readLinks(socket.get()).value_or(std::vector<NetworkLink>())) {
    const int index = link.index;
    links_.insert_or_assign(index, reduced(std::move(link)));
  }
}

bool NetworkWatch::matters(const nlmsghdr& message) { return addressOf(message).has_value() || linkMatters(message); }

bool NetworkWatch::linkMatters(const nlmsghdr& message) {
  auto link = linkOf(message);
  if (!link) return false;
  if (message.nlmsg_type == RTM_DELLINK) return links_.erase(link->index) > 0;
  NetworkLink now = reduced(std::move(*link));
  NetworkLink& known = links_[now.index];
  if (known == now) return false;
  known = std::move(now);
  return true;
}

}  // namespace jv
