// Reachability, against real links and routes in a network namespace of each test's own.
#include "zqm/platform/linux/network/LinuxNetwork.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sched.h>
#include <sys/ioctl.h>

#include <atomic>
#include <cstring>
#include <functional>

#include "tests/support/Becomes.h"
#include "tests/support/Tree.h"
#include "zqm/platform/linux/network/RouteSocket.h"

namespace zqm {
namespace {

using namespace reachability;
using testing::becomes;

const NetworkTarget kHost = HostName{"host.example"};
const NetworkTarget kInternet = SocketAddress{};
const NetworkTarget kLinkLocal = SocketAddress{false, {169, 254, 0, 0}};
const NetworkTarget kNeighbour = HostName{"10.1.0.9"};

void ip(const std::string& arguments) {
  const std::string command = "ip " + arguments;
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

void setCarrier(const std::string& name, bool isOn) {
  ip("link set " + name + "-peer " + (isOn ? "up" : "down"));
  RouteSocket kernel;
  EXPECT_TRUE(becomes([&] {
    const auto link = kernel.link(static_cast<std::int32_t>(if_nametoindex(name.c_str())));
    return link && link->isRunning() == isOn;
  }));
}

void addLink(const std::string& name, const std::string& address) {
  ip("link add dev " + name + " type veth peer name " + name + "-peer");
  ip("address add " + address + " dev " + name);
  ip("link set " + name + " up");
  setCarrier(name, true);
}

// A point-to-point link of any type, with a carrier while the descriptor is open. None where the
// system has no such links.
Descriptor addTunnel(const std::string& name, int type) {
  Descriptor device = openFile("/dev/net/tun", O_RDWR);
  if (!device) return device;
  ifreq request{};
  request.ifr_flags = IFF_TUN | IFF_NO_PI;
  name.copy(request.ifr_name, IFNAMSIZ - 1);
  EXPECT_EQ(ioctl(device.get(), TUNSETIFF, &request), 0);
  EXPECT_EQ(ioctl(device.get(), TUNSETLINK, type), 0);
  ip("link set " + name + " up");
  return device;
}

class LinuxNetworkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::system("ip -V >/dev/null 2>&1") != 0) GTEST_SKIP() << "There is no command ip.";
    if (unshare(CLONE_NEWNET) != 0) {
      GTEST_SKIP() << "No network namespace of its own: " << std::strerror(errno);
    }
  }
  void TearDown() override { setns(before.get(), CLONE_NEWNET); }

  const Descriptor before = openFile("/proc/thread-self/ns/net", O_RDONLY);
  testing::Tree root;
  LinuxNetwork network{root.root()};
};

TEST_F(LinuxNetworkTest, FollowsRoutesOfBothFamiliesAndCarriers) {
  for (const NetworkTarget& target : {kHost, kInternet, kLinkLocal, kNeighbour}) {
    EXPECT_EQ(network.flags(target), 0U);
  }
  ip("link set lo up");
  EXPECT_EQ(network.flags(HostName{"::1"}), kReachable | kIsLocalAddress | kIsDirect);
  EXPECT_EQ(network.flags(kInternet), 0U) << "any host is not this one";

  addLink("lan0", "10.1.0.1/24");
  EXPECT_EQ(network.flags(kHost), 0U);
  EXPECT_EQ(network.flags(kNeighbour), kReachable | kIsDirect);
  EXPECT_EQ(network.flags(HostName{"::ffff:10.1.0.9"}), kReachable | kIsDirect);
  EXPECT_EQ(network.flags(HostName{"10.1.0.1"}), kReachable | kIsLocalAddress | kIsDirect);
  EXPECT_EQ(network.flags(kLinkLocal), kReachable | kIsDirect);

  ip("route add unreachable default");
  EXPECT_EQ(network.flags(kHost), 0U);
  ip("-6 address add 2001:db8::2/64 dev lan0 nodad");
  ip("-6 route add default via 2001:db8::1");
  EXPECT_EQ(network.flags(kHost), kReachable);
  ip("-6 route delete default");
  ip("route replace default via 10.1.0.254");
  EXPECT_EQ(network.flags(kHost), kReachable);
  EXPECT_EQ(network.flags(kInternet), kReachable);
  setCarrier("lan0", false);
  for (const NetworkTarget& target : {kHost, kNeighbour, kLinkLocal}) {
    EXPECT_EQ(network.flags(target), 0U) << "the route outlives the carrier";
  }
}

