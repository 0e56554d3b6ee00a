// ZQMObjectModel: the base of every record that is stored or sent.
#pragma once

#include <optional>
#include <string>

#include "zqm/base/Value.h"

namespace zqm {

class ZQM_EXPORT ZQMObjectModel {
 public:
  virtual ~ZQMObjectModel();

  // Returns the present fields under their names. The base class throws.
  virtual Dictionary toDictionary() const;

  // Every record class has its own; the base class throws.
  static std::optional<ZQMObjectModel> initWithDictionary(const Value& dictionary);

  // Returns `toDictionary` as compact JSON, "ERROR" if no field is present, or "" if JSON cannot
  // represent a value.
  std::string toStringJson() const;

 protected:
  ZQMObjectModel() = default;
  ZQMObjectModel(const ZQMObjectModel&) = default;
  ZQMObjectModel& operator=(const ZQMObjectModel&) = default;
};

// Returns compact JSON of a dictionary or list. If JSON cannot represent a value in it, reports
// that and returns std::nullopt.
ZQM_EXPORT std::optional<Bytes> toData(const Value& content);

}  // namespace zqm
