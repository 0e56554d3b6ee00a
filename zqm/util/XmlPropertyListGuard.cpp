// The check of an XML property list before the library reads it: elements, nesting and texts.
#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "zqm/util/Date.h"
#include "zqm/util/Encoding.h"
#include "zqm/util/PropertyListGuard.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

// The library takes quadratic time for a key that is set again.
constexpr std::size_t kMaximumSize = 2U << 20;
// It moves the rest of a text for each entity: the product of both, in bytes.
constexpr std::size_t kMaximumEntityCost = 1U << 30;

std::string_view trimmed(std::string_view text) {
  const std::size_t start = std::min(text.find_first_not_of(kBlanks), text.size());
  text.remove_prefix(start);
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

template <class Number>
bool isNumber(std::string_view text, auto format) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number, format);
  return result.ec == std::errc() && result.ptr == end;
}

// Decimal of 64 bits; the library would read one with a leading zero as octal.
bool isInteger(std::string_view text) {
  const std::string_view digits = text.substr(text.starts_with('-') ? 1 : 0);
  return (digits.size() < 2 || digits.front() != '0') && isNumber<std::int64_t>(text, 10);
}

// Like 2024-03-05T18:10:00Z, and no further from 2001 than the library's 32-bit seconds.
bool isDate(std::string_view text) {
  if (text.size() != 20 || text.back() != 'Z') return false;
  const auto date = parse(std::string(text.substr(0, 19)).append("+0000"));
  constexpr std::chrono::seconds kReach(std::numeric_limits<std::int32_t>::max());
  return date && std::chrono::abs(*date - kPropertyListEpoch) < kReach;
}

bool isLeafText(std::string_view name, std::string_view text) {
  if (name == "integer") return isInteger(trimmed(text));
  if (name == "real") return isNumber<double>(trimmed(text), std::chars_format::general);
  if (name == "date") return isDate(text);
  if (name == "data") return fromBase64(text).has_value();
  if (name == "true" || name == "false") return trimmed(text).empty();
  const auto entities = static_cast<std::size_t>(std::count(text.begin(), text.end(), '&'));
  return entities * text.size() <= kMaximumEntityCost;
}

class Guard {
 public:
  explicit Guard(std::string_view text) : rest_(text) {}

  bool isSound() {
    while (skipBlanks()) {
      if (!step()) return false;
    }
    return open_.empty();
  }

 private:
  // False at the end.
  bool skipBlanks() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(kBlanks), rest_.size()));
    return !rest_.empty();
  }

  bool step() {
    if (rest_.starts_with("<!--")) return skipPast("-->", 4);
    if (rest_.starts_with("<?")) return skipDeclaration("?>");
    if (rest_.starts_with("<!DOCTYPE")) return skipDeclaration(">");
    if (rest_.starts_with("</")) return closeContainer();
    return openElement();
  }

  bool skipPast(std::string_view end, std::size_t from) {
    const std::size_t found = rest_.find(end, from);
    if (found == std::string_view::npos) return false;
    rest_.remove_prefix(found + end.size());
    return true;
  }

  // Without an internal subset; an end inside quotes is none to the library.
  bool skipDeclaration(std::string_view end) {
    const std::string_view declaration = rest_.substr(0, rest_.find(end, 1));
    return declaration.find('[') == std::string_view::npos && hasWholeQuotes(declaration) &&
           skipPast(end, 1);
  }

  static bool hasWholeQuotes(std::string_view text) {
    return std::count(text.begin(), text.end(), '"') % 2 == 0;
  }

  bool closeContainer() {
    if (open_.empty() || !skipEndTag(open_.back())) return false;
    open_.pop_back();
    return true;
  }

  bool skipEndTag(std::string_view name) {
    if (!rest_.starts_with("</") || !rest_.substr(2).starts_with(name)) return false;
    rest_.remove_prefix(2 + name.size());
    if (!skipBlanks() || rest_.front() != '>') return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool openElement() {
    if (!rest_.starts_with('<')) return false;
    const std::string_view tag = rest_.substr(1, rest_.find('>') - 1);
    const std::string_view name = tag.substr(0, tag.find_first_of(" \t\r\n/"));
    const std::string_view tail = trimmed(tag.substr(name.size()));
    if (!skipPast(">", 1) || ++values_ > PropertyListSize::kMaximumValues) return false;
    if (name == "plist") return openRoot(name, tail);
    const bool empty = tail == "/";
    if (!empty && !tail.empty()) return false;
    if (name == "dict" || name == "array") return empty || openContainer(name);
    constexpr std::array kLeaves{"key",  "string", "integer", "real",
                                 "date", "data",   "true",    "false"};
    if (std::find(kLeaves.begin(), kLeaves.end(), name) == kLeaves.end()) return false;
    return empty ? isLeafText(name, "") : readLeaf(name);
  }

  // The one element that has attributes.
  bool openRoot(std::string_view name, std::string_view attributes) {
    if (!open_.empty() || attributes.ends_with('/') || !hasWholeQuotes(attributes) ||
        attributes.find('<') != std::string_view::npos) {
      return false;
    }
    open_.push_back(name);
    return true;
  }

  bool openContainer(std::string_view name) {
    const bool inRoot = !open_.empty() && open_.front() == "plist";
    if (open_.size() - (inRoot ? 1 : 0) >= PropertyListSize::kMaximumDepth) return false;
    open_.push_back(name);
    return true;
  }

  bool readLeaf(std::string_view name) {
    const bool isText = name == "string" || name == "key";
    const std::string_view start = rest_;
    for (;;) {
      rest_.remove_prefix(std::min(rest_.find('<'), rest_.size()));
      if (isText && rest_.starts_with("<!--")) {
        if (!skipPast("-->", 4)) return false;
      } else if (isText && rest_.starts_with("<![CDATA[")) {
        if (!skipPast("]]>", 9)) return false;
      } else {
        break;
      }
    }
    const std::string_view text = start.substr(0, start.size() - rest_.size());
    return isLeafText(name, text) && skipEndTag(name);
  }

  std::string_view rest_;
  std::vector<std::string_view> open_;
  std::uint64_t values_ = 0;
};

}  // namespace

bool isSoundXmlPropertyList(std::string_view text) {
  return text.size() <= kMaximumSize && text.find('\0') == std::string_view::npos &&
         isValidUtf8(text) && Guard(text).isSound();
}

}  // namespace zqm
