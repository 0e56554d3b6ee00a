// What stands in the place of the queue's file, or of a record's. An odd first byte puts the
// checksums right.
#include "fuzz/Target.h"
#include "zqm/config/ZQMConfigModel.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/queue/ZQMQueueRule.h"

namespace zqm::fuzz {
namespace {

template <class R>
void saveOver(const Fakes& fakes, R& record, auto change) {
  {
    const Launch launch(fakes.platform());
    auto found = ZQMDatabase::findRecord<R>();
    require(found.state != FileState::sound || found.record, "a sound file holds a record");
    if (found.record) record = *std::move(found.record);
    change(record);
    require(ZQMDatabase::saveObject<R>(record), "a save succeeds whatever stood there");
  }
  const Launch launch(fakes.platform());
  const auto found = ZQMDatabase::findRecord<R>();
  require(found.state == FileState::sound, "what was saved is sound");
  require(same(found.record->toDictionary(), record.toDictionary()), "it reads back");
}

// A new item joins what was there, and both are there at the next launch.
void enqueueBeside(const Fakes& fakes) {
  std::size_t count = 0;
  {
    const Launch launch(fakes.platform());
    ZQMQueueRule& rule = ZQMQueueRule::sharedInstance();
    rule.enqueue("http://a.test/", Bytes{1}, "POST", testing::kNow, false);
    rule.adoptQueues();
    count = rule.count();
    require(count == rule.counts().loaded + 1, "what is read and what is new are there");
  }
  const Launch launch(fakes.platform());
  ZQMQueueRule::sharedInstance().adoptQueues();
  require(ZQMQueueRule::sharedInstance().count() == count, "it reads back");
}

}  // namespace

void tryOne(const Bytes& input) {
  const std::size_t way = firstOf(input);
  const Bytes file = way % 2 == 1 ? withChecksums(withoutFirst(input)) : withoutFirst(input);
  const Fakes fakes;
  fakes.files->put("/groups/group.example/ZQMQueueModel.plist", file);
  fakes.files->put("/groups/group.example/ZQMConfigModel.plist", file);
  ZQMConfigModel config;
  if (way / 2 % 2 == 0) return enqueueBeside(fakes);
  saveOver(fakes, config, [](ZQMConfigModel& model) { model.lastUpdateDate = testing::kNow; });
}

}  // namespace zqm::fuzz
