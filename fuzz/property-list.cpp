// A property list, binary or XML.
#include "zqm/util/PropertyList.h"

#include "fuzz/Target.h"

namespace zqm::fuzz {

void tryOne(const Bytes& input) {
  const Value read = readPropertyList(input);
  // A small file can hold one value many times, and the library's writer takes quadratic time.
  if (read.isAbsent() || read.textForm().size() > (1U << 17)) return;
  const auto written = writePropertyList(read);
  require(written.has_value(), "what was read can be written");
  require(same(readPropertyList(*written), read), "what is written reads back");
}

}  // namespace zqm::fuzz
