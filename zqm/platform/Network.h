// The interface of a reachability service.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace zqm {

// The bits of a reachability flag word.
namespace reachability {
inline constexpr std::uint32_t kTransientConnection = 0x1;
inline constexpr std::uint32_t kReachable = 0x2;
inline constexpr std::uint32_t kConnectionRequired = 0x4;
inline constexpr std::uint32_t kConnectionOnTraffic = 0x8;
inline constexpr std::uint32_t kInterventionRequired = 0x10;
inline constexpr std::uint32_t kConnectionOnDemand = 0x20;
inline constexpr std::uint32_t kIsLocalAddress = 0x10000;
inline constexpr std::uint32_t kIsDirect = 0x20000;
inline constexpr std::uint32_t kIsWwan = 0x40000;
}  // namespace reachability

// An IPv4 address (4 bytes) or an IPv6 address (16 bytes) in network byte order. 0.0.0.0 stands for
// any host of the internet.
struct SocketAddress {
  bool isIpv6 = false;
  std::array<std::uint8_t, 16> bytes{};
  std::uint16_t port = 0;

  bool operator==(const SocketAddress&) const = default;
};

struct HostName {
  std::string name;

  bool operator==(const HostName&) const = default;
};

using NetworkTarget = std::variant<HostName, SocketAddress>;

class Network {
 public:
  virtual ~Network() = default;

  // Returns whether the target can be watched. An empty host name cannot.
  virtual bool accepts(const NetworkTarget& target) = 0;

  // Returns the flags of the target, or std::nullopt if they cannot be read. Sends nothing,
  // resolves no name, and takes well under a millisecond.
  virtual std::optional<std::uint32_t> flags(const NetworkTarget& target) = 0;

  // Calls `changed` with the new flags after each change, one call at a time, on a thread of the
  // service. Destroying the returned token ends this; it does not wait for a call in progress.
  // Returns null if the service refuses.
  virtual std::shared_ptr<void> watch(const NetworkTarget& target,
                                      std::function<void(std::uint32_t)> changed) = 0;
};

}  // namespace zqm
