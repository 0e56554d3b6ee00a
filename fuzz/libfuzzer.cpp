// Where libFuzzer calls a target.
#include "fuzz/Target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zqm::fuzz::tryOne({data, data + size});
  return 0;
}
