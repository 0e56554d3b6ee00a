// Finds the first tag that does not fit, which libplist does not report.
#include "zqm/util/PropertyListFault.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace zqm {
namespace {

using namespace std::string_view_literals;

constexpr auto kBlanks = " \t\r\n"sv;
constexpr auto kContainers = "  plist dict array "sv;
constexpr auto kTags = " plist dict array key string integer real date data true false "sv;
// Constructs other than tags, with their start and end.
constexpr std::array kOthers = {std::array{"<!--"sv, "-->"sv}, std::array{"<![CDATA["sv, "]]>"sv},
                                std::array{"<?"sv, "?>"sv}, std::array{"<!"sv, ">"sv}};

bool isOneOf(std::string_view names, const std::string& name) {
  return names.find(" " + name + " ") != std::string_view::npos;
}

// `open` lists the elements around the tag, starting with "". `hasKey` is true if the last tag
// started a key, whose value must follow.
std::string faultOfTag(std::string_view tag, std::vector<std::string>& open, bool& hasKey) {
  const std::size_t begin = tag.starts_with('/') ? 1 : 0;
  const std::string name(tag.substr(begin, tag.find_first_of(" \t\r\n/", 1) - begin));
  const std::string inside = open.back();
  // An unknown name is not shown, because it may be part of a text.
  if (!isOneOf(kTags, name)) return "no tag of a property list (in a text, < is written as &lt;)";
  if (begin == 1) {
    open.pop_back();
    if (name == inside) return {};
    return "</" + name +
           (inside.empty() ? "> closes nothing" : "> does not close <" + inside + ">");
  }
  if (!isOneOf(kContainers, inside)) return "<" + name + "> stands in <" + inside + ">";
  if (inside == "dict" && hasKey == (name == "key")) {
    return "<" + name + (hasKey ? "> follows a <key>" : "> has no <key> before it");
  }
  hasKey = name == "key";
  if (!tag.ends_with('/')) open.push_back(name);
  return {};
}

std::string faultOfXml(std::string_view text) {
  const auto lineOf = [&](std::size_t place) {
    return "line " + std::to_string(std::ranges::count(text.substr(0, place), '\n') + 1);
  };
  std::vector<std::string> open = {""};
  bool hasKey = false;
  std::size_t next = 0;
  while ((next = text.find_first_of("<&", next)) != std::string_view::npos) {
    const std::string_view rest = text.substr(next);
    const auto* const other = std::ranges::find_if(
        kOthers, [&](const auto& each) { return rest.starts_with(each.front()); });
    const auto end = rest.front() == '&' ? ";"sv : other == kOthers.end() ? ">"sv : other->back();
    const std::size_t length = rest.find(end);
    std::string fault;
    if (rest.front() == '&') {
      if (length > 10) fault = "in a text, & is written as &amp;";
    } else if (length == std::string_view::npos) {
      break;
    } else if (other == kOthers.end()) {
      fault = faultOfTag(rest.substr(1, length - 1), open, hasKey);
    }
    if (!fault.empty()) return lineOf(next) + ": " + fault;
    next += length + end.size();
  }
  const bool isCut = next != std::string_view::npos || open.size() > 1;
  return isCut ? "it is cut off in " + lineOf(text.find_last_not_of(kBlanks))
               : "it holds nothing that can be read";
}

}  // namespace

std::string propertyListFault(const Bytes& bytes) {
  std::string_view text = asText(bytes);
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  for (const auto start : {"\xFF\xFE"sv, "\xFE\xFF"sv, "<\0"sv, "\0<"sv}) {
    if (text.starts_with(start)) return "it looks like UTF-16, not UTF-8";
  }
  if (text.starts_with("bplist")) return "it is binary, and damaged or cut off";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return "it is empty";
  if (text[first] == '<') return faultOfXml(text);
  return "{["sv.find(text[first]) != std::string_view::npos ? "it looks like JSON"
                                                            : "it is neither XML nor binary";
}

}  // namespace zqm
