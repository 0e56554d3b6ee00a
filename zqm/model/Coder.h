// Coder: the keyed archive of a record, for a host that archives records itself.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "zqm/base/Value.h"

namespace zqm {

class Coder {
 public:
  Coder() = default;
  explicit Coder(Dictionary entries) : entries_(std::move(entries)) {}

  void encodeObject(std::string_view key, Value object) { entries_.set(key, std::move(object)); }
  void encodeBool(std::string_view key, bool flag) { entries_.set(key, flag); }
  void encodeInt(std::string_view key, std::int32_t number) { entries_.set(key, number); }

  // A missing key, or a value of another type, is read as absent, false or 0.
  Value decodeObject(std::string_view key) const { return entries_[key]; }
  bool decodeBool(std::string_view key) const { return entries_[key].boolean().value_or(false); }
  std::int32_t decodeInt(std::string_view key) const { return entries_[key].intValue(); }

  // Objects unconverted (dates as dates, records as nested dictionaries), booleans and integers.
  const Dictionary& entries() const { return entries_; }

 private:
  Dictionary entries_;
};

}  // namespace zqm
