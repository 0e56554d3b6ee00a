// Property lists with libplist.
#include "zqm/util/PropertyList.h"

#include <plist/plist.h>

#include <cstdlib>
#include <memory>
#include <optional>

#include "zqm/base/System.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

// The maximum depth of nested containers.
constexpr int kMaximumDepth = 512;

// 2001-01-01T00:00:00Z, the epoch of property lists.
constexpr Date kEpoch{std::chrono::seconds(978307200)};

using Node = std::unique_ptr<void, decltype([](plist_t node) { plist_free(node); })>;
using Free = decltype([](void* memory) { std::free(memory); });

Date readDate(plist_t node) {
  std::int32_t whole = 0;
  std::int32_t fraction = 0;
  plist_get_date_val(node, &whole, &fraction);
  return kEpoch + std::chrono::seconds(whole);
}

// Returns std::nullopt for a node that is nested too deeply, which ends the whole reading. An
// absent value only omits the node.
std::optional<Value> read(plist_t node, int depth);

std::optional<Value> readList(plist_t node, int depth) {
  plist_array_iter iterator = nullptr;
  plist_array_new_iter(node, &iterator);
  const std::unique_ptr<void, Free> owned(iterator);
  List list;
  list.reserve(plist_array_get_size(node));
  for (;;) {
    plist_t element = nullptr;
    plist_array_next_item(node, iterator, &element);
    if (!element) return Value(std::move(list));
    auto value = read(element, depth);
    if (!value) return std::nullopt;
    if (!value->isAbsent()) list.push_back(std::move(*value));
  }
}

// Returns null for a key that contains a zero byte, for which plist_get_key_val would end the
// process. The key's XML form shows the byte.
char* keyOf(plist_t element) {
  const plist_t node = plist_dict_item_get_key(element);
  char* xml = nullptr;
  std::uint32_t size = 0;
  plist_to_xml(node, &xml, &size);
  const std::unique_ptr<char, Free> owned(xml);
  char* key = nullptr;
  if (std::string_view(xml, size).find('\0') == std::string_view::npos)
    plist_get_key_val(node, &key);
  return key;
}

std::optional<Value> readDictionary(plist_t node, int depth) {
  plist_dict_iter iterator = nullptr;
  plist_dict_new_iter(node, &iterator);
  const std::unique_ptr<void, Free> owned(iterator);
  Dictionary dictionary;
  for (;;) {
    plist_t element = nullptr;
    plist_dict_next_item(node, iterator, nullptr, &element);
    if (!element) return Value(std::move(dictionary));
    auto value = read(element, depth);
    if (!value) return std::nullopt;
    const std::unique_ptr<char, Free> key(keyOf(element));
    if (key && isValidUtf8(key.get()) && !value->isAbsent()) {
      dictionary.set(key.get(), std::move(*value));
    }
  }
}

std::optional<Value> read(plist_t node, int depth) {
  std::uint64_t number = 0;
  std::uint8_t boolean = 0;
  double real = 0;
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN:
      plist_get_bool_val(node, &boolean);
      return Value(boolean != 0);
    case PLIST_UINT:
      plist_get_uint_val(node, &number);
      return Value(static_cast<std::int64_t>(number));
    case PLIST_REAL:
      plist_get_real_val(node, &real);
      return Value(real);
    case PLIST_STRING: {
      const char* text = plist_get_string_ptr(node, &number);
      const std::string_view whole(text, number);
      return isValidUtf8(whole) ? Value(whole) : Value();
    }
    case PLIST_ARRAY:
      return depth < kMaximumDepth ? readList(node, depth + 1) : std::nullopt;
    case PLIST_DICT:
      return depth < kMaximumDepth ? readDictionary(node, depth + 1) : std::nullopt;
    case PLIST_DATE:
      return Value(readDate(node));
    case PLIST_DATA: {
      const char* data = plist_get_data_ptr(node, &number);
      return Value(toBytes({data, number}));
    }
    default:
      return Value();
  }
}

Node parsed(std::string_view file) {
  if (file.starts_with("\xEF\xBB\xBF")) file.remove_prefix(3);
  const auto size = static_cast<std::uint32_t>(file.size());
  plist_t node = nullptr;
  if (file.starts_with("bplist")) {
    plist_from_bin(file.data(), size, &node);
  } else {
    // libplist parses numbers in the thread's locale.
    const PointAsDecimal decimal;
    plist_from_xml(file.data(), size, &node);
  }
  return Node(node);
}

}  // namespace

Value readPropertyList(const Bytes& bytes) {
  const Node node = parsed(asText(bytes));
  return node ? read(node.get(), 0).value_or(Value()) : Value();
}

}  // namespace zqm
