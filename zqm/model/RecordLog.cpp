// The form of the log: an opening of 16 bytes (magic, generation), then entries. An entry is the
// length and the checksum of its payload, 4 bytes each, and the payload: index, removed, inserted
// as variable-length numbers, then the inserted elements. Numbers are little-endian.
#include "zqm/model/RecordLog.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <deque>
#include <iterator>

#include "zqm/platform/Process.h"
#include "zqm/util/Date.h"
#include "zqm/util/Encoding.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

constexpr std::string_view kMagic = "zqm-log1";
constexpr std::size_t kOpeningSize = 16;
constexpr std::size_t kEntryHead = 8;
// Room for one that adds an element, without growing on the way.
constexpr std::size_t kUsualEntry = 768;
constexpr std::size_t kMaximumDepth = 64;
// In which a system brings a file to the disk, whole ones at a time.
constexpr std::size_t kPage = 4096;
// A value with its name takes at least so many bytes in a sound file; one made to exhaust the
// memory has smaller ones.
constexpr std::size_t kSmallestValue = 3;

enum class Kind : std::uint8_t { no, yes, integer, real, text, bytes, date, list, dictionary };

void put(Bytes& out, std::uint64_t number) {
  std::array<std::uint8_t, 8> bytes{};
  for (std::size_t i = 0; i < 8; ++i) bytes[i] = static_cast<std::uint8_t>(number >> 8 * i);
  out.insert(out.end(), bytes.begin(), bytes.end());
}

std::uint64_t numberAt(const Bytes& bytes, std::size_t at, std::size_t size) {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < size; ++i) number |= std::uint64_t{bytes[at + i]} << 8 * i;
  return number;
}

// Seven bits a byte, the lowest first.
void putCount(Bytes& out, std::uint64_t number) {
  for (; number > 0x7F; number >>= 7) out.push_back(static_cast<std::uint8_t>(number | 0x80));
  out.push_back(static_cast<std::uint8_t>(number));
}

void putText(Bytes& out, std::string_view text) {
  putCount(out, text.size());
  const auto* const begin = reinterpret_cast<const std::uint8_t*>(text.data());
  out.insert(out.end(), begin, begin + text.size());
}

bool isStorable(std::string_view text) {
  return isValidUtf8(text) && text.find('\0') == std::string_view::npos;
}

bool putDictionary(Bytes& out, const Dictionary& dictionary, std::size_t depth);

bool putValue(Bytes& out, const Value& value, std::size_t depth) {
  const auto kind = [&](Kind each) { out.push_back(static_cast<std::uint8_t>(each)); };
  if (depth > kMaximumDepth) return false;
  if (const auto flag = value.boolean()) {
    kind(*flag ? Kind::yes : Kind::no);
  } else if (const auto number = value.integer()) {
    kind(Kind::integer);
    put(out, static_cast<std::uint64_t>(*number));
  } else if (const auto real = value.real()) {
    kind(Kind::real);
    put(out, std::bit_cast<std::uint64_t>(*real));
  } else if (const std::string* const text = value.text()) {
    if (!isStorable(*text)) return false;
    kind(Kind::text);
    putText(out, *text);
  } else if (const Bytes* const bytes = value.bytes()) {
    kind(Kind::bytes);
    putText(out, asText(*bytes));
  } else if (const auto date = value.date()) {
    kind(Kind::date);
    const Date kept = std::clamp(*date, kEarliestDate, kLatestDate);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(kept).time_since_epoch();
    put(out, static_cast<std::uint64_t>(seconds.count()));
  } else if (const List* const list = value.list()) {
    kind(Kind::list);
    putCount(out, list->size());
    return std::ranges::all_of(*list,
                               [&](const Value& each) { return putValue(out, each, depth + 1); });
  } else if (const Dictionary* const dictionary = value.dictionary()) {
    kind(Kind::dictionary);
    return putDictionary(out, *dictionary, depth + 1);
  } else {
    return false;
  }
  return true;
}

