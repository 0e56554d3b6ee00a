// ZQMQueueDataModel: one request that waits for its delivery.
#pragma once

#include <utility>

#include "zqm/model/Record.h"
#include "zqm/util/Encoding.h"

namespace zqm {

// Two items are the same only if they are the same object, whatever their fields.
class ZQM_EXPORT ZQMQueueDataModel : public Record<ZQMQueueDataModel> {
 public:
  static constexpr std::string_view kClassName = "ZQMQueueDataModel";

  ZQMQueueDataModel() = default;
  // Generates a new identity.
  ZQMQueueDataModel(std::optional<Date> when, std::optional<Bytes> body, Text target, Text verb,
                    bool first)
      : priority(first),
        qId(makeUuid()),
        date(when),
        data(std::move(body)),
        url(std::move(target)),
        method(std::move(verb)) {}

  // Puts the item at the head of the queue; it does not wait for Wi-Fi.
  bool priority = false;
  Text qId;
  // The producer's time stamp.
  std::optional<Date> date;
  // The body, as bytes.
  Value data;
  Text url;
  // Stored, but every delivery is a POST.
  Text method;

  static constexpr auto kFields = std::tuple{
      member("qId", &Self::qId),
      member("date", &Self::date),
      member("data", &Self::data),
      member("url", &Self::url),
      member("method", &Self::method),
      // Written last, whatever its position above.
      member("priority", &Self::priority),
  };
};

}  // namespace zqm
