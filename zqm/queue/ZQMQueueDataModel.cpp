// Generates the identity of an item.
#include "zqm/queue/ZQMQueueDataModel.h"

#include "zqm/util/Encoding.h"

namespace zqm {

ZQMQueueDataModel::ZQMQueueDataModel(std::optional<Date> when, std::optional<Bytes> body,
                                     Text target, Text verb, bool first)
    : priority(first),
      qId(makeUuid()),
      date(when),
      data(std::move(body)),
      url(std::move(target)),
      method(std::move(verb)) {}

}  // namespace zqm
