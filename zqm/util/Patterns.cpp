// Regular expressions by ICU. The template is expanded here, because ICU rejects a bare "$".
#include "zqm/util/Patterns.h"

#include <unicode/regex.h>

#include "zqm/util/Icu.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

// For all matches in one text together; roughly in milliseconds.
constexpr std::int32_t kTimeLimit = 1000;

// A compiled pattern and the text that it refers to. The status is a failure, and nothing matches,
// if the pattern does not compile or an argument is not valid UTF-8.
struct Search {
  Search(std::string_view subject, std::string_view pattern)
      : status(isValidUtf8(subject) && isValidUtf8(pattern) ? U_ZERO_ERROR : U_INVALID_CHAR_FOUND),
        text(toUnicode(subject)),
        matcher(toUnicode(pattern), text, UREGEX_CASE_INSENSITIVE, status) {
    matcher.setTimeLimit(kTimeLimit, status);
  }

  UErrorCode status;
  const icu::UnicodeString text;
  icu::RegexMatcher matcher;
};

bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// Appends the expanded template. Of several digits, as many are used as name an existing group.
void appendExpanded(icu::UnicodeString& result, const icu::UnicodeString& replacement,
                    Search& search) {
  const std::int32_t groups = search.matcher.groupCount();
  for (std::int32_t i = 0; i < replacement.length(); ++i) {
    const char16_t c = replacement[i];
    if (c == u'\\' && i + 1 < replacement.length()) {
      result.append(replacement[++i]);
    } else if (c == u'$' && isDigit(replacement[i + 1])) {
      std::int32_t group = replacement[++i] - u'0';
      while (isDigit(replacement[i + 1]) && group * 10 + replacement[i + 1] - u'0' <= groups) {
        group = group * 10 + replacement[++i] - u'0';
      }
      if (group <= groups) result.append(search.matcher.group(group, search.status));
    } else {
      result.append(c);
    }
  }
}

}  // namespace

std::optional<std::string> replaceAll(std::string_view text, std::string_view pattern,
                                      std::string_view replacementTemplate) {
  if (!isValidUtf8(replacementTemplate)) return std::nullopt;
  Search search(text, pattern);
  const icu::UnicodeString replacement = toUnicode(replacementTemplate);
  icu::UnicodeString result;
  std::int32_t end = 0;
  while (search.matcher.find(search.status)) {
    result.append(search.text, end, search.matcher.start(search.status) - end);
    appendExpanded(result, replacement, search);
    end = search.matcher.end(search.status);
  }
  if (U_FAILURE(search.status)) return std::nullopt;
  result.append(search.text, end, search.text.length() - end);
  return toUtf8(result);
}

bool containsMatch(std::string_view text, std::string_view pattern) {
  Search search(text, pattern);
  return search.matcher.find(search.status) && U_SUCCESS(search.status);
}

}  // namespace zqm
