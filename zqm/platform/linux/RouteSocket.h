// The kernel's routes and links, asked through rtnetlink (RFC 3549). Nothing is sent anywhere.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "zqm/platform/Network.h"
#include "zqm/platform/linux/Descriptor.h"

namespace zqm {

struct Route {
  // The interface that the route leaves by.
  std::int32_t link = 0;
  bool hasGateway = false;
  // One of the system's own addresses.
  bool isLocal = false;
  std::uint32_t metric = 0;
};

struct Link {
  std::int32_t index = 0;
  std::string name;
  // IFF_UP, IFF_RUNNING and their like.
  std::uint32_t flags = 0;
  // ARPHRD_ETHER and its like.
  std::uint16_t type = 0;
  // What made a virtual link, such as "tun" or "vlan"; empty for a device.
  std::string kind;
  // The link under this one, where the kernel names it; 0 otherwise.
  std::int32_t lower = 0;
  // Part of a bridge, a bond or their like.
  bool hasMaster = false;
  // The other end of a tunnel, where the kernel knows it.
  std::optional<SocketAddress> remote;

  // Up, and with a carrier where it has such a thing.
  bool isRunning() const;
};

// Used by one thread at a time.
class RouteSocket {
 public:
  RouteSocket();

  // True when the kernel did not answer: then an absent result says nothing.
  bool failed() const { return failed_; }

  // The route that the kernel would take; none when there is no way.
  std::optional<Route> route(const SocketAddress& address);
  // The best route by one link.
  std::optional<Route> route(const SocketAddress& address, std::int32_t throughLink);
  std::optional<Link> link(std::int32_t index);
  std::vector<Link> links();

 private:
  class Request;
  bool send(Request& request);
  // Calls `take` with each message that answers the last request.
  template <class Take>
  void receive(Take take);
  std::optional<Route> ask(const SocketAddress& address, std::int32_t throughLink);

  Descriptor socket_;
  std::uint32_t sequence_ = 0;
  bool failed_ = false;
};

// A socket that becomes readable whenever links, addresses, routes or rules change.
Descriptor openRouteMonitor();
// Takes what has arrived off such a socket.
void drainRouteMonitor(const Descriptor& monitor);

}  // namespace zqm
