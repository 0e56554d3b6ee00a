// Console: text for people on standard output, at most 80 columns wide.
#pragma once

#include <string>
#include <string_view>

#include "zqm/base/Value.h"

namespace zqm::tools {

// Coloured on a terminal.
class Console {
 public:
  Console();

  void heading(std::string_view text);
  void line(std::string_view text = {});
  // "label   value", aligned with other fields.
  void field(std::string_view label, std::string_view value);
  // A check: what was wanted, and only where that is not what was seen, both.
  void check(bool held, std::string_view what, std::string_view expected, std::string_view seen);

  int checks() const { return checks_; }
  int failures() const { return failures_; }

 private:
  // The text in an SGR colour ("32" green).
  std::string coloured(std::string_view colour, std::string_view text) const;

  const bool colours_;
  int checks_ = 0;
  int failures_ = 0;
};

// The text or, where it is longer than `width` bytes, its beginning and its length.
std::string shortened(std::string_view text, std::size_t width);

// Indented JSON, long texts in it shortened.
std::string prettyJson(const Value& value, std::size_t textWidth);
// The same of a body that is JSON; of another one the beginning, without control characters.
std::string prettyBody(std::string_view body, std::size_t textWidth);

// Each line of `text` after `indent` blanks.
std::string indented(std::string_view text, std::size_t indent);

// The same, broken at blanks so that no line is longer than the console is wide.
std::string wrapped(std::string_view text, std::size_t indent);

}  // namespace zqm::tools
