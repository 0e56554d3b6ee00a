// Reads the files under tests/data.
#include "tests/support/TestData.h"

#include <fstream>
#include <iterator>

namespace zqm::testing {

Bytes readTestData(const std::string& name) {
  std::ifstream file(std::string(ZQM_TEST_DATA) + "/" + name, std::ios::binary);
  file.exceptions(std::ios::failbit | std::ios::badbit);
  return Bytes(std::istreambuf_iterator<char>(file.rdbuf()), {});
}

}  // namespace zqm::testing
