// Writes property lists by libplist.
#include "tools/zqm/PropertyListWriter.h"

#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>

#include "zqm/util/Strings.h"

namespace zqm::tools {
namespace {

using std::chrono::seconds;

struct NodeDeleter {
  void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeDeleter>;

// A null pointer for what no property list can hold.
Node write(const Value& value);

// A text ends at a zero byte, and an invalid one disappears from the file.
bool holds(const std::string& text) {
  return text.find('\0') == std::string::npos && isValidUtf8(text);
}

Node write(const Bytes& bytes) {
  const std::string_view content = asText(bytes);
  return Node(plist_new_data(content.empty() ? "" : content.data(), content.size()));
}

// A property list counts from 2001-01-01T00:00:00Z.
Node write(Date date) {
  constexpr Date kEpoch{seconds(978307200)};
  using Limits = std::numeric_limits<std::int32_t>;
  const auto whole = std::chrono::floor<seconds>(date - kEpoch).count();
  const bool fits = whole >= Limits::min() && whole <= Limits::max();
  return Node(fits ? plist_new_date(static_cast<std::int32_t>(whole), 0) : nullptr);
}

Node write(const List& list) {
  Node whole(plist_new_array());
  for (const Value& element : list) {
    Node part = write(element);
    if (!part) return nullptr;
    plist_array_append_item(whole.get(), part.release());
  }
  return whole;
}

Node write(const Dictionary& dictionary) {
  Node whole(plist_new_dict());
  for (const auto& [key, value] : dictionary) {
    Node part = write(value);
    if (!part || !holds(key)) return nullptr;
    plist_dict_set_item(whole.get(), key.c_str(), part.release());
  }
  return whole;
}

Node write(const Value& value) {
  if (const std::string* text = value.text()) {
    return Node(holds(*text) ? plist_new_string(text->c_str()) : nullptr);
  }
  if (const Bytes* bytes = value.bytes()) return write(*bytes);
  if (const auto integer = value.integer()) {
    return Node(plist_new_uint(static_cast<std::uint64_t>(*integer)));
  }
  if (const auto real = value.real()) return Node(plist_new_real(*real));
  if (const auto boolean = value.boolean()) return Node(plist_new_bool(*boolean ? 1 : 0));
  if (const auto date = value.date()) return write(*date);
  if (const List* list = value.list()) return write(*list);
  if (const Dictionary* dictionary = value.dictionary()) return write(*dictionary);
  return nullptr;
}

}  // namespace

std::optional<Bytes> writePropertyList(const Value& value) {
  const Node node = write(value);
  if (!node) return std::nullopt;
  char* file = nullptr;
  std::uint32_t size = 0;
  plist_to_xml(node.get(), &file, &size);
  if (!file) return std::nullopt;
  Bytes bytes = toBytes({file, size});
  std::free(file);
  return bytes;
}

}  // namespace zqm::tools
