// Values of the library's own files.
#include "zqm/util/Cbor.h"
#include "fuzz/Target.h"

namespace zqm::fuzz {

void tryOne(const Bytes& input) {
  const auto value = readCbor(asText(input));
  if (!value) return;
  require(!mustBeRefused, "it is refused");
  std::string written;
  putCbor(written, *value);
  const auto again = readCbor(written);
  require(again.has_value(), "what is written can be read");
  require(same(*again, *value), "what is written reads back");
}

}  // namespace zqm::fuzz
