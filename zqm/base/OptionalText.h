// OptionalText: an optional string argument of the host's.
#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace zqm {

// A null `const char*`, such as getenv returns for an unset variable, is treated as absent; a
// std::optional<std::string> made from it would end the host's process.
class OptionalText : public std::optional<std::string> {
 public:
  OptionalText() = default;
  OptionalText(std::nullopt_t) {}
  OptionalText(std::nullptr_t) {}
  OptionalText(const char* text) {
    if (text) emplace(text);
  }
  template <std::convertible_to<std::string> T>
  requires(!std::is_pointer_v<T>) OptionalText(T text) : optional(std::string(std::move(text))) {}
  OptionalText(std::optional<std::string> text) : optional(std::move(text)) {}
};

}  // namespace zqm
