// The form of the log: an opening of 20 bytes (magic, generation, their checksum), then entries. An
// entry is the length and the checksum of its payload and the checksum of these two, 4 bytes each,
// and the payload: index, removed, inserted as variable-length numbers, then the inserted elements.
// Numbers are little-endian.
#include "zqm/model/RecordLog.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>

#include "zqm/platform/Process.h"
#include "zqm/util/Date.h"
#include "zqm/util/Encoding.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

constexpr std::string_view kMagic = "zqm-log1";
constexpr std::size_t kOpeningSize = 20;
constexpr std::size_t kEntryHead = 12;
// Room for one that adds an element, without growing on the way.
constexpr std::size_t kUsualEntry = 768;
constexpr std::size_t kMaximumDepth = 64;
// In which a system brings a file to the disk, whole ones at a time.
constexpr std::size_t kPage = 4096;
// A value with its name takes at least so many bytes in a sound file; one made to exhaust the
// memory has smaller ones.
constexpr std::size_t kSmallestValue = 3;

enum class Kind : std::uint8_t { no, yes, integer, real, text, bytes, date, list, dictionary };

void putAt(std::uint8_t* out, std::uint64_t number, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) out[i] = static_cast<std::uint8_t>(number >> 8 * i);
}

void put(Bytes& out, std::uint64_t number, std::size_t size) {
  out.resize(out.size() + size);
  putAt(out.data() + out.size() - size, number, size);
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
    put(out, static_cast<std::uint64_t>(*number), 8);
  } else if (const auto real = value.real()) {
    kind(Kind::real);
    put(out, std::bit_cast<std::uint64_t>(*real), 8);
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
    put(out, static_cast<std::uint64_t>(seconds.count()), 8);
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

template <class List>
auto iterator(List& list, std::size_t index) {
  return list.begin() + static_cast<std::ptrdiff_t>(index);
}

// The elements in rows, so that a change in the midst of many moves few of them. No row is empty.
class Elements {
 public:
  using Row = std::vector<LogElement>;

  std::size_t size() const { return size_; }

  // What is removed has to be there.
  void splice(std::size_t index, std::size_t removed, Row inserted) {
    std::size_t row = index == size_ ? rows_.size() : 0;
    std::size_t at = index == size_ ? 0 : index;
    while (row < rows_.size() && at >= rows_[row].size()) at -= rows_[row++].size();
    size_ = size_ - removed + inserted.size();
    while (removed > 0) {
      Row& here = rows_[row];
      const std::size_t count = std::min(removed, here.size() - at);
      here.erase(iterator(here, at), iterator(here, at + count));
      removed -= count;
      if (here.empty()) {
        rows_.erase(iterator(rows_, row));
      } else if (at == here.size()) {
        ++row;
        at = 0;
      }
    }
    if (!inserted.empty()) insert(row, at, std::move(inserted));
  }

  Row all() && {
    Row all;
    all.reserve(size_);
    for (Row& each : rows_) moveTo(all, all.size(), each.begin(), each.end());
    return all;
  }

 private:
  static constexpr std::size_t kLongest = 256;

  template <class List, class Iterator>
  static void moveTo(List& list, std::size_t index, Iterator begin, Iterator end) {
    list.insert(iterator(list, index), std::move_iterator(begin), std::move_iterator(end));
  }

  void insert(std::size_t row, std::size_t at, Row inserted) {
    if (rows_.empty()) rows_.emplace_back();
    if (at == 0 && row > 0) at = rows_[--row].size();
    moveTo(rows_[row], at, inserted.begin(), inserted.end());
    if (rows_[row].size() <= kLongest) return;
    Row whole = std::move(rows_[row]);
    std::vector<Row> halves;
    for (std::size_t begin = 0; begin < whole.size(); begin += kLongest / 2) {
      const std::size_t end = std::min(begin + kLongest / 2, whole.size());
      moveTo(halves.emplace_back(), 0, iterator(whole, begin), iterator(whole, end));
    }
    rows_.erase(iterator(rows_, row));
    moveTo(rows_, row, halves.begin(), halves.end());
  }

  std::vector<Row> rows_;
  std::size_t size_ = 0;
};

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
  Elements::Row made;
  for (std::uint64_t i = 0; i < *inserted; ++i) {
    auto element = payload.dictionary(0);
    if (!element) return false;
    made.push_back(make(*std::move(element)));
  }
  if (!payload.isAtEnd()) return false;
  elements.splice(*index, *removed, std::move(made));
  return true;
}