TEST_F(LinuxNetworkTest, KnowsCellularLinksByNameAndDriver) {
  addLink("wwan0", "10.1.0.1/24");
  ip("route add default via 10.1.0.254");
  EXPECT_EQ(network.flags(kHost), kReachable | kIsWwan);
  EXPECT_EQ(network.flags(kLinkLocal), kReachable | kIsWwan) << "no local link";

  addLink("enx0", "10.2.0.1/24");
  ip("route replace default via 10.2.0.254");
  root.put("sys/class/net/enx0/uevent", "DEVTYPE=wwan\nINTERFACE=enx0\n");
  root.put("sys/class/net/enx0/ifindex", "999999\n");
  EXPECT_EQ(network.flags(kHost), kReachable) << "another namespace's link";
  root.put("sys/class/net/enx0/ifindex", std::to_string(if_nametoindex("enx0")));
  EXPECT_EQ(network.flags(kHost), kReachable | kIsWwan);
}

TEST_F(LinuxNetworkTest, RawIpIsCellularAndPppOnlyOverAModem) {
  const Descriptor modem = addTunnel("modem0", ARPHRD_RAWIP);
  if (!modem) GTEST_SKIP() << "There is no /dev/net/tun.";
  ip("route add default dev modem0");
  EXPECT_EQ(network.flags(kNeighbour), kReachable | kIsWwan) << "beyond the other end";
  ip("link delete modem0");

  const Descriptor ppp = addTunnel("ppp0", ARPHRD_PPP);
  ip("route add default dev ppp0");
  EXPECT_EQ(network.flags(kHost), kReachable);
  root.put("run/ppp0.pid", "4711\nppp0\n");
  root.put("run/lock/LCK..ttyS0", "       812\n");
  EXPECT_EQ(network.flags(kHost), kReachable) << "another program's line";
  root.put("run/lock/LCK..ttyUSB2", "      4711\n");
  EXPECT_EQ(network.flags(kHost), kReachable | kIsWwan);
}

TEST_F(LinuxNetworkTest, ATunnelTakesTheKindOfTheLinkUnderItOrElseOfTheNextDefaultRoute) {
  addLink("wwan0", "10.1.0.1/24");
  ip("link add dev over0 type vxlan id 3 remote 10.1.0.2 dstport 4789 dev wwan0");
  ip("link set over0 up");
  ip("route add default dev over0");
  EXPECT_EQ(network.flags(kHost), kReachable | kIsWwan) << "the kernel names the link under it";
  ip("link delete over0");

  const Descriptor tunnel = addTunnel("tun0", ARPHRD_NONE);
  if (!tunnel) GTEST_SKIP() << "There is no /dev/net/tun.";
  ip("route add default dev tun0 metric 10");
  addLink("lan0", "10.2.0.1/24");
  ip("route add default via 10.1.0.254 metric 700");
  EXPECT_EQ(network.flags(kHost), kReachable | kIsWwan) << "the only other default route";
  ip("route add default via 10.2.0.254 metric 100");
  EXPECT_EQ(network.flags(kHost), kReachable);
  setCarrier("lan0", false);
  EXPECT_EQ(network.flags(kHost), kReachable | kIsWwan);
}

TEST_F(LinuxNetworkTest, AWatchReportsEachChangeOfTheFlagWordUntilItsTokenGoes) {
  struct Seen {
    std::atomic<std::uint32_t> last = 99;
    std::atomic<int> reports = 0;

    // A report under way does not wait for its token: the observer keeps what it writes to.
    static std::function<void(std::uint32_t)> by(std::shared_ptr<Seen> seen) {
      return [seen](std::uint32_t flags) {
        ++seen->reports;
        seen->last = flags;
        throw std::runtime_error("an observer's own fault");
      };
    }
    bool becomes(std::uint32_t flags) const {
      return testing::becomes([&] { return last == flags; });
    }
  };
  const auto host = std::make_shared<Seen>();
  const auto neighbour = std::make_shared<Seen>();
  auto watched = std::make_unique<LinuxNetwork>();
  EXPECT_EQ(watched->watch(HostName{}, Seen::by(host)), nullptr);
  auto first = watched->watch(kHost, Seen::by(host));
  auto second = watched->watch(kNeighbour, Seen::by(neighbour));
  watched->watch(kLinkLocal, Seen::by(host));
  addLink("lan0", "10.1.0.1/24");
  EXPECT_TRUE(neighbour->becomes(kReachable | kIsDirect));
  EXPECT_EQ(host->reports, 0) << "nothing changed for the host, and a token was given back";
  ip("route add default via 10.1.0.254");
  EXPECT_TRUE(host->becomes(kReachable));

  // A token outlives its service; the last one ends the thread, and a new watch starts another.
  watched.reset();
  first.reset();
  second.reset();
  second = network.watch(kNeighbour, Seen::by(neighbour));
  setCarrier("lan0", false);
  EXPECT_TRUE(neighbour->becomes(0));
  EXPECT_EQ(host->reports, 1);
}

}  // namespace
}  // namespace zqm
