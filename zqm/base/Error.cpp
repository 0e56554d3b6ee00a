// Descriptions of an error.
#include "zqm/base/Error.h"

namespace zqm {

std::string Error::localizedDescription() const {
  if (!wrappedDescription.empty()) return domain + " " + wrappedDescription;
  if (const std::string* text = userInfo[kLocalizedDescriptionKey].text()) return *text;
  return "The operation couldn't be completed. (" + domain + " error " + std::to_string(code) +
         ".)";
}

Error Error::rewrapped(std::string newDomain) const {
  return {std::move(newDomain), code, userInfo, localizedDescription()};
}

}  // namespace zqm
