// Looks up a route, its link and, for a tunnel, the link under that.
#include <arpa/inet.h>
#include <linux/if.h>
#include <linux/if_arp.h>

#include <algorithm>
#include <array>

#include "zqm/platform/linux/network/LinuxNetwork.h"
#include "zqm/platform/linux/network/RouteSocket.h"
#include "zqm/platform/posix/Descriptor.h"
#include "zqm/platform/posix/Paths.h"

namespace zqm {
namespace {

// For "any host of the internet" the first root name server is looked up, because the kernel's
// route to 0.0.0.0 is always the loopback link.
constexpr SocketAddress kInternet4{false, {198, 41, 0, 4}};
constexpr SocketAddress kInternet6{
    true, {0x20, 0x01, 0x05, 0x03, 0xBA, 0x3E, 0, 0, 0, 0, 0, 0, 0, 0x02, 0, 0x30}};
constexpr SocketAddress kLinkLocalNetwork{false, {169, 254, 0, 0}};
constexpr std::array<std::uint8_t, 12> kMappedPrefix{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};

// How many links a tunnel is followed through, and how many are considered at each step.
constexpr int kDeepest = 4;
constexpr std::size_t kMostLinks = 64;

bool sameBytes(const SocketAddress& a, const SocketAddress& b) {
  return a.isIpv6 == b.isIpv6 && a.bytes == b.bytes;
}

bool isAny(const SocketAddress& address) { return sameBytes(address, {address.isIpv6}); }

// An IPv4-mapped IPv6 address is routed as IPv4.
SocketAddress unmapped(const SocketAddress& address) {
  if (!address.isIpv6 ||
      !std::equal(kMappedPrefix.begin(), kMappedPrefix.end(), address.bytes.begin())) {
    return address;
  }
  SocketAddress plain;
  std::copy(address.bytes.begin() + 12, address.bytes.end(), plain.bytes.begin());
  return plain;
}

// Treats a host name that is a literal address as that address; std::nullopt for other names.
std::optional<SocketAddress> addressOf(const NetworkTarget& target) {
  if (const auto* address = std::get_if<SocketAddress>(&target)) return unmapped(*address);
  const char* name = std::get<HostName>(target).name.c_str();
  SocketAddress address;
  if (inet_pton(AF_INET, name, address.bytes.data()) == 1) return address;
  address.isIpv6 = inet_pton(AF_INET6, name, address.bytes.data()) == 1;
  return address.isIpv6 ? std::optional(unmapped(address)) : std::nullopt;
}

bool isTunnel(const Link& link) {
  constexpr std::array<std::uint16_t, 7> types{ARPHRD_NONE,    ARPHRD_PPP, ARPHRD_TUNNEL,
                                               ARPHRD_TUNNEL6, ARPHRD_SIT, ARPHRD_IPGRE,
                                               ARPHRD_IP6GRE};
  constexpr std::array<std::string_view, 8> kinds{"tun",   "wireguard", "gretap", "ip6gretap",
                                                  "vxlan", "geneve",    "xfrm",   "ovpn"};
  return std::find(types.begin(), types.end(), link.type) != types.end() ||
         std::find(kinds.begin(), kinds.end(), link.kind) != kinds.end();
}

// Whether the daemon of a PPP link holds the lock of a serial line. Other PPP links use a session
// of another link or a tunnel's pseudo-terminal.
bool isOverModem(const std::string& root, const std::string& ppp) {
  auto daemon = readLine(root + "/run/" + ppp + ".pid");
  if (!daemon) daemon = readLine(root + "/run/pppd/" + ppp + ".pid");
  if (!daemon) return false;
  // Some versions append the link's name to the number.
  const std::int32_t process = Value(*daemon).intValue();
  const std::string locks = root + "/run/lock";
  for (const std::string& name : entriesOf(locks)) {
    if (!name.starts_with("LCK..tty") && !name.starts_with("LCK..rfcomm")) continue;
    const auto holder = readLine(joinPath(locks, name));
    if (holder && process > 0 && Value(*holder).intValue() == process) return true;
  }
  return false;
}

bool isModemDevice(const std::string& root, const Link& link) {
  const std::string directory = root + "/sys/class/net/" + link.name;
  // A sysfs mounted for another network namespace shows the links of that namespace.
  const auto index = readLine(directory + "/ifindex");
  if (!index || Value(*index).intValue() != link.index) return false;
  const auto event = readLine(directory + "/uevent");
  return event && ("\n" + *event + "\n").find("\nDEVTYPE=wwan\n") != std::string::npos;
}

class Lookup {
 public:
  explicit Lookup(const std::string& root) : root_(root) {}

