// What is wrong with a property list that could not be read.
#pragma once

#include <string>

#include "zqm/base/Value.h"

namespace zqm {

// Returns half a sentence for whoever wrote a file that `readPropertyList` refuses, for example
// "line 12: </dict> does not close <array>" or "it looks like JSON". It names lines and tags and
// never what stands between them, which may be a password.
std::string propertyListFault(const Bytes& bytes);

}  // namespace zqm