bool putDictionary(Bytes& out, const Dictionary& dictionary, std::size_t depth) {
  putCount(out, dictionary.size());
  return std::ranges::all_of(dictionary, [&](const DictionaryEntry& each) {
    putText(out, each.key);
    return isStorable(each.key) && putValue(out, each.value, depth);
  });
}

// With those inside it.
std::size_t countOf(const Value& value) {
  std::size_t count = 1;
  if (const List* const list = value.list()) {
    for (const Value& each : *list) count += countOf(each);
  } else if (const Dictionary* const dictionary = value.dictionary()) {
    // The reader pays for the dictionary itself, too.
    ++count;
    for (const DictionaryEntry& each : *dictionary) count += countOf(each.value);
  }
  return count;
}

// Reads a payload; every step stays inside it.
class PayloadReader {
 public:
  PayloadReader(const std::uint8_t* begin, std::size_t size)
      : next_(begin), left_(size), values_(size / kSmallestValue) {}

  std::optional<std::uint64_t> count() {
    std::uint64_t number = 0;
    for (unsigned shift = 0; shift < 63; shift += 7) {
      if (left_ == 0) return std::nullopt;
      const std::uint8_t byte = take(1).front();
      number |= std::uint64_t{byte & 0x7FU} << shift;
      if (byte < 0x80) return number;
    }
    return std::nullopt;
  }

  std::optional<Dictionary> dictionary(std::size_t depth) {
    const auto size = count();
    if (!size || !pay()) return std::nullopt;
    Dictionary made;
    for (std::uint64_t i = 0; i < *size; ++i) {
      const auto key = text();
      if (!key) return std::nullopt;
      Value each = value(depth);
      if (each.isAbsent()) return std::nullopt;
      made.set(*key, std::move(each));
    }
    return made;
  }

  bool isAtEnd() const { return left_ == 0; }

 private:
  bool pay() { return values_ > 0 && values_-- > 0; }

  std::string_view take(std::size_t size) {
    const std::string_view taken(reinterpret_cast<const char*>(next_), size);
    next_ += size;
    left_ -= size;
    return taken;
  }

  std::optional<std::string_view> content() {
    const auto size = count();
    return size && *size <= left_ ? std::optional(take(*size)) : std::nullopt;
  }

  std::optional<std::string_view> text() {
    const auto read = content();
    return read && isStorable(*read) ? read : std::nullopt;
  }

  std::optional<std::uint64_t> number() {
    if (left_ < 8) return std::nullopt;
    std::uint64_t read = 0;
    for (unsigned shift = 0; shift < 64; shift += 8) read |= std::uint64_t{*next_++} << shift;
    left_ -= 8;
    return read;
  }

  // Absent for what is no value.
  Value value(std::size_t depth) {
    if (left_ == 0 || depth > kMaximumDepth || !pay()) return {};
    switch (static_cast<Kind>(take(1).front())) {
      case Kind::no:
        return false;
      case Kind::yes:
        return true;
      case Kind::integer: {
        const auto read = number();
        return read ? Value(static_cast<std::int64_t>(*read)) : Value();
      }
      case Kind::real: {
        const auto read = number();
        return read ? Value(std::bit_cast<double>(*read)) : Value();
      }
      case Kind::text:
        return text();
      case Kind::bytes: {
        const auto read = content();
        return read ? Value(toBytes(*read)) : Value();
      }
      case Kind::date:
        return date();
      case Kind::list:
        return list(depth + 1);
      case Kind::dictionary:
        return dictionary(depth + 1);
    }
    return {};
  }

  Value date() {
    const auto read = number();
    if (!read) return {};
    constexpr auto kEarliest = std::chrono::floor<std::chrono::seconds>(kEarliestDate);
    constexpr auto kLatest = std::chrono::floor<std::chrono::seconds>(kLatestDate);
    const auto seconds = std::clamp(static_cast<std::int64_t>(*read),
                                    std::int64_t{kEarliest.time_since_epoch().count()},
                                    std::int64_t{kLatest.time_since_epoch().count()});
    return Date(std::chrono::seconds(seconds));
  }

