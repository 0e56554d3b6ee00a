// CBOR with libcbor's encoders and its streaming decoder; its item tree is not used.
#include "zqm/util/Cbor.h"

#include <cbor.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace zqm {
namespace {

constexpr std::uint64_t kDateTag = 1;
constexpr double kMillisecondsASecond = 1000;

template <class Encode, class Number>
void put(std::string& out, Encode encode, Number number) {
  std::array<unsigned char, 9> bytes;
  const std::size_t size = encode(number, bytes.data(), bytes.size());
  out.append(reinterpret_cast<const char*>(bytes.data()), size);
}

void putInteger(std::string& out, std::int64_t number) {
  if (number < 0) return put(out, cbor_encode_negint, static_cast<std::uint64_t>(~number));
  putCborNumber(out, static_cast<std::uint64_t>(number));
}

void putDate(std::string& out, Date date) {
  const auto milliseconds = date.time_since_epoch().count();
  put(out, cbor_encode_tag, kDateTag);
  if (milliseconds % 1000 == 0) return putInteger(out, milliseconds / 1000);
  put(out, cbor_encode_double, static_cast<double>(milliseconds) / kMillisecondsASecond);
}

void putValue(std::string& out, const Value& value, std::size_t level);

// Returns whether a reader accepts the value inside a list or dictionary at that level.
bool isKept(const Value& value, std::size_t level) {
  const bool isContainer = value.list() || value.dictionary();
  return value.isPresent() && (level < kMostCborLevels || !isContainer);
}

void putList(std::string& out, const List& list, std::size_t level) {
  const auto kept = [level](const Value& each) { return isKept(each, level); };
  putCborList(out, static_cast<std::size_t>(std::ranges::count_if(list, kept)));
  for (const Value& each : list) {
    if (kept(each)) putValue(out, each, level);
  }
}

void putDictionary(std::string& out, const Dictionary& dictionary, std::size_t level) {
  const auto kept = [level](const DictionaryEntry& each) { return isKept(each.value, level); };
  putCborDictionary(out, static_cast<std::size_t>(std::ranges::count_if(dictionary, kept)));
  for (const DictionaryEntry& each : dictionary) {
    if (!kept(each)) continue;
    putCborText(out, each.key);
    putValue(out, each.value, level);
  }
}

// `level` is the number of lists and dictionaries around the value.
void putValue(std::string& out, const Value& value, std::size_t level) {
  if (const auto flag = value.boolean()) return put(out, cbor_encode_bool, *flag);
  if (const auto number = value.integer()) return putInteger(out, *number);
  if (const auto number = value.real()) return put(out, cbor_encode_double, *number);
  if (const auto date = value.date()) return putDate(out, *date);
  if (const std::string* text = value.text()) return putCborText(out, *text);
  if (const List* list = value.list()) return putList(out, *list, level + 1);
  if (const Dictionary* entries = value.dictionary())
    return putDictionary(out, *entries, level + 1);
  if (const Bytes* bytes = value.bytes()) {
    put(out, cbor_encode_bytestring_start, bytes->size());
    out.append(asText(*bytes));
    return;
  }
  out.push_back('\xF6');
}

std::optional<Date> dateOf(const Value& seconds) {
  constexpr std::int64_t kMostSeconds = INT64_MAX / 1000;
  if (const auto whole = seconds.integer()) {
    if (*whole > kMostSeconds || *whole < -kMostSeconds) return std::nullopt;
    return Date(std::chrono::seconds(*whole));
  }
  const auto broken = seconds.real();
  // The earliest and latest dates are written as a double that may lie just beyond them.
  if (!broken || !(std::abs(*broken) <= static_cast<double>(kMostSeconds + 1))) return std::nullopt;
  const double milliseconds = *broken * kMillisecondsASecond;
  if (milliseconds >= static_cast<double>(INT64_MAX)) return Date::max();
  return Date(Date::duration(std::llround(milliseconds)));
}

// Builds a value from the decoder's events. `add`, `begin` and `tag` return whether the input is
// still acceptable.
class Builder {
 public:
  explicit Builder(std::size_t bytes) : budget_(bytes) {}

  bool add(Value value) {
    if (++values_ > kMostCborValues || !finishDate(value)) return false;
    return place(std::move(value));
  }

  bool begin(bool isList, std::uint64_t count) {
    if (isDate_ || ++values_ > kMostCborValues || !mayStandHere()) return false;
    // An empty container counts as a level too, so that any accepted value can be written.
    if (open_.size() == kMostCborLevels) return false;
    if (count == 0) return place(isList ? Value(List()) : Value(Dictionary()));
    // An element takes at least one byte, a pair two: valid input never announces more.
    const std::uint64_t most = std::min(budget_, kMostCborValues - values_);
    if (count > (isList ? most : most / 2)) return false;
    budget_ -= isList ? count : 2 * count;
    open_.emplace_back(isList, count);
    isList ? open_.back().list.reserve(count) : open_.back().dictionary.reserve(count);
    return true;
  }

  bool tag(std::uint64_t number) {
    if (number != kDateTag || isDate_) return false;
    return isDate_ = true;
  }

  bool isDone() const { return isDone_; }
  Value take() { return std::move(value_); }

 private:
  struct Container {
    Container(bool list, std::uint64_t count) : isList(list), left(count) {}

