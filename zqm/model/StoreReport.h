// Reports on behalf of the store, which reports nothing itself. Each goes to the rule's module, at
// level 4. Call them without holding a lock.
#pragma once

#include <string>
#include <string_view>

#include "zqm/model/ZQMDatabase.h"

namespace zqm {

// Reports that a damaged file was kept under another name, if the save did so.
void reportKept(const Saved& saved, std::string_view module);

// Reports that `what` could not be saved.
void reportUnsaved(const std::string& what, std::string_view module);

// Reports that the record cannot be read at the moment, and the consequence.
void reportUnreadable(std::string_view className, const std::string& consequence,
                      std::string_view module);

}  // namespace zqm
