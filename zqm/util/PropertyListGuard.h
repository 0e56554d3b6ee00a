// What keeps the property-list library from files made to crash, stall or exhaust it. Private to
// the property lists.
#pragma once

#include <cstdint>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

// How much a property list holds, each value and key as often as it is referred to.
struct PropertyListSize {
  // Containers inside one another.
  static constexpr std::uint64_t kMaximumDepth = 512;
  // The library's writer takes quadratic time: two seconds for this many.
  static constexpr std::uint64_t kMaximumValues = 500'000;
  // Of texts, in the shorter of UTF-8 bytes and UTF-16 units, and of data.
  static constexpr std::uint64_t kMaximumContent = 128ULL << 20;

  std::uint64_t values = 0;
  std::uint64_t content = 0;

  // False past a maximum.
  bool add(const PropertyListSize& other) {
    values += other.values;
    content += other.content;
    return values <= kMaximumValues && content <= kMaximumContent;
  }
};

// 2001-01-01T00:00:00Z, from which a property list counts.
inline constexpr Date kPropertyListEpoch{std::chrono::seconds(978307200)};

// Whether every offset, reference and length of a binary property list lies inside it, no value
// contains itself, texts are valid, and what it expands to stays within the maxima.
bool isSoundBinaryPropertyList(const Bytes& file);

// Whether an XML property list consists of properly nested elements that a property list has, of
// a text that its kind can hold, within the maxima.
bool isSoundXmlPropertyList(std::string_view text);

}  // namespace zqm
