// The names that people have for time zones.
#pragma once

#include <string>
#include <string_view>

namespace zqm {

// The standard long name of a zone of the time-zone database in the language of a locale; for a
// zone that has no name there, its offset, such as "GMT-03:00".
std::string localizedZoneName(std::string_view zoneIdentifier, std::string_view localeIdentifier);

}  // namespace zqm
