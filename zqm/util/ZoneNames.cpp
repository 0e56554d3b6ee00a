// Zone names from ICU's data.
#include "zqm/util/ZoneNames.h"

#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <memory>

namespace zqm {

std::string localizedZoneName(std::string_view zoneIdentifier, std::string_view localeIdentifier) {
  const auto identifier = icu::UnicodeString::fromUTF8(
      icu::StringPiece(zoneIdentifier.data(), static_cast<std::int32_t>(zoneIdentifier.size())));
  const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(identifier));
  icu::Locale locale(std::string(localeIdentifier).c_str());
  if (locale.isBogus()) locale = icu::Locale::getRoot();
  icu::UnicodeString name;
  zone->getDisplayName(false, icu::TimeZone::LONG, locale, name);
  std::string text;
  name.toUTF8String(text);
  return text;
}

}  // namespace zqm
