// Sends requests to rtnetlink and parses the replies.
#include "zqm/platform/linux/network/RouteSocket.h"

#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace zqm {
namespace {

// Larger than any datagram of a reply.
constexpr std::size_t kBufferSize = 32768;

Descriptor openNetlink(std::uint32_t groups) {
  Descriptor opened(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = groups;
  if (!opened || bind(opened.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    return Descriptor();
  }
  return opened;
}

template <class T>
T read(const rtattr* attribute) {
  T value{};
  std::memcpy(&value, RTA_DATA(attribute),
              std::min<std::size_t>(sizeof value, RTA_PAYLOAD(attribute)));
  return value;
}

std::string readText(const rtattr* attribute) {
  const auto* data = static_cast<const char*>(RTA_DATA(attribute));
  return {data, strnlen(data, RTA_PAYLOAD(attribute))};
}

template <class Take>
void forEachAttribute(const rtattr* first, int length, Take take) {
  for (const rtattr* each = first; RTA_OK(each, length); each = RTA_NEXT(each, length)) take(each);
}

// Parses the attributes after a header of type T. Returns false if the header is incomplete.
template <class T, class Take>
bool forEachAttribute(const nlmsghdr* message, T& header, Take take) {
  const int length = static_cast<int>(NLMSG_PAYLOAD(message, sizeof(T)));
  if (length < 0) return false;
  std::memcpy(&header, NLMSG_DATA(message), sizeof header);
  const char* start = static_cast<const char*>(NLMSG_DATA(message)) + NLMSG_ALIGN(sizeof(T));
  forEachAttribute(reinterpret_cast<const rtattr*>(start), length, take);
  return true;
}

std::optional<Route> routeOf(const nlmsghdr* message) {
  Route route;
  rtmsg header{};
  const bool whole = forEachAttribute(message, header, [&](const rtattr* attribute) {
    const auto type = attribute->rta_type;
    if (type == RTA_OIF) route.link = read<std::int32_t>(attribute);
    if (type == RTA_PRIORITY) route.metric = read<std::uint32_t>(attribute);
    if (type == RTA_GATEWAY || type == RTA_VIA) route.hasGateway = true;
  });
  // Destinations that are unreachable, prohibited or discarded have routes, too.
  if (!whole || header.rtm_type > RTN_MULTICAST || route.link == 0) return std::nullopt;
  route.isLocal = header.rtm_type == RTN_LOCAL;
  return route;
}

// Tunnels of these types report their other end as the broadcast address.
bool hasRemoteAddress(std::uint16_t type) {
  return type == ARPHRD_TUNNEL || type == ARPHRD_TUNNEL6 || type == ARPHRD_SIT ||
         type == ARPHRD_IPGRE || type == ARPHRD_IP6GRE;
}

std::optional<SocketAddress> addressOf(const rtattr* attribute) {
  const std::size_t size = RTA_PAYLOAD(attribute);
  if (size != 4 && size != 16) return std::nullopt;
  SocketAddress address;
  address.isIpv6 = size == 16;
  std::memcpy(address.bytes.data(), RTA_DATA(attribute), size);
  const bool any = std::all_of(address.bytes.begin(), address.bytes.end(),
                               [](std::uint8_t byte) { return byte == 0; });
  return any ? std::nullopt : std::optional(address);
}

std::string kindOf(const rtattr* linkInfo) {
  std::string kind;
  forEachAttribute(static_cast<const rtattr*>(RTA_DATA(linkInfo)),
                   static_cast<int>(RTA_PAYLOAD(linkInfo)), [&](const rtattr* info) {
                     if (info->rta_type == IFLA_INFO_KIND) kind = readText(info);
                   });
  return kind;
}

std::optional<Link> linkOf(const nlmsghdr* message) {
  Link link;
  ifinfomsg header{};
  bool lowerIsElsewhere = false;
  std::optional<SocketAddress> broadcast;
  const bool whole = forEachAttribute(message, header, [&](const rtattr* attribute) {
    const int type = attribute->rta_type & NLA_TYPE_MASK;
    if (type == IFLA_IFNAME) link.name = readText(attribute);
    if (type == IFLA_LINK) link.lower = read<std::int32_t>(attribute);
    if (type == IFLA_LINK_NETNSID) lowerIsElsewhere = true;
    if (type == IFLA_MASTER) link.hasMaster = true;
    if (type == IFLA_BROADCAST) broadcast = addressOf(attribute);
    if (type == IFLA_LINKINFO) link.kind = kindOf(attribute);
  });
  if (!whole) return std::nullopt;
  link.index = header.ifi_index;
  link.flags = header.ifi_flags;
  link.type = header.ifi_type;
  if (hasRemoteAddress(link.type)) link.remote = broadcast;
  // The other end of a veth pair is not a link under it.
  if (lowerIsElsewhere || link.kind == "veth") link.lower = 0;
  return link;
}

}  // namespace

// A message that consists of a header of type T and attributes.
class RouteSocket::Request {
 public:
  template <class T>
  Request(std::uint16_t type, std::uint16_t flags, const T& body) {
    header_.nlmsg_type = type;
    header_.nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
    append(&header_, sizeof header_);
    append(&body, sizeof body);
  }

  void add(std::uint16_t type, const void* data, std::size_t size) {
    rtattr attribute{};
    attribute.rta_type = type;
    attribute.rta_len = static_cast<std::uint16_t>(RTA_LENGTH(size));
    append(&attribute, sizeof attribute);
    append(data, size);
  }

  const std::string& message(std::uint32_t sequence) {
    header_.nlmsg_seq = sequence;
    header_.nlmsg_len = static_cast<std::uint32_t>(bytes_.size());
    std::memcpy(bytes_.data(), &header_, sizeof header_);
    return bytes_;
  }

 private:
  void append(const void* data, std::size_t size) {
    bytes_.append(static_cast<const char*>(data), size);
    bytes_.resize(NLMSG_ALIGN(bytes_.size()));
  }

  nlmsghdr header_{};
  std::string bytes_;
};

bool Link::isRunning() const {
  constexpr std::uint32_t both = IFF_UP | IFF_RUNNING;
  return (flags & both) == both;
}

RouteSocket::RouteSocket() : socket_(openNetlink(0)), failed_(!socket_) {}

bool RouteSocket::send(Request& request) {
  if (failed_) return false;
  const std::string& message = request.message(++sequence_);
  sockaddr_nl kernel{};
  kernel.nl_family = AF_NETLINK;
  const auto sent = retryInterrupted([&] {
    return sendto(socket_.get(), message.data(), message.size(), 0,
                  reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel);
  });
  failed_ = sent < 0;
  return !failed_;
}

template <class Take>
void RouteSocket::ask(Request& request, Take take) {
  if (!send(request)) return;
  alignas(nlmsghdr) std::array<char, kBufferSize> buffer;
  for (;;) {
    sockaddr_nl sender{};
    socklen_t senderSize = sizeof sender;
    // The kernel replies before sendto returns, so there is nothing to wait for.
    const auto length = retryInterrupted([&] {
      return recvfrom(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT,
                      reinterpret_cast<sockaddr*>(&sender), &senderSize);
    });
    failed_ = length <= 0;
    if (failed_) return;
    // Any process may write to this socket.
    if (sender.nl_pid != 0) continue;
    auto rest = static_cast<std::uint32_t>(length);
    for (auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data()); NLMSG_OK(message, rest);
         message = NLMSG_NEXT(message, rest)) {
      if (message->nlmsg_seq != sequence_) continue;
      if (message->nlmsg_type == NLMSG_DONE || message->nlmsg_type == NLMSG_ERROR) return;
      take(message);
      if ((message->nlmsg_flags & NLM_F_MULTI) == 0) return;
    }
  }
}

std::optional<Route> RouteSocket::route(const SocketAddress& address, std::int32_t throughLink) {
  const std::size_t size = address.isIpv6 ? 16 : 4;
  rtmsg header{};
  header.rtm_family = address.isIpv6 ? AF_INET6 : AF_INET;
  header.rtm_dst_len = static_cast<std::uint8_t>(size * 8);
  // Without this flag the kernel treats every address as a neighbour on the link.
  if (throughLink != 0) header.rtm_flags = RTM_F_FIB_MATCH;
  Request request(RTM_GETROUTE, 0, header);
  request.add(RTA_DST, address.bytes.data(), size);
  if (throughLink != 0) request.add(RTA_OIF, &throughLink, sizeof throughLink);
  std::optional<Route> found;
  ask(request, [&](const nlmsghdr* message) { found = routeOf(message); });
  // The kernel may answer with a route through another link.
  const bool isThroughLink = throughLink == 0 || (found && found->link == throughLink);
  return isThroughLink ? found : std::nullopt;
}

std::optional<Link> RouteSocket::link(std::int32_t index) {
  ifinfomsg header{};
  header.ifi_index = index;
  Request request(RTM_GETLINK, 0, header);
  std::optional<Link> found;
  ask(request, [&](const nlmsghdr* message) { found = linkOf(message); });
  return found;
}

std::vector<Link> RouteSocket::links() {
  Request request(RTM_GETLINK, NLM_F_DUMP, ifinfomsg{});
  std::vector<Link> found;
  ask(request, [&](const nlmsghdr* message) {
    if (auto link = linkOf(message)) found.push_back(std::move(*link));
  });
  return found;
}

Descriptor openRouteMonitor() {
  return openNetlink(RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV4_RULE |
                     RTMGRP_IPV6_IFADDR | RTMGRP_IPV6_ROUTE | 1U << (RTNLGRP_IPV6_RULE - 1));
}

void drainRouteMonitor(const Descriptor& monitor) {
  std::array<char, 64> buffer;
  // Lost messages (ENOBUFS) indicate a change, too.
  while (recv(monitor.get(), buffer.data(), buffer.size(), MSG_DONTWAIT) >= 0 || errno == EINTR ||
         errno == ENOBUFS) {
  }
}

}  // namespace zqm