    bool isList;
    std::uint64_t left;
    List list;
    Dictionary dictionary;
    std::optional<std::string> key;
  };

  bool finishDate(Value& value) {
    if (!std::exchange(isDate_, false)) return true;
    const auto date = dateOf(value);
    value = date;
    return date.has_value();
  }

  // False if a key must come next.
  bool mayStandHere() const { return open_.empty() || open_.back().isList || open_.back().key; }

  bool place(Value value) {
    for (; !open_.empty(); open_.pop_back()) {
      Container& container = open_.back();
      if (!container.isList && !container.key) {
        if (!value.text()) return false;
        container.key = *value.text();
        return true;
      }
      if (container.isList) {
        container.list.push_back(std::move(value));
      } else {
        container.dictionary.set(*std::exchange(container.key, std::nullopt), std::move(value));
      }
      if (--container.left > 0) return true;
      value = container.isList ? Value(std::move(container.list))
                               : Value(std::move(container.dictionary));
    }
    value_ = std::move(value);
    return isDone_ = true;
  }

  // The number of elements that containers may still announce.
  std::size_t budget_;
  std::vector<Container> open_;
  std::size_t values_ = 0;
  bool isDate_ = false;
  bool isDone_ = false;
  Value value_;
};

struct Reading {
  explicit Reading(std::size_t bytes) : builder(bytes) {}

  Builder builder;
  bool isSound = true;
  // An exception of a handler, which must not pass through the decoder.
  std::exception_ptr thrown;
};

// Converts to any callback of the decoder, and calls `act(builder, found...)`.
template <auto act>
constexpr auto kHandle = [](void* context, auto... found) {
  auto& reading = *static_cast<Reading*>(context);
  try {
    reading.isSound = reading.isSound && act(reading.builder, found...);
  } catch (...) {
    reading.thrown = std::current_exception();
    reading.isSound = false;
  }
};

constexpr auto kAdd = kHandle<[](Builder& builder, auto found) { return builder.add(found); }>;
constexpr auto kAddNegative = kHandle<[](Builder& builder, std::uint64_t below) {
  return below <= INT64_MAX && builder.add(~static_cast<std::int64_t>(below));
}>;
constexpr auto kAddBytes = kHandle<[](Builder& builder, cbor_data data, std::size_t size) {
  return builder.add(Bytes(data, data + size));
}>;
constexpr auto kAddText = kHandle<[](Builder& builder, cbor_data data, std::size_t size) {
  return builder.add(std::string(reinterpret_cast<const char*>(data), size));
}>;
constexpr auto kBeginList =
    kHandle<[](Builder& builder, std::size_t count) { return builder.begin(true, count); }>;
constexpr auto kBeginDictionary =
    kHandle<[](Builder& builder, std::size_t count) { return builder.begin(false, count); }>;
constexpr auto kTag =
    kHandle<[](Builder& builder, std::uint64_t number) { return builder.tag(number); }>;
constexpr auto kAddNull = kHandle<[](Builder& builder) { return builder.add(Value::Null()); }>;
constexpr auto kRefuse = kHandle<[](Builder&) { return false; }>;

constexpr cbor_callbacks kHandlers = {.uint8 = kAdd,
                                      .uint16 = kAdd,
                                      .uint32 = kAdd,
                                      .uint64 = kAdd,
                                      .negint64 = kAddNegative,
                                      .negint32 = kAddNegative,
                                      .negint16 = kAddNegative,
                                      .negint8 = kAddNegative,
                                      .byte_string_start = kRefuse,
                                      .byte_string = kAddBytes,
                                      .string = kAddText,
                                      .string_start = kRefuse,
                                      .indef_array_start = kRefuse,
                                      .array_start = kBeginList,
                                      .indef_map_start = kRefuse,
                                      .map_start = kBeginDictionary,
                                      .tag = kTag,
                                      .float2 = kAdd,
                                      .float4 = kAdd,
                                      .float8 = kAdd,
                                      .undefined = kRefuse,
                                      .null = kAddNull,
                                      .boolean = kAdd,
                                      .indef_break = kRefuse};

}  // namespace

void putCborNumber(std::string& out, std::uint64_t number) { put(out, cbor_encode_uint, number); }

void putCborText(std::string& out, std::string_view text) {
  put(out, cbor_encode_string_start, text.size());
  out.append(text);
}

void putCborList(std::string& out, std::size_t count) { put(out, cbor_encode_array_start, count); }

void putCborDictionary(std::string& out, std::size_t count) {
  put(out, cbor_encode_map_start, count);
}

void putCbor(std::string& out, const Value& value) { putValue(out, value, 0); }

std::optional<Value> readCbor(std::string_view bytes) {
  auto value = takeCbor(bytes);
  return bytes.empty() ? std::move(value) : std::nullopt;
}

std::optional<Value> takeCbor(std::string_view& bytes) {
  Reading reading(bytes.size());
  while (!reading.builder.isDone()) {
    const cbor_decoder_result step = cbor_stream_decode(reinterpret_cast<cbor_data>(bytes.data()),
                                                        bytes.size(), &kHandlers, &reading);
    if (reading.thrown) std::rethrow_exception(reading.thrown);
    if (step.status != CBOR_DECODER_FINISHED || !reading.isSound) return std::nullopt;
    bytes.remove_prefix(step.read);
  }
  return reading.builder.take();
}

}  // namespace zqm
