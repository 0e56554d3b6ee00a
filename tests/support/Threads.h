// Work that several threads do at once.
#pragma once

#include <thread>
#include <vector>

namespace zqm::testing {

// Calls body(0), body(1) and so on, each on a thread of its own, and waits for all of them.
template <class Body>
void onThreads(int count, const Body& body) {
  std::vector<std::jthread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(body, i);
}

}  // namespace zqm::testing
