// What stands in the place of the queue's file, or of a record's. An odd first byte puts a log's
// checksums right.
#include "fuzz/Target.h"
#include "zqm/config/ZQMConfigModel.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/queue/ZQMQueueModel.h"

namespace zqm::fuzz {
namespace {

template <class R>
void saveOver(const Fakes& fakes, R& record, auto change) {
  {
    const Launch launch(fakes);
    auto found = ZQMDatabase::findRecord<R>();
    require(found.state != FileState::sound || found.record, "a sound file holds a record");
    if (found.record) record = *std::move(found.record);
    change(record);
    require(ZQMDatabase::saveObject<R>(record), "a save succeeds whatever stood there");
  }
  const Launch launch(fakes);
  const auto found = ZQMDatabase::findRecord<R>();
  require(found.state == FileState::sound, "what was saved is sound");
  require(same(found.record->toDictionary(), record.toDictionary()), "it reads back");
}

}  // namespace

void tryOne(const Bytes& input) {
  const std::size_t way = firstOf(input);
  const Bytes file = way % 2 == 1 ? withChecksums(withoutFirst(input)) : withoutFirst(input);
  const Fakes fakes;
  fakes.files->put("/groups/group.example/ZQMQueueModel.plist", file);
  fakes.files->put("/groups/group.example/ZQMConfigModel.plist", file);
  ZQMQueueModel queue;
  ZQMConfigModel config;
  if (way / 2 % 2 == 0) {
    saveOver(fakes, queue, [](ZQMQueueModel& model) {
      model.addData(std::make_shared<const ZQMQueueDataModel>(testing::kNow, Bytes{1},
                                                              "http://a.test/", "POST", false));
    });
  } else {
    saveOver(fakes, config, [](ZQMConfigModel& model) { model.lastUpdateDate = testing::kNow; });
  }
}

}  // namespace zqm::fuzz
