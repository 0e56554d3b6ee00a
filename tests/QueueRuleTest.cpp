// The queue: its order, what survives, and what several processes do with it.
#include "zqm/queue/ZQMQueueRule.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "tests/support/FakePlatform.h"
#include "zqm/base/Exception.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/queue/JournalForm.h"

namespace zqm {
namespace {

using zqm::testing::kNow;

class QueueRuleTest : public zqm::testing::Fixture {
 protected:
  static ZQMQueueRule& rule() { return ZQMQueueRule::sharedInstance(); }

  static void enqueue(const std::string& url, bool priority = false) {
    rule().enqueue(url, toBytes("body of " + url), "PUT", kNow, priority);
  }

  static std::vector<std::string> urls() {
    std::vector<std::string> found;
    if (const auto& items = rule().getQueue()->data) {
      items->forEach([&](const ZQMQueueDataModel& item) { found.push_back(item.url.textForm()); });
    }
    return found;
  }

  // How many files the queues of all processes have.
  std::ptrdiff_t files() const {
    return std::ranges::count_if(fakes.files->contents, [](const auto& file) {
      return file.first.starts_with("/groups/group.example/ZQMQueueModel");
    });
  }

  const std::string path = storedPath("ZQMQueueModel");
};

using Urls = std::vector<std::string>;

TEST_F(QueueRuleTest, OrdinaryItemsKeepTheirOrderAndPrioritisedOnesGoFirstNewestFirst) {
  EXPECT_EQ(rule().getQueue()->count(), 0U);
  EXPECT_TRUE(fakes.files->written.empty());
  enqueue("a");
  rule().enqueue("b", std::nullopt, "POST", kNow - std::chrono::hours(5), false);
  enqueue("c");
  enqueue("p", true);
  enqueue("q", true);
  EXPECT_EQ(urls(), (Urls{"q", "p", "a", "b", "c"}));

  relaunch();
  EXPECT_EQ(urls(), (Urls{"q", "p", "a", "b", "c"}));
  const auto item = rule().getQueue()->data->at(1);
  EXPECT_TRUE(item->priority);
  EXPECT_EQ(item->qId.text()->size(), 36U);
  EXPECT_EQ(item->date, kNow);
  EXPECT_EQ(item->data, Value(toBytes("body of p")));
  EXPECT_EQ(item->method, Text("PUT"));
  EXPECT_EQ(fakes.files->contents[path], fakes.files->contents["/documents/ZQMQueueModel.plist"]);
}

TEST_F(QueueRuleTest, RemovalTakesTheVeryObjectAndWritesItsOddLine) {
  ZQMCore::setDebugMode(true);
  const std::string log = "/groups/group.example/queue_log.txt";
  rule().removeData(std::make_shared<const ZQMQueueDataModel>());
  EXPECT_FALSE(fakes.files->contents.contains(log));

  for (int i = 0; i < 300; ++i) enqueue(std::to_string(i));
  const auto queue = rule().getQueue();
  rule().removeData(std::make_shared<const ZQMQueueDataModel>(*queue->data->at(0)));
  EXPECT_EQ(rule().getQueue()->count(), 300U);
  EXPECT_NE(asText(fakes.files->contents[log]).find("Data is null"), std::string::npos);
  for (const std::size_t index : {0U, 127U, 128U, 299U}) rule().removeData(queue->data->at(index));
  ASSERT_EQ(rule().getQueue()->count(), 296U);
  EXPECT_EQ(rule().getQueue()->data->at(295)->url, Text("298"));
  EXPECT_THROW(static_cast<void>(rule().getQueue()->data->at(296)), Exception);
  EXPECT_EQ(queue->count(), 300U) << "what was read before stays as it was";
}

TEST_F(QueueRuleTest, ADamagedFileIsQuarantinedByTheNextStartAndReportedOnce) {
  enqueue("earlier");
  end();
  Bytes damaged = fakes.files->read(path).value();
  damaged.insert(damaged.end(), 30, 'x');
  for (const auto& [content, kept, left] :
       {std::tuple<Bytes, int, Urls>{toBytes("bplist00, as of old"), 1, {"a", "b"}},
        {Bytes(), 0, {"a", "b"}},
        {Bytes(5000), 0, {"a", "b"}},
        {damaged, 1, {"a", "earlier", "b"}}}) {
    fakes.files->contents = {{path, content}};
    fakes.http->sent.clear();
    launch();
    enqueue("a");
    rule().adoptQueues();
    enqueue("b");
    rule().adoptQueues();
    const auto isKept = [&content = content](const auto& file) {
      return file.first.find("-damaged-") != std::string::npos && file.second == content;
    };
    EXPECT_EQ(std::ranges::count_if(fakes.files->contents, isKept), kept);
    EXPECT_EQ(reports().size(), std::size_t(kept));
    relaunch();
    EXPECT_EQ(urls(), left);
    end();
  }
  launch();
}

TEST_F(QueueRuleTest, EveryValueIsStoredAndTheHostsObjectsStayTheSame) {
  const Dictionary odd = {{"url", "\xff"}, {"data", Value::Null()}, {"qId", List{kNow, -1, 0.5}}};
  ZQMQueueModel handed;
  handed.data = ZQMQueueModel::arrayToData({odd, "no item"});
  rule().refreshQueue(handed);
  EXPECT_EQ(rule().itemAt(0), handed.data->at(0));
  relaunch();
  EXPECT_EQ(rule().count(), 1U);
  EXPECT_EQ(rule().itemAt(0)->url, Text("\xff"));
  EXPECT_EQ(rule().itemAt(0)->data, odd["data"]);
  EXPECT_EQ(rule().itemAt(0)->qId, odd["qId"]);
}

TEST_F(QueueRuleTest, EveryItemIsCountedOnceAndOneBeyondABoundIsRefused) {
  enqueue("a");
  relaunch();
  rule().setBounds({.items = 3});
  for (const char* url : {"b", "c", "d", "e"}) enqueue(url, true);
  EXPECT_EQ(urls(), (Urls{"c", "b", "a"}));
  rule().removeDelivered(rule().getQueue()->data->at(0));
  const auto item = rule().getQueue()->data->at(0);
  rule().removeData(item);
  rule().removeDelivered(item);
  // "body of a", "a" and "PUT" are thirteen bytes, as are those of an item beyond.
  rule().setBounds({.bytes = 25});
  enqueue("f");
  rule().setBounds({.bytes = 26});
  enqueue("g");
  const auto [loaded, accepted, delivered, removed, pending, refused] = rule().counts();
  EXPECT_EQ((std::vector<std::uint64_t>{loaded, accepted, delivered, removed, pending, refused}),
            (std::vector<std::uint64_t>{1, 3, 1, 1, 2, 3}));
  EXPECT_EQ(reports().size(), 1U);
  // "a" stays; of the new ones the second is beyond the bound.
  ZQMQueueModel handed;
  handed.addData(rule().getQueue()->data->at(0));
  handed.addData(std::make_shared<ZQMQueueDataModel>(kNow, Bytes(22), "h", "PUT", false));
  handed.addData(std::make_shared<ZQMQueueDataModel>(kNow, Bytes(23), "i", "PUT", false));
  handed.addData(nullptr);
  handed.data->append(nullptr);
  rule().setBounds({.bytes = 39});
  rule().refreshQueue(handed);
  EXPECT_EQ(urls(), (Urls{"a", "h"}));
  EXPECT_EQ(rule().counts().accepted, 4U);
  EXPECT_EQ(rule().counts().removed, 2U);
  EXPECT_EQ(rule().counts().refused, 4U);
}

TEST_F(QueueRuleTest, RemovalTakesEveryOccurrenceOfAnObjectThatWasHandedOverTwice) {
  enqueue("a");
  enqueue("b");
  ZQMQueueModel handed = *rule().getQueue();
  handed.data->append(handed.data->at(0));
  rule().refreshQueue(handed);
  EXPECT_EQ(urls(), (Urls{"a", "b", "a"}));
  rule().removeData(rule().itemAt(2));
  EXPECT_EQ(urls(), (Urls{"b"}));
  EXPECT_EQ(rule().counts().removed, 2U);
  relaunch();
  EXPECT_EQ(urls(), (Urls{"b"}));
}

TEST_F(QueueRuleTest, TwoProcessesHaveFilesOfTheirOwnAndTheSurvivorTakesTheOthersItems) {
  enqueue("a");
  enqueue("p", true);
  {
    const zqm::testing::Launch other(fakes.platform());
    EXPECT_EQ(urls(), Urls());
    enqueue("b");
    enqueue("q", true);
    rule().adoptQueues();
    EXPECT_EQ(urls(), (Urls{"q", "b"})) << "the other file has an owner";
  }
  enqueue("c");
  rule().adoptQueues();
  EXPECT_EQ(urls(), (Urls{"q", "p", "a", "c", "b"}));
  EXPECT_EQ(rule().counts().loaded, 2U);
  EXPECT_EQ(files(), 1);
  relaunch();
  EXPECT_EQ(urls(), (Urls{"q", "p", "a", "c", "b"}));
}

// An adopter was killed before it could remove a file whose item it holds in another.
TEST_F(QueueRuleTest, WhatAnUnfinishedAdoptionLeftIsInOneProcessOnce) {
  const auto put = [this](const std::string& name, std::uint64_t id, const Urls& items,
                          const std::set<std::uint64_t>& adopted) {
    std::string file;
    putBegin(file, id, adopted);
    for (const std::string& url : items) {
      JournalItem item{std::make_shared<const ZQMQueueDataModel>(kNow, Bytes(), url, "POST", false),
                       items.size(), 0};
      putItem(file, id, End::tail, item);
    }
    fakes.files->put("/groups/group.example/" + name, toBytes(file));
  };
  put("ZQMQueueModel.plist", 7, {"a", "b"}, {8});
  put("ZQMQueueModel-x.plist", 8, {"b"}, {});
  EXPECT_EQ(urls(), (Urls{"a", "b"}));
  {
    const zqm::testing::Launch other(fakes.platform());
    rule().adoptQueues();
    EXPECT_EQ(urls(), Urls()) << "the owner does not hold that file, but its own tells of it";
    EXPECT_EQ(files(), 1);
  }
  relaunch();
  put("ZQMQueueModel.plist", 8, {"b"}, {});
  put("ZQMQueueModel-x.plist", 7, {"a", "b"}, {8});
  enqueue("c");
  EXPECT_EQ(urls(), (Urls{"c"})) << "the first name's item is in the other file";
  rule().adoptQueues();
  EXPECT_EQ(urls(), (Urls{"c", "a", "b"}));
  EXPECT_EQ(files(), 1);
}

TEST_F(QueueRuleTest, WhileAnotherProcessLooksAQueueStartsEmptyAndLooksAtItsNextStart) {
  enqueue("a");
  relaunch();
  fakes.journals->turn = Journals::Turn::others;
  EXPECT_EQ(urls(), Urls());
  enqueue("b");
  rule().adoptQueues();
  EXPECT_EQ(urls(), (Urls{"b"}));
  fakes.journals->turn = Journals::Turn::ours;
  rule().adoptQueues();
  EXPECT_EQ(urls(), (Urls{"b", "a"}));
}

TEST_F(QueueRuleTest, AFileThatCannotBeReadIsLeftReportedOnceAndTakenLater) {
  enqueue("a");
  relaunch();
  fakes.journals->unreadable.insert(path);
  enqueue("b");
  rule().adoptQueues();
  rule().adoptQueues();
  EXPECT_EQ(reports().size(), 1U);
  fakes.journals->unreadable.clear();
  rule().adoptQueues();
  EXPECT_EQ(urls(), (Urls{"b", "a"}));
}

TEST_F(QueueRuleTest, RefreshWithNoModelEmptiesTheMemoryAndLeavesTheFile) {
  enqueue("a");
  const auto item = rule().getQueue()->data->at(0);
  rule().refreshQueue(std::nullopt);
  rule().removeData(item);
  rule().adoptQueues();
  relaunch();
  EXPECT_EQ(urls(), (Urls{"a"}));
  // The next save is one of the whole queue, be it of an empty one.
  rule().refreshQueue(std::nullopt);
  EXPECT_TRUE(urls().empty());
  rule().removeData(item);
  relaunch();
  EXPECT_TRUE(urls().empty());
}

}  // namespace
}  // namespace zqm
