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

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("qId", self.qId);
    visit("date", self.date);
    visit("data", self.data);
    visit("url", self.url);
    visit("method", self.method);
    visit("priority", self.priority);
  }
};

}  // namespace zqm