  Value list(std::size_t depth) {
    const auto size = count();
    if (!size) return {};
    List made;
    for (std::uint64_t i = 0; i < *size; ++i) {
      Value each = value(depth);
      if (each.isAbsent()) return {};
      made.push_back(std::move(each));
    }
    return made;
  }

  const std::uint8_t* next_;
  std::size_t left_;
  // How many more there may be.
  std::size_t values_;
};

std::uint32_t checksum(std::uint64_t generation, const std::uint8_t* payload, std::size_t size) {
  const std::uint64_t seed[] = {generation, size};
  const auto begun = crc32_z(0, reinterpret_cast<const std::uint8_t*>(seed), sizeof seed);
  return static_cast<std::uint32_t>(crc32_z(begun, payload, size));
}

using Elements = std::deque<LogElement>;

// Changes the elements as a payload says; false, with the elements as they were, for an unsound
// one.
bool apply(Elements& elements, PayloadReader payload, const MakeLogElement& make) {
  const auto index = payload.count();
  const auto removed = payload.count();
  const auto inserted = payload.count();
  if (!index || !removed || !inserted || *index > elements.size() ||
      *removed > elements.size() - *index) {
    return false;
  }
  std::vector<LogElement> made;
  for (std::uint64_t i = 0; i < *inserted; ++i) {
    auto element = payload.dictionary(0);
    if (!element) return false;
    made.push_back(make(*std::move(element)));
  }
  if (!payload.isAtEnd()) return false;
  const auto at = elements.begin() + static_cast<std::ptrdiff_t>(*index);
  const auto end = elements.erase(at, at + static_cast<std::ptrdiff_t>(*removed));
  elements.insert(end, made.begin(), made.end());
  return true;
}

bool isLog(const Bytes& file) {
  return file.size() >= kOpeningSize && asText(file).starts_with(kMagic);
}

// The size of the payload of the entry at that place; none where there is no sound one.
std::optional<std::size_t> soundEntry(const Bytes& file, std::size_t at) {
  if (file.size() - at < kEntryHead) return std::nullopt;
  const std::size_t size = numberAt(file, at, 4);
  if (size > file.size() - at - kEntryHead) return std::nullopt;
  const std::uint64_t generation = numberAt(file, kMagic.size(), 8);
  const auto sum = checksum(generation, file.data() + at + kEntryHead, size);
  return sum == numberAt(file, at + 4, 4) ? std::optional(size) : std::nullopt;
}

// Whether a whole page was not written before a power cut, though a later one was.
bool hasHole(const Bytes& file, std::size_t begin, std::size_t end) {
  const auto bytes = file.begin();
  for (std::size_t page = (begin + kPage - 1) / kPage * kPage; page + kPage <= end; page += kPage) {
    const auto first = bytes + static_cast<std::ptrdiff_t>(page);
    if (std::all_of(first, first + kPage, [](std::uint8_t byte) { return byte == 0; })) return true;
  }
  return false;
}

Bytes opening(std::uint64_t generation) {
  Bytes bytes = toBytes(kMagic);
  put(bytes, generation);
  return bytes;
}

Bytes newFile(std::uint64_t generation, LogEntry& entry) {
  Bytes bytes = opening(generation);
  const Bytes& first = entry.framed(generation);
  bytes.insert(bytes.end(), first.begin(), first.end());
  return bytes;
}

// Keeps an entry of an earlier file from counting in this one. Eight digits: 32 bits of chance.
std::uint64_t newGeneration() { return numberAt(toBytes(makeUuid()), 0, 8); }

}  // namespace

LogEntry::LogEntry(const Splice& splice) {
  bytes_.reserve(kUsualEntry);
  bytes_.resize(kEntryHead);
  putCount(bytes_, splice.index);
  putCount(bytes_, splice.removed);
  putCount(bytes_, splice.inserted);
  head_ = bytes_.size();
}

