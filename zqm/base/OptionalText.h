// OptionalText: a text that a host hands over, or none.
#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace zqm {

// A null `const char*`, which getenv answers for a variable that is not set, is none; to
// std::optional<std::string> it would be an error that ends the host.
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
