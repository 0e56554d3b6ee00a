// An answer of a server.
#include "fuzz/Target.h"

namespace zqm::fuzz {

void tryOne(const Bytes& input) {
  const JsonReading read = readJson(asText(input));
  require(read.value.isAbsent() == read.error.has_value(), "there is a value or an error");
  if (read.error) return;
  const JsonWriting written = writeJson(read.value);
  require(!written.error, "what was read can be written");
  require(readJson(written.text).value == read.value, "what is written reads back");
}

}  // namespace zqm::fuzz