const Bytes& LogEntry::framed(std::uint64_t generation) {
  const std::size_t size = bytes_.size() - kEntryHead;
  const std::uint32_t sum = checksum(generation, bytes_.data() + kEntryHead, size);
  for (std::size_t i = 0; i < 4; ++i) {
    bytes_[i] = static_cast<std::uint8_t>(size >> 8 * i);
    bytes_[4 + i] = static_cast<std::uint8_t>(sum >> 8 * i);
  }
  return bytes_;
}

bool LogEntry::put(std::string_view name, const Value& value) {
  if (value.isAbsent()) return false;
  putText(bytes_, name);
  isSound_ = isSound_ && putValue(bytes_, value, 0) && bytes_.size() <= UINT32_MAX;
  values_ += countOf(value);
  return true;
}

bool LogEntry::isReadable() const {
  return isSound_ && values_ <= (bytes_.size() - kEntryHead) / kSmallestValue;
}

std::optional<LogContent> readLog(const Bytes& file, const MakeLogElement& make) {
  if (!isLog(file)) return std::nullopt;
  LogContent content;
  content.generation = numberAt(file, kMagic.size(), 8);
  content.isWhole = true;
  // Removals are mostly near the head.
  Elements elements;
  std::size_t at = kOpeningSize;
  while (const auto size = soundEntry(file, at)) {
    // One that does not fit is of another process that held the same file.
    if (!apply(elements, PayloadReader(file.data() + at + kEntryHead, *size), make)) {
      content.isWhole = false;
    }
    at += kEntryHead + *size;
  }
  content.isWhole = content.isWhole && at == file.size();
  content.elements.assign(std::make_move_iterator(elements.begin()),
                          std::make_move_iterator(elements.end()));
  return content;
}

bool isDamagedLog(const Bytes& file) {
  if (!isLog(file)) return false;
  std::size_t at = kOpeningSize;
  while (const auto size = soundEntry(file, at)) at += kEntryHead + *size;
  if (file.size() - at < kEntryHead) return false;
  const std::size_t size = numberAt(file, at, 4);
  if (size > file.size() - at - kEntryHead) return false;
  const std::size_t next = at + kEntryHead + size;
  return !hasHole(file, at, next) && soundEntry(file, next);
}

bool isBlankFile(const Bytes& file) {
  const std::string_view begin = asText(file).substr(0, kOpeningSize);
  const bool isTorn = begin.size() < kOpeningSize &&
                      begin.substr(0, kMagic.size()) == kMagic.substr(0, begin.size());
  return isTorn || std::ranges::all_of(begin, [](char byte) { return byte == 0; });
}

std::optional<RecordLog> RecordLog::made(std::uint64_t generation, std::uint64_t size,
                                         std::unique_ptr<GrowingFile> file) {
  return file ? std::optional(RecordLog(generation, size, std::move(file))) : std::nullopt;
}

std::optional<RecordLog> RecordLog::open(const std::string& path, const std::string& copyPath,
                                         const LogContent& content, std::uint64_t size) {
  return made(content.generation, size, platform().files->open(path, copyPath, size));
}

std::optional<RecordLog> RecordLog::prepare(const std::string& path, const std::string& copyPath,
                                            LogEntry& entry) {
  const std::uint64_t generation = newGeneration();
  const Bytes content = newFile(generation, entry);
  return made(generation, content.size(), platform().files->prepare(path, copyPath, content));
}

std::optional<RecordLog> RecordLog::create(const std::string& path, const std::string& copyPath,
                                           LogEntry& entry) {
  const std::uint64_t generation = newGeneration();
  const Bytes content = newFile(generation, entry);
  return made(generation, content.size(), platform().files->create(path, copyPath, content));
}

bool RecordLog::append(LogEntry& entry) {
  const Bytes& bytes = entry.framed(generation_);
  if (!file_->append(bytes)) return false;
  size_ += bytes.size();
  return true;
}

}  // namespace zqm