  std::optional<std::uint32_t> flags(const NetworkTarget& target) {
    const std::uint32_t word = flagWord(target);
    return socket_.failed() ? std::nullopt : std::optional(word);
  }

 private:
  std::uint32_t flagWord(const NetworkTarget& target) {
    const auto address = addressOf(target);
    if (!address || isAny(*address)) return internetFlags();
    if (sameBytes(*address, kLinkLocalNetwork)) return linkLocalFlags();
    return routeFlags(*address, true);
  }

  std::uint32_t internetFlags() {
    const std::uint32_t word = routeFlags(kInternet4, false);
    return word != 0 ? word : routeFlags(kInternet6, false);
  }

  // Every link that could carry the link-local network is on it, with or without a route.
  std::uint32_t linkLocalFlags() {
    for (const Link& link : baseLinks()) {
      if ((link.flags & IFF_BROADCAST) != 0 && !isCellular(link, kDeepest)) {
        return reachability::kReachable | reachability::kIsDirect;
      }
    }
    return routeFlags(kLinkLocalNetwork, true);
  }

  std::uint32_t routeFlags(const SocketAddress& address, bool isConcrete) {
    const auto route = socket_.route(address);
    const auto link = route ? socket_.link(route->link) : std::nullopt;
    // A link that lost its carrier keeps its routes.
    if (!link || !link->isRunning()) return 0;
    std::uint32_t word = reachability::kReachable;
    if (isCellular(*link, kDeepest)) word |= reachability::kIsWwan;
    if (!isConcrete) return word;
    if (route->isLocal) word |= reachability::kIsLocalAddress;
    // A point-to-point link needs no gateway, even for addresses beyond the other end.
    const bool isNeighbour = !route->hasGateway && (link->flags & IFF_POINTOPOINT) == 0;
    if (route->isLocal || isNeighbour) word |= reachability::kIsDirect;
    return word;
  }

  // Whether the link itself is cellular.
  bool isModem(const Link& link) {
    for (const std::string_view prefix : {"wwan", "rmnet", "ccmni"}) {
      if (link.name.starts_with(prefix)) return true;
    }
    return link.type == ARPHRD_RAWIP || isModemDevice(root_, link) ||
           (link.type == ARPHRD_PPP && isOverModem(root_, link.name));
  }

  // Whether the link, or one that is up to `depth` links under it, is cellular.
  bool isCellular(const Link& link, int depth) {
    if (isModem(link)) return true;
    const auto under = depth > 0 ? linkUnder(link) : std::nullopt;
    return under && isCellular(*under, depth - 1);
  }

  std::optional<Link> linkUnder(const Link& link) {
    if (link.lower != 0 && link.lower != link.index) return socket_.link(link.lower);
    if (!isTunnel(link)) return std::nullopt;
    if (link.remote) {
      const auto route = socket_.route(*link.remote);
      if (route && route->link != link.index) return socket_.link(route->link);
    }
    return internetLink();
  }

  // The link whose default route would be used without tunnels. If there is no such route, a link
  // that is not cellular is preferred: the tunnel's server may have a route of its own.
  std::optional<Link> internetLink() {
    const std::vector<Link> links = baseLinks();
    for (const SocketAddress& internet : {kInternet4, kInternet6}) {
      const Link* best = nullptr;
      std::uint32_t metric = 0;
      for (const Link& link : links) {
        const auto route = socket_.route(internet, link.index);
        if (!route || (best && route->metric >= metric)) continue;
        best = &link;
        metric = route->metric;
      }
      if (best) return *best;
    }
    const auto plain =
        std::find_if(links.begin(), links.end(), [&](const Link& link) { return !isModem(link); });
    if (plain != links.end()) return *plain;
    return links.empty() ? std::nullopt : std::optional(links.front());
  }

  // Running links that are neither tunnels nor loopback nor parts of another link.
  std::vector<Link> baseLinks() {
    std::vector<Link> links = socket_.links();
    std::erase_if(links, [&](const Link& link) {
      return !link.isRunning() || (link.flags & IFF_LOOPBACK) != 0 || link.hasMaster ||
             (isTunnel(link) && !isModem(link));
    });
    if (links.size() > kMostLinks) links.resize(kMostLinks);
    return links;
  }

  const std::string& root_;
  RouteSocket socket_;
};

}  // namespace

std::optional<std::uint32_t> LinuxNetwork::flags(const NetworkTarget& target) {
  return accepts(target) ? Lookup(root_).flags(target) : std::nullopt;
}

}  // namespace zqm
