// Waits for what another thread or process brings about.
#pragma once

#include <chrono>
#include <thread>

namespace zqm::testing {

// Whether the condition comes true within a minute.
template <class Condition>
bool becomes(const Condition& condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace zqm::testing
