// A process of the library with a queue in real files, and no other service that is real.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "soak/SteppedJournals.h"
#include "tests/support/FakePlatform.h"
#include "zqm/platform/Process.h"

namespace zqm::soak {

// Several in one process of the system keep apart as several of these do: by the locks of their
// files. One thread.
class QueueHost {
 public:
  // Of the files in `root`/container, and a copy in `root`/documents. Reads the first of them.
  explicit QueueHost(const std::string& root);
  QueueHost(const std::string& root, std::shared_ptr<Steps> steps);
  // Ends in peace.
  ~QueueHost();

  // Item n is for http://queue.test/n.
  void enqueue(int number) { enqueue(number, 20, false); }
  void enqueue(int number, std::size_t size, bool priority);
  void remove(int number);
  void recover();
  std::vector<int> numbers();

  testing::Fakes& fakes() { return fakes_; }
  Process& process() { return *process_; }
  // What was reported so far, a sentence each.
  std::vector<std::string> reports();

 private:
  testing::Fakes fakes_;
  std::unique_ptr<Process> process_;
};

std::string containerIn(const std::string& root);
int numberOf(std::string_view url);

}  // namespace zqm::soak
