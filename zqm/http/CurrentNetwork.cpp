// Asks for the link to a public host.
#include "zqm/http/CurrentNetwork.h"

namespace zqm {
namespace {

// The name is never resolved and nothing is sent to it.
constexpr const char* kPublicHost = "example.com";

}  // namespace

NetworkStatus currentNetwork() {
  const auto probe = ZQMReachability::reachabilityWithHostname(kPublicHost);
  return probe ? probe->currentReachabilityStatus() : NetworkStatus();
}

}  // namespace zqm
