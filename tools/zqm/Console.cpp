// Prints, and lays values out.
#include "tools/zqm/Console.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "zqm/util/Date.h"
#include "zqm/util/Encoding.h"
#include "zqm/util/Json.h"

namespace zqm::tools {
namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kMargin = 3;
constexpr std::size_t kLabelWidth = 14;

// A value without others in it, as JSON; what JSON does not know becomes a text.
std::string scalarJson(const Value& value, std::size_t textWidth) {
  if (const std::string* const text = value.text()) {
    return writeJson(shortened(*text, textWidth)).text;
  }
  if (const Bytes* const bytes = value.bytes()) return scalarJson(toBase64(*bytes), textWidth);
  if (const auto date = value.date()) return scalarJson(toString(*date), textWidth);
  return writeJson(value).text;
}

std::string json(const Value& value, std::size_t textWidth, const std::string& margin) {
  const std::string inner = margin + "  ";
  std::vector<std::string> items;
  if (const List* const list = value.list()) {
    for (const Value& each : *list) items.push_back(json(each, textWidth, inner));
  }
  if (const Dictionary* const entries = value.dictionary()) {
    for (const auto& [key, each] : *entries) {
      items.push_back(writeJson(key).text + ": " + json(each, textWidth, inner));
    }
  }
  if (items.empty()) return scalarJson(value, textWidth);
  std::string text = value.list() != nullptr ? "[" : "{";
  for (const std::string& each : items) {
    text.append(&each == &items.front() ? "\n" : ",\n").append(inner).append(each);
  }
  return text.append("\n").append(margin).append(value.list() != nullptr ? "]" : "}");
}

// Before `position`, so that no character of UTF-8 is cut in two.
std::size_t characterBegin(std::string_view text, std::size_t position) {
  while (position > 0 && (static_cast<unsigned char>(text[position]) & 0xC0) == 0x80) --position;
  return position;
}

}  // namespace

Console::Console() : colours_(::isatty(STDOUT_FILENO) == 1) {}

std::string Console::coloured(std::string_view colour, std::string_view text) const {
  if (!colours_) return std::string(text);
  std::string made = "\033[";
  return made.append(colour).append("m").append(text).append("\033[0m");
}

void Console::heading(std::string_view text) {
  line();
  line(coloured("1", text));
}

void Console::line(std::string_view text) {
  if (!text.empty()) std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

void Console::field(std::string_view label, std::string_view value) {
  std::string padded(label);
  padded.resize(std::max(padded.size() + 1, kLabelWidth), ' ');
  line(std::string(kMargin, ' ') + coloured("2", padded) + std::string(value));
}

void Console::check(bool held, std::string_view what, std::string_view expected,
                    std::string_view seen) {
  ++checks_;
  const std::string mark = held ? coloured("32", "ok  ") : coloured("31", "FAIL");
  line(std::string(kMargin, ' ') + mark + " " + std::string(what));
  if (held) return;
  ++failures_;
  field("  expected", expected);
  field("  seen", seen);
}

std::string shortened(std::string_view text, std::size_t width) {
  if (text.size() <= width) return std::string(text);
  std::string count = "... (";
  count.append(std::to_string(text.size())).append(" characters)");
  const std::size_t kept = width - std::min(width, count.size());
  return std::string(text.substr(0, characterBegin(text, kept))) + count;
}

std::string prettyJson(const Value& value, std::size_t textWidth) {
  return json(value, textWidth, "");
}

std::string prettyBody(std::string_view body, std::size_t textWidth) {
  const JsonReading reading = readJson(body);
  if (!reading.error) return prettyJson(reading.value, textWidth);
  std::string text = shortened(body, textWidth);
  std::ranges::replace_if(
      text, [](unsigned char each) { return each < ' ' || each > '~'; }, '?');
  return text;
}

std::string indented(std::string_view text, std::size_t indent) {
  std::string made;
  while (true) {
    const std::size_t end = text.find('\n');
    made.append(indent, ' ').append(text.substr(0, end));
    if (end == std::string_view::npos) return made;
    made += '\n';
    text.remove_prefix(end + 1);
  }
}

std::string wrapped(std::string_view text, std::size_t indent) {
  std::string lines;
  const std::size_t room = kWidth - indent;
  while (text.size() > room) {
    const std::size_t end = text.rfind(' ', room);
    if (end == std::string_view::npos) break;
    lines.append(text.substr(0, end)).append("\n");
    text.remove_prefix(end + 1);
  }
  return indented(lines.append(text), indent);
}

}  // namespace zqm::tools
