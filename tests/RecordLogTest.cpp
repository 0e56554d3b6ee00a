// The queue's file as a log: what is read back after changes, cuts and other hands.
#include "zqm/model/RecordLog.h"

#include <random>

#include "tests/support/FakePlatform.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/queue/ZQMQueueModel.h"
#include "zqm/util/PropertyList.h"

namespace zqm {
namespace {

using Names = std::vector<std::string>;

Names namesOf(const ZQMQueueModel& queue) {
  Names names;
  if (queue.data) {
    queue.data->forEach([&](const ZQMQueueDataModel& item) { names.push_back(*item.url.text()); });
  }
  return names;
}

ZQMQueueItems::Item item(const std::string& name, std::size_t size, bool priority = false) {
  return std::make_shared<const ZQMQueueDataModel>(std::nullopt, Bytes(size, 7), name, "POST",
                                                   priority);
}

class RecordLogTest : public zqm::testing::Fixture {
 protected:
  bool save() { return ZQMDatabase::saveObject<ZQMQueueModel>(queue); }
  Bytes file() { return fakes.files->read(path).value_or(Bytes()); }
  Bytes copy() { return fakes.files->read("/documents/ZQMQueueModel.plist").value_or(Bytes()); }

  // What another launch would read.
  Names stored() {
    Process other(fakes.platform());
    const Process::Scope inside(other);
    return namesOf(ZQMDatabase::readRecord<ZQMQueueModel>().value_or(ZQMQueueModel()));
  }

  const std::string path = storedPath("ZQMQueueModel");
  ZQMQueueModel queue;
};

TEST_F(RecordLogTest, FileFollowsEveryChangeAndItsCopyTooAndStaysSmall) {
  std::minstd_rand random(3);
  for (int i = 0; i < 900; ++i) {
    const auto count = queue.count();
    // Mostly growing at first, then shrinking.
    if (count > 0 && random() % 10 < (i < 400 ? 3U : 8U)) {
      queue.removeData(queue.data->at(random() % count));
    } else {
      queue.addData(item(std::to_string(i), 1000, random() % 4 == 0));
    }
    ASSERT_TRUE(save());
    ZQMDatabase::waitUntilSmall<ZQMQueueModel>();
    ASSERT_LE(file().size(), 2 * 1120 * queue.count() + (64U << 10)) << i;
    if (i % 30 > 0) continue;
    ASSERT_EQ(stored(), namesOf(queue)) << i;
    // A rewritten file and its copy take their places one after the other.
    process->drain();
    ASSERT_EQ(file(), copy()) << i;
  }
}

TEST_F(RecordLogTest, FlippedBitIsDamageWhereverItIsAndAMissingEndOrPageIsNot) {
  std::vector<std::size_t> ends;
  for (int i = 0; i < 4; ++i) {
    queue.addData(item(std::to_string(i), i == 2 ? 9000 : 300));
    ASSERT_TRUE(save());
    ends.push_back(file().size());
  }
  const Bytes whole = file();
  const auto stateOf = [&](Bytes content) {
    fakes.files->put(path, std::move(content));
    return ZQMDatabase::findRecord<ZQMQueueModel>().state;
  };
  for (std::size_t at = 0; at < whole.size(); at += at < ends[1] + 40 ? 1 : 97) {
    SCOPED_TRACE(at);
    Bytes flipped = whole;
    flipped[at] ^= 8;
    ASSERT_EQ(stateOf(flipped), FileState::damaged);
    Names left;
    for (std::size_t i = 0; ends[i] <= at; ++i) left.push_back(std::to_string(i));
    ASSERT_EQ(stored(), left);
  }
  for (std::size_t size = 0; size < whole.size(); size += 50) {
    const auto cut = whole.begin() + static_cast<std::ptrdiff_t>(size);
    EXPECT_NE(stateOf({whole.begin(), cut}), FileState::damaged) << size;
  }
  for (const std::size_t unwritten : {std::size_t{0}, ends[0], ends[1], std::size_t{4096}}) {
    Bytes holed = whole;
    const auto begin = holed.begin() + static_cast<std::ptrdiff_t>(unwritten);
    std::fill(begin, holed.begin() + (unwritten / 4096 + 1) * 4096, 0);
    EXPECT_NE(stateOf(holed), FileState::damaged) << unwritten;
  }
}

TEST_F(RecordLogTest, FileOfAnotherHandIsReplacedWhole) {
  queue.addData(item("a", 1));
  ASSERT_TRUE(save());
  const std::string copyPath = "/documents/ZQMQueueModel.plist";
  const std::vector<std::function<void()>> hands = {
      [&] { fakes.files->remove(path); }, [&] { fakes.files->remove(copyPath); },
      [&] {
        // The list of an earlier version.
        const Names names = namesOf(queue);
        fakes.files->put(path, *writePropertyList(queue.toDictionary()));
        queue = ZQMDatabase::readRecord<ZQMQueueModel>().value();
        EXPECT_EQ(namesOf(queue), names);
      },
      [&] { ZQMDatabase::saveObject<ZQMQueueModel>(std::vector{ZQMQueueModel()}); },
      [&] { ZQMDatabase::saveObject<ZQMQueueModel>(ZQMQueueModel()); }};
  for (const auto& hand : hands) {
    hand();
    queue.addData(item(std::to_string(queue.count()), 1));
    ASSERT_TRUE(save());
    EXPECT_EQ(stored(), namesOf(queue));
    EXPECT_EQ(file(), copy());
  }
}

TEST_F(RecordLogTest, WhatNoFileCanHoldOrNoReaderTakesLeavesTheOldState) {
  queue.addData(item("a", 5));
  ASSERT_TRUE(save());
  for (const Value& data : {Value(Value::Null()), Value(List(1000, Value(true)))}) {
    auto unstorable = std::make_shared<ZQMQueueDataModel>();
    unstorable->data = data;
    ZQMQueueModel changed = queue;
    changed.addData(unstorable);
    EXPECT_FALSE(ZQMDatabase::saveObject<ZQMQueueModel>(changed));
    EXPECT_EQ(stored(), (Names{"a"}));
  }
}

TEST_F(RecordLogTest, DiskThatIsFullIsTriedNowAndThenOnceManyItemsWait) {
  queue.addData(item("first", 1));
  ASSERT_TRUE(save());
  fakes.files->largest = file().size();
  for (int i = 0; i < 4000; ++i) {
    queue.addData(item("waiting", 300));
    EXPECT_FALSE(save());
  }
  EXPECT_LT(fakes.files->appends, 1000);
  fakes.files->largest = SIZE_MAX;
  queue.removeData(queue.data->at(0));
  EXPECT_TRUE(save());
  EXPECT_EQ(stored(), namesOf(queue));
}

TEST_F(RecordLogTest, FileThatMayNotGrowIsReplacedWhereRemovalsLeftRoom) {
  fakes.files->largest = 200000;
  queue.addData(item("large", 150000));
  ASSERT_TRUE(save());
  queue.addData(item("beyond", 60000));
  EXPECT_FALSE(save());
  EXPECT_EQ(stored(), (Names{"large"}));
  queue.removeData(queue.data->at(0));
  EXPECT_TRUE(save());
  EXPECT_EQ(stored(), (Names{"beyond"}));
}

}  // namespace
}  // namespace zqm
