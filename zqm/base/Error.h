// Error: the failure that a callback receives.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

// The `userInfo` key of an error's localized description.
inline constexpr std::string_view kLocalizedDescriptionKey = "NSLocalizedDescription";

// The domain of transport errors and of HTTP statuses that are treated as errors.
inline constexpr std::string_view kRequestExceptionDomain = "RequestException";

struct ZQM_EXPORT Error {
  std::string domain;
  // An HTTP status (positive), the transport's own code (negative), or a number set by the caller.
  std::int64_t code = 0;
  Dictionary userInfo;
  // The description of the wrapped error; empty for an original error.
  std::string wrappedDescription;

  // The localized description in `userInfo`, or a sentence made from domain and code. For a
  // rewrapped error: its domain, a space, and the description of the error it wraps.
  std::string localizedDescription() const;

  // Returns an error that wraps this one: the same code and details under another domain.
  Error rewrapped(std::string newDomain) const;
};

}  // namespace zqm
