// The store of records.
#include "zqm/model/ZQMDatabase.h"

#include "tests/support/FakePlatform.h"
#include "tools/zqm/PropertyListWriter.h"
#include "zqm/base/Exception.h"
#include "zqm/core/user/ZQMUserModel.h"
#include "zqm/model/Frame.h"
#include "zqm/model/RecordFile.h"
#include "zqm/queue/ZQMQueueModel.h"
#include "zqm/util/Cbor.h"

namespace zqm::testing {
namespace {

class DatabaseTest : public Fixture {
 protected:
  static ZQMUserModel user(const Text& euid) {
    return ZQMUserModel::initWithDictionary(Dictionary{{"euid", euid}}).value();
  }
  static FileState state() { return ZQMDatabase::findRecord<ZQMUserModel>().state; }
  // A sound frame with that payload.
  static Bytes framed(std::string_view payload) {
    std::string file;
    FrameWriter frame(file);
    file += payload;
    frame.finish(1);
    return toBytes(file);
  }
  std::vector<Bytes> quarantined() {
    std::vector<Bytes> kept;
    for (const auto& [name, content] : fakes.files->contents) {
      if (name.starts_with(path + "-damaged-")) kept.push_back(content);
    }
    return kept;
  }

  const std::string path = storedPath("ZQMUserModel");
};

TEST_F(DatabaseTest, OneRecordReplacesAListAndTheOtherWayRound) {
  EXPECT_TRUE(ZQMDatabase::saveObject<ZQMUserModel>(std::vector{user("a"), user("b")}));
  const auto list = ZQMDatabase::readObject<ZQMUserModel>();
  ASSERT_EQ(std::get<std::vector<ZQMUserModel>>(list).size(), 2U);
  EXPECT_EQ(std::get<std::vector<ZQMUserModel>>(list)[1].euid, Text("b"));
  EXPECT_FALSE(ZQMDatabase::readRecord<ZQMUserModel>().has_value());
  EXPECT_EQ(state(), FileState::none);

  const Value odd = List{"bad \xff utf-8", std::string("a\0b", 3), Date::max(), Bytes{0}};
  EXPECT_TRUE(ZQMDatabase::saveObject<ZQMUserModel>(user(odd)));
  EXPECT_EQ(ZQMDatabase::readRecord<ZQMUserModel>().value().euid, odd);
  EXPECT_TRUE(quarantined().empty());
}

TEST_F(DatabaseTest, WhatCannotBeSavedLeavesTheOldFile) {
  ASSERT_TRUE(ZQMDatabase::saveObject<ZQMUserModel>(user("kept")));
  EXPECT_FALSE(ZQMDatabase::saveObject<ZQMUserModel>(Value()));
  Value deep = "inside";
  for (int level = 0; level < 512; ++level) deep = List{std::move(deep)};
  for (const Value& value : {Value(Value::Null()), Value(List{Value::Null()}), Value(List{Value()}),
                             deep, Value(List(500'000, Value(1)))}) {
    EXPECT_FALSE(ZQMDatabase::saveObject<ZQMUserModel>(user(value)));
  }
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

TEST_F(DatabaseTest, DamagedFileReadsAsNoneAndIsKeptOnceBesideWhatIsSaved) {
  std::string nothing;
  putCbor(nothing, Dictionary{{"euid", Value::Null()}});
  std::string record;
  putCbor(record, Dictionary{{"euid", "a"}});
  const Bytes sound = framed(record);
  const Bytes shorter(sound.begin(), sound.end() - 1);
  Bytes longer = sound;
  longer.push_back(0);
  Bytes flipped = sound;
  flipped.back() ^= 1;
  for (const Bytes& content :
       {toBytes("damaged"), *tools::writePropertyList(user("a").toDictionary()), framed(""),
        framed("\x81"), framed(nothing), longer, shorter, flipped}) {
    fakes.files->contents = {{path, content}};
    EXPECT_EQ(state(), FileState::damaged);
    EXPECT_EQ(ZQMDatabase::readRecord<ZQMUserModel>(), std::nullopt);
    fakes.files->readOnly = true;
    EXPECT_FALSE(ZQMDatabase::saveObject<ZQMUserModel>(user("new")));
    EXPECT_EQ(fakes.files->contents[path], content) << "it could not be moved";
    fakes.files->readOnly = false;
    const Saved saved = ZQMDatabase::saveRecord<ZQMUserModel>(user("new"));
    EXPECT_TRUE(saved.isDone && saved.keptAs && quarantined() == std::vector<Bytes>{content});
    EXPECT_FALSE(ZQMDatabase::saveRecord<ZQMUserModel>(user("newer")).keptAs);
    EXPECT_EQ(quarantined().size(), 1U);
    EXPECT_EQ(ZQMDatabase::readRecord<ZQMUserModel>().value().euid, Text("newer"));
  }
  EXPECT_TRUE(reports().empty());
}

TEST_F(DatabaseTest, BlankFileWasNeverWrittenAndForeignElementsAreLeftOut) {
  for (const Bytes& content : {Bytes(), Bytes(5000)}) {
    fakes.files->contents = {{path, content}};
    EXPECT_EQ(state(), FileState::none);
    EXPECT_TRUE(ZQMDatabase::saveObject<ZQMUserModel>(user("a")));
    EXPECT_TRUE(quarantined().empty());
  }
  fakes.files->put(path, *writeRecordFile(List{5, Dictionary{{"euid", 7}}}));
  const auto list = ZQMDatabase::readObject<ZQMUserModel>();
  ASSERT_EQ(std::get<std::vector<ZQMUserModel>>(list).size(), 1U);
  fakes.files->put(path, *writeRecordFile("a text root"));
  EXPECT_TRUE(std::holds_alternative<std::monostate>(ZQMDatabase::readObject<ZQMUserModel>()));
}

TEST_F(DatabaseTest, FileThatCannotBeReadNowIsNotTakenForNone) {
  ASSERT_TRUE(ZQMDatabase::saveObject<ZQMUserModel>(user("a")));
  fakes.files->failReads(path, 2);
  EXPECT_EQ(state(), FileState::unreadable);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(ZQMDatabase::readObject<ZQMUserModel>()));
  EXPECT_EQ(state(), FileState::sound);
  // Without the host's information nobody knows where to look.
  fakes.packages->main.reset();
  EXPECT_EQ(state(), FileState::unreadable);
}

TEST_F(DatabaseTest, APlainValueOfTheQueueGoesIntoItsJournal) {
  ZQMQueueModel queue;
  queue.addData(std::make_shared<ZQMQueueDataModel>(kNow, Bytes{1}, "a", "POST", false));
  ASSERT_TRUE(ZQMDatabase::saveObject<ZQMQueueModel>(queue));
  relaunch();
  const Dictionary plain = {{"data", List{Dictionary{{"url", "b"}}}}};
  EXPECT_TRUE(ZQMDatabase::saveObject<ZQMQueueModel>(Value(plain)));
  EXPECT_FALSE(ZQMDatabase::saveObject<ZQMQueueModel>(std::vector{queue}));
  relaunch();
  const auto stored = ZQMDatabase::readRecord<ZQMQueueModel>();
  ASSERT_EQ(stored.value().count(), 1U);
  EXPECT_EQ(stored->data->at(0)->url, Text("b"));
  for (const auto& [path, content] : fakes.files->contents) {
    EXPECT_EQ(path.find("damaged"), std::string::npos) << path;
  }
}

TEST_F(DatabaseTest, WithoutAContainerNothingIsWrittenButTheSideCopyOfTheQueue) {
  setInfo(*fakes.packages->main, "NSGroupIdentifier", Value());
  EXPECT_FALSE(ZQMDatabase::saveObject<ZQMUserModel>(user("a")));
  EXPECT_FALSE(ZQMDatabase::readRecord<ZQMUserModel>().has_value());
  EXPECT_FALSE(ZQMDatabase::saveObject<ZQMQueueModel>(ZQMQueueModel()));
  EXPECT_EQ(fakes.systemLog->lines.size(), 4U);
  relaunch();
  EXPECT_EQ(fakes.files->written, std::vector<std::string>{"/documents/ZQMQueueModel.plist"});
}

}  // namespace
}  // namespace zqm::testing
