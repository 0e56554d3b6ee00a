// Regular expressions by ICU. The template is expanded here, because ICU rejects a bare "$".
#include "zqm/util/Patterns.h"

#include <unicode/regex.h>

#include <memory>

#include "zqm/util/Icu.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

// For all matches in one text together; roughly in milliseconds.
constexpr std::int32_t kTimeLimit = 1000;

// A compiled pattern and the text that it refers to.
struct Search {
  icu::UnicodeString text;
  std::unique_ptr<icu::RegexMatcher> matcher;
};

// Returns null if the pattern does not compile or an argument is not valid UTF-8.
std::unique_ptr<Search> makeSearch(std::string_view text, std::string_view pattern) {
  if (!isValidUtf8(text) || !isValidUtf8(pattern)) return nullptr;
  auto search = std::make_unique<Search>();
  search->text = toUnicode(text);
  UErrorCode status = U_ZERO_ERROR;
  search->matcher = std::make_unique<icu::RegexMatcher>(toUnicode(pattern), search->text,
                                                        UREGEX_CASE_INSENSITIVE, status);
  search->matcher->setTimeLimit(kTimeLimit, status);
  return U_SUCCESS(status) ? std::move(search) : nullptr;
}

bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// Appends the expanded template. Of several digits, as many are used as name an existing group.
void appendExpanded(icu::UnicodeString& result, const icu::UnicodeString& replacement,
                    const Search& search, UErrorCode& status) {
  const std::int32_t groups = search.matcher->groupCount();
  for (std::int32_t i = 0; i < replacement.length(); ++i) {
    const char16_t c = replacement[i];
    if (c == u'\\' && i + 1 < replacement.length()) {
      result.append(replacement[++i]);
    } else if (c == u'$' && isDigit(replacement[i + 1])) {
      std::int32_t group = replacement[++i] - u'0';
      while (isDigit(replacement[i + 1]) && group * 10 + replacement[i + 1] - u'0' <= groups) {
        group = group * 10 + replacement[++i] - u'0';
      }
      if (group <= groups) result.append(search.matcher->group(group, status));
    } else {
      result.append(c);
    }
  }
}

}  // namespace

std::optional<std::string> replaceAll(std::string_view text, std::string_view pattern,
                                      std::string_view replacementTemplate) {
  const auto search = makeSearch(text, pattern);
  if (!search || !isValidUtf8(replacementTemplate)) return std::nullopt;
  const icu::UnicodeString replacement = toUnicode(replacementTemplate);
  icu::UnicodeString result;
  std::int32_t end = 0;
  UErrorCode status = U_ZERO_ERROR;
  while (search->matcher->find(status)) {
    result.append(search->text, end, search->matcher->start(status) - end);
    appendExpanded(result, replacement, *search, status);
    end = search->matcher->end(status);
  }
  if (U_FAILURE(status)) return std::nullopt;
  result.append(search->text, end, search->text.length() - end);
  return toUtf8(result);
}

bool containsMatch(std::string_view text, std::string_view pattern) {
  const auto search = makeSearch(text, pattern);
  UErrorCode status = U_ZERO_ERROR;
  return search && search->matcher->find(status) && U_SUCCESS(status);
}

}  // namespace zqm