// Of the bytes as a file of that generation has them.
std::uint32_t checksum(std::uint64_t generation, const std::uint8_t* begin, std::size_t size) {
  const std::uint64_t seed[] = {generation, size};
  const auto begun = crc32_z(0, reinterpret_cast<const std::uint8_t*>(seed), sizeof seed);
  return static_cast<std::uint32_t>(crc32_z(begun, begin, size));
}

std::uint64_t generationOf(const Bytes& file) { return numberAt(file, kMagic.size(), 8); }

Bytes opening(std::uint64_t generation) {
  Bytes bytes = toBytes(kMagic);
  put(bytes, generation, 8);
  put(bytes, checksum(generation, bytes.data(), bytes.size()), 4);
  return bytes;
}

bool isLog(const Bytes& file) {
  if (file.size() < kOpeningSize || !asText(file).starts_with(kMagic)) return false;
  const Bytes sound = opening(generationOf(file));
  return std::equal(sound.begin(), sound.end(), file.begin());
}

// What stands at a place of a file.
struct Entry {
  // Of the payload; none where not even the entry's head is sound.
  std::optional<std::size_t> size;
  bool isSound = false;
};

Entry entryAt(const Bytes& file, std::size_t at) {
  if (file.size() - at < kEntryHead) return {};
  const std::uint64_t generation = generationOf(file);
  const std::uint8_t* const head = file.data() + at;
  if (numberAt(file, at + 8, 4) != checksum(generation, head, 8)) return {};
  const std::size_t size = numberAt(file, at, 4);
  const bool isSound = size <= file.size() - at - kEntryHead &&
                       numberAt(file, at + 4, 4) == checksum(generation, head + kEntryHead, size);
  return {size, isSound};
}

// Whether what stands from `begin` to `end` may be the trace of a power cut: the file ends before,
// or a page of it was not written, though a later one was.
bool isTorn(const Bytes& file, std::size_t begin, std::size_t end) {
  if (end > file.size()) return true;
  for (std::size_t at = begin; at < end;) {
    const std::size_t next = std::min((at / kPage + 1) * kPage, file.size());
    const auto isZero = [](std::uint8_t byte) { return byte == 0; };
    if (std::all_of(iterator(file, at), iterator(file, next), isZero)) return true;
    at = next;
  }
  return false;
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
  if (splice.inserted > 0) bytes_.reserve(kUsualEntry);
  bytes_.resize(kEntryHead);
  putCount(bytes_, splice.index);
  putCount(bytes_, splice.removed);
  putCount(bytes_, splice.inserted);
  head_ = bytes_.size();
}

const Bytes& LogEntry::framed(std::uint64_t generation) {
  const std::size_t size = bytes_.size() - kEntryHead;
  std::uint8_t* const head = bytes_.data();
  putAt(head, size, 4);
  putAt(head + 4, checksum(generation, head + kEntryHead, size), 4);
  putAt(head + 8, checksum(generation, head, 8), 4);
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
  content.generation = generationOf(file);
  content.isWhole = true;
  Elements elements;
  std::size_t at = kOpeningSize;
  for (Entry entry; (entry = entryAt(file, at)).isSound; at += kEntryHead + *entry.size) {
    // One that does not fit is of another process that held the same file.
    const PayloadReader payload(file.data() + at + kEntryHead, *entry.size);
    if (!apply(elements, payload, make)) content.isWhole = false;
  }
  content.isWhole = content.isWhole && at == file.size();
  content.elements = std::move(elements).all();
  return content;
}

bool isDamagedLog(const Bytes& file) {
  if (!isLog(file)) return false;
  std::size_t at = kOpeningSize;
  Entry entry;
  while ((entry = entryAt(file, at)).isSound) at += kEntryHead + *entry.size;
  return at < file.size() && !isTorn(file, at, at + kEntryHead + entry.size.value_or(0));
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
