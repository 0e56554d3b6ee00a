// What a rule reports of the store, which itself reports nothing. Each goes out under the rule's
// module at level 4; no lock may be held.
#pragma once

#include <string>
#include <string_view>

#include "zqm/model/ZQMDatabase.h"

namespace zqm {

// That a damaged file was kept under another name, if the save met one.
void reportKept(const Saved& saved, std::string_view module);

// `what` could not be saved.
void reportUnsaved(const std::string& what, std::string_view module);

// The record cannot be read at the moment, with what follows from it.
void reportUnreadable(std::string_view className, const std::string& consequence,
                      std::string_view module);

}  // namespace zqm
