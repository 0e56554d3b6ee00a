// ICU for the sources of this folder; no other header includes this one. ICU's default zone and
// locale stay the host's: every call passes its own.
#pragma once

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <string>
#include <string_view>

#include "zqm/platform/Process.h"

namespace zqm {

// The platform's locale at this moment; the root locale for an identifier that is none.
inline icu::Locale currentLocale() {
  const std::string identifier = platform().surroundings->locale();
  const icu::Locale locale = icu::Locale::createCanonical(identifier.c_str());
  return locale.isBogus() ? icu::Locale::getRoot() : locale;
}

// Of at most 2 GB; invalid UTF-8 becomes U+FFFD, in both directions.
inline icu::UnicodeString toUnicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

inline std::string toUtf8(const icu::UnicodeString& text) {
  std::string result;
  text.toUTF8String(result);
  return result;
}

}  // namespace zqm
