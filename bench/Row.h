// A row of the table that bench/run prints: a figure beside its floor and its limit.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zqm::bench {

enum class Unit { seconds, kibibytes, bytes, count };

struct Row {
  std::string what;
  // Of each run; the row shows the median, the least and the most.
  std::vector<double> values;
  Unit unit = Unit::seconds;
  // What the same thing costs at least, measured in the same run; empty where nothing is to
  // compare.
  std::vector<double> floor = {};
  // The figure may be no larger.
  std::optional<double> limit = std::nullopt;
};

double median(std::vector<double> values);

// As Markdown, on the standard output. A row without values says so.
void print(const Row& row);

}  // namespace zqm::bench
