// Error: what a callback receives when something did not work.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm {

// The key of an error's details under which its localized description stands.
inline constexpr std::string_view kLocalizedDescriptionKey = "NSLocalizedDescription";

// The domain of transport errors and of HTTP statuses turned into errors.
inline constexpr std::string_view kRequestExceptionDomain = "RequestException";

struct ZQM_EXPORT Error {
  std::string domain;
  // An HTTP status (positive), a transport's own code (negative) or a caller's number.
  std::int64_t code = 0;
  Dictionary userInfo;
  // The text of the error that this one wraps; empty for an original error.
  std::string wrappedDescription;

  // The details' localized description, or a sentence made of domain and code; of a rewrapped
  // error its own domain, a blank, and that text.
  std::string localizedDescription() const;

  // The same code and details under another domain.
  Error rewrapped(std::string newDomain) const;
};

}  // namespace zqm
