// The text of a date. The first byte picks zone and pattern.
#include "zqm/util/Date.h"

#include "fuzz/Target.h"

namespace zqm::fuzz {
namespace {

constexpr const char* kZones[] = {"America/Sao_Paulo", "UTC", "Pacific/Apia", "Africa/Monrovia"};
constexpr const char* kPatterns[] = {"yyyy-MM-dd HH:mm:ss Z", "dd/MM/yyyy HH:mm",
                                     "EEE, d MMM yyyy"};

}  // namespace

void tryOne(const Bytes& input) {
  static const auto& fakes = *new Fakes;
  static const auto& launch = *new Launch(fakes.platform());
  static_cast<void>(launch);
  fakes.systemInfo->zone = kZones[firstOf(input) % 4];
  const Bytes text = withoutFirst(input);
  if (const auto date = parse(asText(text))) {
    require(!mustBeRefused, "it is refused");
    const Date second = std::chrono::floor<std::chrono::seconds>(*date);
    require(parse(toString(*date)) == second, "the text of a date is its second");
    require(differenceInDaysToDate(*date, *date) == 0, "no day lies between");
    require(greaterThanDate(addDay(*date, 1), date), "a day later is later");
    require(lessThanDate(addDay(*date, -1), date), "a day earlier is earlier");
  }
  const DateFormatter formatter(kPatterns[firstOf(input) / 4 % 3]);
  if (const auto date = formatter.parse(asText(text))) {
    const auto again = formatter.parse(formatter.format(*date));
    require(again && formatter.format(*again) == formatter.format(*date), "the same by a pattern");
  }
}

}  // namespace zqm::fuzz
