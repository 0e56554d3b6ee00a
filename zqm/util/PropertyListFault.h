// Explains why a property list could not be read.
#pragma once

#include <string>

#include "zqm/base/Value.h"

namespace zqm {

// Returns a sentence fragment for the author of a file that `readPropertyList` refuses, for example
// "line 12: </dict> does not close <array>" or "it looks like JSON". It names lines and tags, never
// the text between them, which may be a password.
std::string propertyListFault(const Bytes& bytes);

}  // namespace zqm
