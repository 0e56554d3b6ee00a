// The check of a binary property list before the library reads it: trailer, offset table, objects.
#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <optional>

#include "zqm/util/PropertyListGuard.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;

// The upper half of an object's first byte.
enum Kind : std::uint8_t {
  kBoolean = 0x0,
  kInteger = 0x1,
  kReal = 0x2,
  kDate = 0x3,
  kData = 0x4,
  kAscii = 0x5,
  kUtf16 = 0x6,
  kArray = 0xA,
  kDictionary = 0xD,
};

class Guard {
 public:
  explicit Guard(const Bytes& file) : file_(file) {}

  bool isSound() {
    if (!readTrailer()) return false;
    measures_.resize(objectCount_);
    open_.resize(objectCount_);
    return measure(root_, 0).has_value();
  }

 private:
  struct Object {
    std::uint8_t kind = 0;
    // The lower half of the first byte, or the number that stands in its place.
    std::uint64_t count = 0;
    std::size_t start = 0;
  };

  // What an object holds with everything under it; `height` is 0 for what is no container.
  struct Measure {
    PropertyListSize size;
    std::uint64_t height = 0;
  };

  // Big-endian; `size` is at most 8.
  std::uint64_t number(std::size_t position, std::size_t size) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | file_[position + i];
    return value;
  }

  bool readTrailer() {
    if (file_.size() < kHeaderSize + kTrailerSize) return false;
    if (file_.size() > std::numeric_limits<std::uint32_t>::max()) return false;
    const std::size_t trailer = file_.size() - kTrailerSize;
    offsetSize_ = file_[trailer + 6];
    referenceSize_ = file_[trailer + 7];
    objectCount_ = number(trailer + 8, 8);
    root_ = number(trailer + 16, 8);
    table_ = number(trailer + 24, 8);
    return offsetSize_ >= 1 && offsetSize_ <= 8 && referenceSize_ >= 1 && referenceSize_ <= 8 &&
           objectCount_ <= PropertyListSize::kMaximumValues && root_ < objectCount_ &&
           table_ > kHeaderSize && table_ <= trailer &&
           objectCount_ * offsetSize_ <= trailer - table_;
  }

  // Whether `count` elements of `size` bytes lie before the offset table, where objects end.
  bool fits(std::size_t start, std::uint64_t count, std::size_t size) const {
    return start <= table_ && count <= (table_ - start) / size;
  }

  std::optional<Object> object(std::uint64_t index) const {
    const std::uint64_t offset = number(table_ + index * offsetSize_, offsetSize_);
    if (offset < kHeaderSize || offset >= table_) return std::nullopt;
    Object found{static_cast<std::uint8_t>(file_[offset] >> 4), file_[offset] & 0xFU, offset + 1};
    if (found.count != 0xF || found.kind < kData) return found;
    if (!fits(found.start, 1, 1) || file_[found.start] >> 4 != kInteger) return std::nullopt;
    const unsigned power = file_[found.start] & 0xFU;
    if (power > 3 || !fits(found.start + 1, 1, 1U << power)) return std::nullopt;
    found.count = number(found.start + 1, 1U << power);
    found.start += 1 + (1U << power);
    return found;
  }

  // The content of an object that is no container, or none when it is not sound.
  std::optional<std::uint64_t> leaf(const Object& object) const {
    const bool sound = [&] {
      switch (object.kind) {
        case kBoolean:
          return object.count == 8 || object.count == 9;
        case kInteger:
          return object.count <= 3 && fits(object.start, 1, 1U << object.count);
        case kReal:
          return (object.count == 2 || object.count == 3) &&
                 fits(object.start, 1, 1U << object.count);
        case kDate:
          return object.count == 3 && fits(object.start, 1, 8) && isDate(object.start);
        case kData:
          return fits(object.start, object.count, 1);
        case kAscii:
          return fits(object.start, object.count, 1) && isText(object);
        // The library takes an empty one for damage.
        case kUtf16:
          return object.count > 0 && fits(object.start, object.count, 2) && isUtf16(object);
        default:
          return false;
      }
    }();
    if (!sound) return std::nullopt;
    return object.kind >= kData ? object.count : 0;
  }

  // The library hands dates out as 32-bit seconds.
  bool isDate(std::size_t start) const {
    const double seconds = std::bit_cast<double>(number(start, 8));
    return std::abs(seconds) < std::numeric_limits<std::int32_t>::max();
  }

  // The library ends a text at a zero byte.
  bool isText(const Object& object) const {
    const std::string_view text = asText(file_).substr(object.start, object.count);
    return text.find('\0') == std::string_view::npos && isValidUtf8(text);
  }

  // The library leaves out what is not valid.
  bool isUtf16(const Object& object) const {
    bool high = false;
    for (std::uint64_t i = 0; i < object.count; ++i) {
      const std::uint64_t unit = number(object.start + 2 * i, 2);
      const bool low = unit >= 0xDC00 && unit <= 0xDFFF;
      if (unit == 0 || low != high) return false;
      high = unit >= 0xD800 && unit <= 0xDBFF;
    }
    return !high;
  }

  // None when the object is not sound or, `level` containers deep, holds too much.
  std::optional<Measure> measure(std::uint64_t index, std::uint64_t level) {
    if (index >= objectCount_ || open_[index]) return std::nullopt;
    if (!measures_[index]) {
      const auto found = object(index);
      if (!found) return std::nullopt;
      open_[index] = true;
      measures_[index] = measure(*found, level);
      open_[index] = false;
    }
    const auto& known = measures_[index];
    if (!known || level + known->height > PropertyListSize::kMaximumDepth) return std::nullopt;
    return known;
  }

  std::optional<Measure> measure(const Object& object, std::uint64_t level) {
    if (object.kind != kArray && object.kind != kDictionary) {
      const auto content = leaf(object);
      Measure single;
      if (!content || !single.size.add({1, *content})) return std::nullopt;
      return single;
    }
    const std::uint64_t keys = object.kind == kDictionary ? object.count : 0;
    if (level >= PropertyListSize::kMaximumDepth ||
        !fits(object.start, object.count, referenceSize_ * (keys > 0 ? 2 : 1))) {
      return std::nullopt;
    }
    Measure whole{{1, 0}, 1};
    for (std::uint64_t i = 0; i < object.count + keys; ++i) {
      const std::uint64_t index = number(object.start + i * referenceSize_, referenceSize_);
      const auto part = measure(index, level + 1);
      if (!part || (i < keys && !isKey(index)) || !whole.size.add(part->size)) return std::nullopt;
      whole.height = std::max(whole.height, part->height + 1);
    }
    return whole;
  }

  bool isKey(std::uint64_t index) const {
    const auto key = object(index);
    return key && (key->kind == kAscii || key->kind == kUtf16);
  }

  const Bytes& file_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t root_ = 0;
  // Where the offset table begins.
  std::uint64_t table_ = 0;
  // Known once an object has been found sound, so that sharing costs nothing here.
  std::vector<std::optional<Measure>> measures_;
  // What is being measured: a reference to it is a circle.
  std::vector<bool> open_;
};

}  // namespace

bool isSoundBinaryPropertyList(const Bytes& file) { return Guard(file).isSound(); }

}  // namespace zqm
