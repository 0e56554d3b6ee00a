// Queries of the kernel's routes and links, by rtnetlink (RFC 3549). Sends nothing to the network.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "zqm/platform/Network.h"
#include "zqm/platform/posix/Descriptor.h"

namespace zqm {

struct Route {
  // The index of the outgoing interface.
  std::int32_t link = 0;
  bool hasGateway = false;
  // Whether the address is one of the system's own.
  bool isLocal = false;
  std::uint32_t metric = 0;
};

struct Link {
  std::int32_t index = 0;
  std::string name;
  // IFF_UP, IFF_RUNNING and so on.
  std::uint32_t flags = 0;
  // ARPHRD_ETHER and so on.
  std::uint16_t type = 0;
  // The type of a virtual link, such as "tun" or "vlan"; empty for a device.
  std::string kind;
  // The index of the link under this one, if the kernel names it; else 0.
  std::int32_t lower = 0;
  // Whether the link is part of a bridge, a bond or the like.
  bool hasMaster = false;
  // The other end of a tunnel, if the kernel knows it.
  std::optional<SocketAddress> remote;

  // Whether the link is up and has a carrier, if it is of a type that has one.
  bool isRunning() const;
};

// Not thread-safe.
class RouteSocket {
 public:
  RouteSocket();

  // True if a request to the kernel failed; std::nullopt then does not mean "no route".
  bool failed() const { return failed_; }

  // Returns the route that the kernel would take, or the best one through the given link;
  // std::nullopt if there is none.
  std::optional<Route> route(const SocketAddress& address, std::int32_t throughLink = 0);
  std::optional<Link> link(std::int32_t index);
  std::vector<Link> links();

 private:
  class Request;
  bool send(Request& request);
  // Sends the request and calls `take` with each message of the reply.
  template <class Take>
  void ask(Request& request, Take take);

  Descriptor socket_;
  std::uint32_t sequence_ = 0;
  bool failed_ = false;
};

// Opens a socket that becomes readable whenever links, addresses, routes or rules change.
Descriptor openRouteMonitor();
// Discards what has arrived on such a socket.
void drainRouteMonitor(const Descriptor& monitor);

}  // namespace zqm
