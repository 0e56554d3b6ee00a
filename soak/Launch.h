// One launch of a host that gives the library no rest.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "soak/Account.h"
#include "soak/FaultyFiles.h"
#include "soak/RemoteBackend.h"
#include "tests/support/FakePlatform.h"
#include "tools/zqm/Sandbox.h"

namespace zqm::soak {

// What outlives a launch.
struct Stage {
  const tools::Sandbox& sandbox;
  const std::filesystem::path& data;
  RemoteBackend& backend;
  Account& account;
  Date now;
  std::atomic<std::uint64_t> accepted = 0;
};

class Launch {
 public:
  Launch(Stage& stage, unsigned seed);

  // Eight host threads for that long, then peace. What is wrong, a sentence each.
  std::vector<std::string> run(std::chrono::milliseconds time);

 private:
  using Random = std::minstd_rand;

  Platform platform() const;
  void host(Random random);
  void call(Random& random);
  void enqueueOrRemove(Random& random);
  void weather(Random random);
  void calm();

  Stage& stage_;
  Random random_;
  // One of the two: what a container that goes had held cannot be read later.
  const bool losesContainer_;
  const std::shared_ptr<Disk> disk_ = std::make_shared<Disk>();
  const std::shared_ptr<testing::FakeClock> clock_ = std::make_shared<testing::FakeClock>();
  const std::shared_ptr<testing::FakeNetwork> network_ = std::make_shared<testing::FakeNetwork>();
  Process process_;
  std::atomic<bool> isOver_ = false;
};

}  // namespace zqm::soak
