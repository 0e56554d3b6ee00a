// ZQMObjectModel: the base of every record that is stored or sent.
#pragma once

#include <optional>
#include <string>

#include "zqm/base/Value.h"

namespace zqm {

class ZQM_EXPORT ZQMObjectModel {
 public:
  virtual ~ZQMObjectModel();

  // The record's fields under their names, absent ones left out. The base's throws.
  virtual Dictionary toDictionary() const;

  // Every record has its own; the base's throws.
  static std::optional<ZQMObjectModel> initWithDictionary(const Value& dictionary);

  // Compact JSON of `toDictionary`; "ERROR" for a record without any value, "" for one that holds
  // what JSON cannot.
  std::string toStringJson() const;

 protected:
  ZQMObjectModel() = default;
  ZQMObjectModel(const ZQMObjectModel&) = default;
  ZQMObjectModel& operator=(const ZQMObjectModel&) = default;
};

// Compact JSON bytes; what JSON cannot hold is reported and gives none.
ZQM_EXPORT std::optional<Bytes> toData(const Dictionary& dictionary);
ZQM_EXPORT std::optional<Bytes> toData(const List& list);

}  // namespace zqm
