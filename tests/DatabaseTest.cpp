// The store of records.
#include "zqm/model/ZQMDatabase.h"

#include "tests/support/FakePlatform.h"
#include "zqm/base/Exception.h"
#include "zqm/core/ZQMUserModel.h"
#include "zqm/queue/ZQMQueueModel.h"
#include "zqm/util/PropertyList.h"

namespace zqm::testing {
namespace {

class DatabaseTest : public Fixture {
 protected:
  static ZQMUserModel user(const Text& euid) {
    return ZQMUserModel::initWithDictionary(Dictionary{{"euid", euid}}).value();
  }
};

TEST_F(DatabaseTest, OneRecordReplacesAListAndTheOtherWayRound) {
  EXPECT_TRUE(ZQMDatabase::saveObject<ZQMUserModel>(std::vector{user("a"), user("b")}));
  const auto list = ZQMDatabase::readObject<ZQMUserModel>();
  ASSERT_EQ(std::get<std::vector<ZQMUserModel>>(list).size(), 2U);
  EXPECT_EQ(std::get<std::vector<ZQMUserModel>>(list)[1].euid, Text("b"));
  EXPECT_FALSE(ZQMDatabase::readRecord<ZQMUserModel>().has_value());

  EXPECT_TRUE(ZQMDatabase::saveObject<ZQMUserModel>(user("c")));
  EXPECT_EQ(ZQMDatabase::readRecord<ZQMUserModel>().value().euid, Text("c"));
}

TEST_F(DatabaseTest, WhatCannotBeSavedLeavesTheOldFile) {
  ASSERT_TRUE(ZQMDatabase::saveObject<ZQMUserModel>(user("kept")));
  EXPECT_FALSE(ZQMDatabase::saveObject<ZQMUserModel>(Value()));
  EXPECT_FALSE(ZQMDatabase::saveObject<ZQMUserModel>(user(Value::Null())));
  EXPECT_FALSE(ZQMDatabase::saveObject<ZQMUserModel>(user("bad \xff utf-8")));
  EXPECT_THROW(ZQMDatabase::saveObject<ZQMUserModel>(List{1}), Exception);
  fakes.files->readOnly = true;
  EXPECT_FALSE(ZQMDatabase::saveObject<ZQMUserModel>(user("new")));
  EXPECT_EQ(ZQMDatabase::readRecord<ZQMUserModel>().value().euid, Text("kept"));
}

TEST_F(DatabaseTest, QueueAloneHasASideCopyThatRemovalLeaves) {
  const ZQMQueueModel queue;
  ASSERT_TRUE(ZQMDatabase::saveObject<ZQMQueueModel>(queue));
  ASSERT_TRUE(ZQMDatabase::saveObject<ZQMUserModel>(user("a")));
  const auto copy = fakes.files->read("/documents/ZQMQueueModel.plist");
  EXPECT_EQ(copy, fakes.files->read(storedPath("ZQMQueueModel")));
  EXPECT_TRUE(copy.has_value());
  EXPECT_FALSE(fakes.files->exists("/documents/ZQMUserModel.plist"));
  ZQMDatabase::remove<ZQMQueueModel>();
  ZQMDatabase::remove<ZQMQueueModel>();
  EXPECT_FALSE(ZQMDatabase::readRecord<ZQMQueueModel>().has_value());
  EXPECT_TRUE(fakes.files->exists("/documents/ZQMQueueModel.plist"));
}

TEST_F(DatabaseTest, DamagedFilesReadAsNone) {
  ASSERT_TRUE(ZQMDatabase::saveObject<ZQMUserModel>(user("a")));
  const Bytes whole = fakes.files->read(storedPath("ZQMUserModel")).value();
  const Bytes half(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2));
  for (const Bytes& content : {Bytes(), half, toBytes("bplist00"), toBytes("text"),
                               writePropertyList("a text root").value()}) {
    fakes.files->put(storedPath("ZQMUserModel"), content);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(ZQMDatabase::readObject<ZQMUserModel>()));
  }
  const List foreign = {5, Dictionary{{"euid", 7}}};
  fakes.files->put(storedPath("ZQMUserModel"), writePropertyList(foreign).value());
  const auto list = ZQMDatabase::readObject<ZQMUserModel>();
  ASSERT_EQ(std::get<std::vector<ZQMUserModel>>(list).size(), 1U);
}

TEST_F(DatabaseTest, WithoutAContainerNothingIsWrittenButTheSideCopyOfTheQueue) {
  fakes.packages->main->info.set("NSGroupIdentifier", Value());
  EXPECT_FALSE(ZQMDatabase::saveObject<ZQMUserModel>(user("a")));
  EXPECT_FALSE(ZQMDatabase::readRecord<ZQMUserModel>().has_value());
  EXPECT_FALSE(ZQMDatabase::saveObject<ZQMQueueModel>(ZQMQueueModel()));
  relaunch();
  EXPECT_EQ(fakes.files->written, std::vector<std::string>{"/documents/ZQMQueueModel.plist"});
}

}  // namespace
}  // namespace zqm::testing
