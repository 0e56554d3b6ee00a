// How a row reads.
#include "bench/Row.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace zqm::bench {
namespace {

std::string number(double value, const char* unit) {
  char text[64];
  const char* const form = std::abs(value) >= 1000 ? "%.0f%s%s" : "%.3g%s%s";
  std::snprintf(text, sizeof text, form, value, *unit == '\0' ? "" : " ", unit);
  return text;
}

std::string text(double value, Unit unit) {
  switch (unit) {
    case Unit::seconds:
      return value < 1e-3 ? number(value * 1e6, "µs") : number(value * 1e3, "ms");
    case Unit::kibibytes:
      return number(value, "KiB");
    case Unit::bytes:
      return number(value, "B");
    case Unit::count:
      return number(value, "");
  }
  return {};
}

}  // namespace

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

void print(const Row& row) {
  if (row.values.empty()) {
    std::printf("| %s | not measured | | | | |\n", row.what.c_str());
    return;
  }
  const double figure = median(row.values);
  const auto [least, most] = std::ranges::minmax(row.values);
  const std::string floor = row.floor.empty() ? "" : text(median(row.floor), row.unit);
  const std::string limit = row.limit ? text(*row.limit, row.unit) : "";
  const char* const verdict = !row.limit ? "" : figure <= *row.limit ? "held" : "**missed**";
  std::printf("| %s | %s | %s to %s | %s | %s | %s |\n", row.what.c_str(),
              text(figure, row.unit).c_str(), text(least, row.unit).c_str(),
              text(most, row.unit).c_str(), floor.c_str(), limit.c_str(), verdict);
  std::fflush(stdout);
}

}  // namespace zqm::bench
