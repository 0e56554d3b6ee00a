// The replaced services.
#include "Pretence.h"

#include "zqm/platform/Process.h"
#include "zqm/platform/linux/LinuxPlatform.h"

namespace example {
namespace {

class ClockAhead : public zqm::Clock {
 public:
  ClockAhead(std::shared_ptr<zqm::Clock> real, std::chrono::hours ahead)
      : real_(std::move(real)), ahead_(ahead) {}
  zqm::Date now() override { return real_->now() + ahead_; }

 private:
  const std::shared_ptr<zqm::Clock> real_;
  const std::chrono::hours ahead_;
};

// Never changes, so a watcher has nothing to hear.
class FixedNetwork : public zqm::Network {
 public:
  explicit FixedNetwork(std::uint32_t flags) : flags_(flags) {}
  bool accepts(const zqm::NetworkTarget&) override { return true; }
  std::optional<std::uint32_t> flags(const zqm::NetworkTarget&) override { return flags_; }
  std::shared_ptr<void> watch(const zqm::NetworkTarget&,
                              std::function<void(std::uint32_t)>) override {
    return std::make_shared<int>();
  }

 private:
  const std::uint32_t flags_;
};

}  // namespace

std::optional<std::uint32_t> networkNamed(std::string_view name) {
  using namespace zqm::reachability;
  if (name == "wifi") return kReachable;
  if (name == "cellular") return kReachable | kIsWwan;
  if (name == "none") return 0;
  return std::nullopt;
}

void pretend(const Pretence& pretence) {
  zqm::Process::setDefaultPlatform([pretence, make = zqm::linuxPlatform({})] {
    zqm::Platform platform = make();
    if (pretence.ahead.count() != 0) {
      platform.clock = std::make_shared<ClockAhead>(platform.clock, pretence.ahead);
    }
    if (pretence.network) platform.network = std::make_shared<FixedNetwork>(*pretence.network);
    return platform;
  });
}

}  // namespace example
