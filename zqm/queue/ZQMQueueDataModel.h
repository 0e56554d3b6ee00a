// ZQMQueueDataModel: one request that waits to be delivered.
#pragma once

#include "zqm/model/Record.h"

namespace zqm {

// Two items are the same only if they are the same object, whatever their fields.
class ZQM_EXPORT ZQMQueueDataModel : public Record<ZQMQueueDataModel> {
 public:
  static constexpr std::string_view kClassName = "ZQMQueueDataModel";

  ZQMQueueDataModel() = default;
  // Under a new identity.
  ZQMQueueDataModel(std::optional<Date> when, std::optional<Bytes> body, Text target, Text verb,
                    bool first);

  // Goes to the head of the queue and waits for no Wi-Fi.
  bool priority = false;
  Text qId;
  // The producer's time stamp.
  std::optional<Date> date;
  // The body, as bytes.
  Value data;
  Text url;
  // Kept, but every delivery is a POST.
  Text method;

  static constexpr auto kFields = std::tuple{
      member("qId", &Self::qId),
      member("date", &Self::date),
      member("data", &Self::data),
      member("url", &Self::url),
      member("method", &Self::method),
      // Last in what is written, whatever its place above.
      member("priority", &Self::priority),
  };
};

}  // namespace zqm
