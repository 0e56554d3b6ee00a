// Reachability, against real links and routes in a network namespace of each test's own.
#include "zqm/platform/linux/LinuxNetwork.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <deque>
#include <functional>
#include <optional>
#include <thread>

#include "tests/support/Tree.h"
#include "zqm/base/Mutex.h"
#include "zqm/platform/linux/RouteSocket.h"

namespace zqm {
namespace {

using reachability::kIsDirect;
using reachability::kIsLocalAddress;
using reachability::kIsWwan;
using reachability::kReachable;

const NetworkTarget kHost = HostName{"host.example"};
const NetworkTarget kInternet = SocketAddress{};
const NetworkTarget kLinkLocal = SocketAddress{false, {169, 254, 0, 0}};

void ip(const std::string& arguments) {
  const std::string command = "ip " + arguments;
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

// Runs `body` on a thread that lives in a network namespace of its own. The reason why that
// cannot be, or "".
std::string inOwnNamespace(const std::function<void()>& body) {
  if (std::system("ip -V >/dev/null 2>&1") != 0) return "the command ip (iproute2) is missing";
  std::string reason;
  std::thread([&] {
    if (unshare(CLONE_NEWNET) == 0) return body();
    reason = std::string("no network namespace of its own: ").append(std::strerror(errno));
  }).join();
  return reason;
}

// For tests that make links of any type.
#define NEEDS_TUNNEL_DEVICE \
  if (access("/dev/net/tun", R_OK | W_OK) != 0) GTEST_SKIP() << "there is no /dev/net/tun"

#define IN_OWN_NAMESPACE(body) \
  if (const std::string reason = inOwnNamespace(body); !reason.empty()) GTEST_SKIP() << reason

// The kernel tells a link of its new carrier a little later.
void setCarrier(const std::string& name, bool isOn) {
  ip("link set " + name + "-peer " + (isOn ? "up" : "down"));
  const auto index = static_cast<std::int32_t>(if_nametoindex(name.c_str()));
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  RouteSocket kernel;
  for (auto link = kernel.link(index); link && link->isRunning() != isOn;
       link = kernel.link(index)) {
    ASSERT_LT(std::chrono::steady_clock::now(), limit) << name;
    std::this_thread::yield();
  }
}

void addLink(const std::string& name, const std::string& address) {
  ip("link add dev " + name + " type veth peer name " + name + "-peer");
  ip("address add " + address + " dev " + name);
  ip("link set " + name + " up");
  setCarrier(name, true);
}

// A point-to-point link with a carrier and a type of its own while the descriptor is open.
Descriptor addTunnel(const std::string& name, int type) {
  Descriptor device(open("/dev/net/tun", O_RDWR | O_CLOEXEC));
  ifreq request{};
  request.ifr_flags = IFF_TUN | IFF_NO_PI;
  std::strncpy(request.ifr_name, name.c_str(), IFNAMSIZ - 1);
  EXPECT_EQ(ioctl(device.get(), TUNSETIFF, &request), 0);
  EXPECT_EQ(ioctl(device.get(), TUNSETLINK, type), 0);
  ip("link set " + name + " up");
  return device;
}

TEST(LinuxNetworkTest, FollowsRoutesAndCarriers) {
  IN_OWN_NAMESPACE([] {
    LinuxNetwork network;
    for (const NetworkTarget& target :
         {kHost, kInternet, kLinkLocal, NetworkTarget(HostName{"127.0.0.1"}),
          NetworkTarget(HostName{"2001:db8::1"})}) {
      EXPECT_EQ(network.flags(target), 0U);
    }
    ip("link set lo up");
    EXPECT_EQ(network.flags(HostName{"::1"}), kReachable | kIsLocalAddress | kIsDirect);
    EXPECT_EQ(network.flags(kInternet), 0U) << "any host is not this one";

    addLink("lan0", "10.1.0.1/24");
    EXPECT_EQ(network.flags(kHost), 0U);
    EXPECT_EQ(network.flags(HostName{"10.1.0.9"}), kReachable | kIsDirect);
    EXPECT_EQ(network.flags(HostName{"::ffff:10.1.0.9"}), kReachable | kIsDirect);
    EXPECT_EQ(network.flags(HostName{"10.1.0.1"}), kReachable | kIsLocalAddress | kIsDirect);
    EXPECT_EQ(network.flags(HostName{"10.2.0.1"}), 0U);
    EXPECT_EQ(network.flags(kLinkLocal), kReachable | kIsDirect);

    ip("route add default via 10.1.0.254");
    EXPECT_EQ(network.flags(kHost), kReachable);
    EXPECT_EQ(network.flags(kInternet), kReachable);
    EXPECT_EQ(network.flags(HostName{"10.2.0.1"}), kReachable);

    setCarrier("lan0", false);
    EXPECT_EQ(network.flags(kHost), 0U) << "the route outlives the carrier";
    EXPECT_EQ(network.flags(HostName{"10.1.0.9"}), 0U);
    EXPECT_EQ(network.flags(kLinkLocal), 0U);
  });
}

TEST(LinuxNetworkTest, AnUnreachableRouteIsNoWayAndIpv6AloneIsOne) {
  IN_OWN_NAMESPACE([] {
    LinuxNetwork network;
    addLink("lan0", "10.1.0.1/24");
    ip("route add unreachable default");
    EXPECT_EQ(network.flags(kHost), 0U);
    ip("route replace blackhole default");
    EXPECT_EQ(network.flags(kHost), 0U);
    ip("-6 address add 2001:db8::2/64 dev lan0 nodad");
    ip("-6 route add default via 2001:db8::1");
    EXPECT_EQ(network.flags(kHost), kReachable);
    EXPECT_EQ(network.flags(HostName{"2001:db8:5::1"}), kReachable);
  });
}

TEST(LinuxNetworkTest, KnowsCellularLinksByNameAndDriver) {
  IN_OWN_NAMESPACE([] {
    addLink("wwan0", "10.1.0.1/24");
    ip("route add default via 10.1.0.254");
    EXPECT_EQ(LinuxNetwork().flags(kHost), kReachable | kIsWwan);
    EXPECT_EQ(LinuxNetwork().flags(kLinkLocal), kReachable | kIsWwan) << "no local link";
    ip("route delete default");

    addLink("enx0", "10.2.0.1/24");
    ip("route add default via 10.2.0.254");
    EXPECT_EQ(LinuxNetwork().flags(kHost), kReachable);
    const testing::Tree root;
    root.put("sys/class/net/enx0/uevent", "DEVTYPE=wwan\nINTERFACE=enx0\n");
    root.put("sys/class/net/enx0/ifindex", "999999\n");
    EXPECT_EQ(LinuxNetwork(root.root()).flags(kHost), kReachable) << "another namespace's link";
    root.put("sys/class/net/enx0/ifindex", std::to_string(if_nametoindex("enx0")) + "\n");
    EXPECT_EQ(LinuxNetwork(root.root()).flags(kHost), kReachable | kIsWwan);
  });
}

TEST(LinuxNetworkTest, KnowsACellularLinkByItsType) {
  NEEDS_TUNNEL_DEVICE;
  IN_OWN_NAMESPACE([] {
    const Descriptor modem = addTunnel("modem0", ARPHRD_RAWIP);
    ip("route add default dev modem0");
    EXPECT_EQ(LinuxNetwork().flags(kHost), kReachable | kIsWwan);
    EXPECT_EQ(LinuxNetwork().flags(HostName{"10.9.0.1"}), kReachable | kIsWwan)
        << "beyond the other end, not beside it";
  });
}

TEST(LinuxNetworkTest, APppLinkIsCellularOnlyOverAModem) {
  NEEDS_TUNNEL_DEVICE;
  IN_OWN_NAMESPACE([] {
    const Descriptor ppp = addTunnel("ppp0", ARPHRD_PPP);
    ip("route add default dev ppp0");
    const testing::Tree root;
    LinuxNetwork network(root.root());
    EXPECT_EQ(network.flags(kHost), kReachable);
    root.put("run/ppp0.pid", "4711\nppp0\n");
    root.put("run/lock/LCK..ttyS0", "       812\n");
    EXPECT_EQ(network.flags(kHost), kReachable) << "another program's line";
    root.put("run/lock/LCK..ttyUSB2", "      4711\n");
    EXPECT_EQ(network.flags(kHost), kReachable | kIsWwan);
  });
}

TEST(LinuxNetworkTest, ATunnelTakesTheKindOfTheLinkThatTheKernelNamesUnderIt) {
  IN_OWN_NAMESPACE([] {
    addLink("wwan0", "10.1.0.1/24");
    ip("link add dev over0 type vxlan id 3 remote 10.1.0.2 dstport 4789 dev wwan0");
    ip("link set over0 up");
    ip("route add default dev over0");
    EXPECT_EQ(LinuxNetwork().flags(kHost), kReachable | kIsWwan);
  });
}

TEST(LinuxNetworkTest, ATunnelOfUnknownEndTakesTheKindOfTheNextDefaultRoute) {
  NEEDS_TUNNEL_DEVICE;
  IN_OWN_NAMESPACE([] {
    LinuxNetwork network;
    addLink("wwan0", "10.1.0.1/24");
    const Descriptor tunnel = addTunnel("tun0", ARPHRD_NONE);
    ip("route add default dev tun0 metric 10");
    EXPECT_EQ(network.flags(kHost), kReachable | kIsWwan) << "there is no other link";
    addLink("lan0", "10.2.0.1/24");
    ip("route add default via 10.1.0.254 metric 700");
    EXPECT_EQ(network.flags(kHost), kReachable | kIsWwan) << "the only other default route";
    ip("route add default via 10.2.0.254 metric 100");
    EXPECT_EQ(network.flags(kHost), kReachable);
    setCarrier("lan0", false);
    EXPECT_EQ(network.flags(kHost), kReachable | kIsWwan);
  });
}

// Collects what a watch reports.
class Reports {
 public:
  void add(std::uint32_t flags) {
    const MutexLock lock(mutex_);
    flags_.push_back(flags);
    arrived_.notifyAll();
  }
  // The next report; none after ten seconds without one.
  std::optional<std::uint32_t> next() {
    const MutexLock lock(mutex_);
    bool inTime = true;
    while (flags_.empty() && inTime) inTime = arrived_.waitFor(mutex_, std::chrono::seconds(10));
    if (flags_.empty()) return std::nullopt;
    const std::uint32_t flags = flags_.front();
    flags_.pop_front();
    return flags;
  }

  bool isEmpty() {
    const MutexLock lock(mutex_);
    return flags_.empty();
  }

 private:
  Mutex mutex_;
  Condition arrived_;
  std::deque<std::uint32_t> flags_ ZQM_GUARDED_BY(mutex_);
};

TEST(LinuxNetworkTest, AWatchReportsEachChangeOfTheFlagWordUntilItsTokenGoes) {
  IN_OWN_NAMESPACE([] {
    Reports host;
    Reports address;
    Reports forgotten;
    auto network = std::make_unique<LinuxNetwork>();
    EXPECT_EQ(network->watch(HostName{}, [](std::uint32_t) {}), nullptr);
    auto first = network->watch(kHost, [&](std::uint32_t flags) { host.add(flags); });
    auto second = network->watch(HostName{"10.1.0.9"}, [&](std::uint32_t flags) {
      address.add(flags);
      throw std::runtime_error("an observer's own fault");
    });
    network->watch(kHost, [&](std::uint32_t flags) { forgotten.add(flags); });
    ASSERT_NE(first, nullptr);

    addLink("lan0", "10.1.0.1/24");
    EXPECT_EQ(address.next(), kReachable | kIsDirect);
    // Nothing changed for the host: its first report is of the route.
    ip("route add default via 10.1.0.254");
    EXPECT_EQ(host.next(), kReachable);
    setCarrier("lan0", false);
    EXPECT_EQ(host.next(), 0U);
    EXPECT_EQ(address.next(), 0U);

    // A token outlives its service; the last one ends the thread, and a new watch starts another.
    first = network->watch(kHost, [&](std::uint32_t flags) { host.add(flags); });
    network.reset();
    second.reset();
    first.reset();
    network = std::make_unique<LinuxNetwork>();
    second = network->watch(HostName{"10.1.0.9"}, [&](std::uint32_t flags) { address.add(flags); });
    setCarrier("lan0", true);
    EXPECT_EQ(address.next(), kReachable | kIsDirect);
    second.reset();
    EXPECT_TRUE(forgotten.isEmpty());
    EXPECT_TRUE(host.isEmpty());
  });
}

}  // namespace
}  // namespace zqm
