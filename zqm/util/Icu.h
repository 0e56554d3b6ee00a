// ICU for the sources of this folder; do not include it from other headers. ICU's default zone and
// locale belong to the host: every call passes its own.
#pragma once

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <string>
#include <string_view>

#include "zqm/platform/Process.h"

namespace zqm {

// Returns the platform's current locale, or the root locale if its identifier is invalid.
inline icu::Locale currentLocale() {
  const std::string identifier = platform().systemInfo->locale();
  const icu::Locale locale = icu::Locale::createCanonical(identifier.c_str());
  return locale.isBogus() ? icu::Locale::getRoot() : locale;
}

// For text of at most 2 GB. Invalid parts become U+FFFD, in both directions.
inline icu::UnicodeString toUnicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8(text);
}

inline std::string toUtf8(const icu::UnicodeString& text) {
  std::string result;
  text.toUTF8String(result);
  return result;
}

}  // namespace zqm
