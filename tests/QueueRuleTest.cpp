// The queue: its order, what survives, what two writers do to each other.
#include "zqm/queue/ZQMQueueRule.h"

#include <future>

#include "tests/support/FakePlatform.h"
#include "zqm/base/Exception.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/util/PropertyList.h"

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

TEST_F(QueueRuleTest, UnreadableFileIsKeptBesideTheFirstSaveAndReportedOnce) {
  for (const auto& [content, damaged] : {std::pair<Bytes, int>{toBytes("damaged"), 1},
                                         {{}, 0},
                                         {*writePropertyList(List{1}), 1},
                                         {*writePropertyList(Dictionary{}), 0}}) {
    relaunch();
    fakes.files->contents = {{path, content}};
    fakes.http->sent.clear();
    enqueue("a");
    enqueue("b");
    process->drain();
    const auto isKept = [&content = content](const auto& file) {
      return file.first.find("-damaged-") != std::string::npos && file.second == content;
    };
    EXPECT_EQ(std::ranges::count_if(fakes.files->contents, isKept), damaged);
    EXPECT_EQ(fakes.http->requestsTo("graylog").size(), std::size_t(damaged));
    relaunch();
    EXPECT_EQ(urls(), (Urls{"a", "b"}));
  }
}

TEST_F(QueueRuleTest, TextThatNoFileCanHoldKeepsNoOtherItemFromBeingSaved) {
  ZQMQueueModel handed;
  handed.data =
      ZQMQueueModel::arrayToData({Dictionary{{"url", "\xff"}, {"data", Value::Null()}}, "no item"});
  rule().refreshQueue(handed);
  rule().enqueue("\xff\xfe", Bytes{0, 255, 0}, std::string("G\0T", 3), std::nullopt, false);
  enqueue("b");
  relaunch();
  EXPECT_EQ(urls(), (Urls{"(null)", "(null)", "b"}));
  EXPECT_EQ(rule().getQueue()->data->at(1)->data, Value(Bytes{0, 255, 0}));
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
  process->drain();
  EXPECT_EQ(fakes.http->requestsTo("graylog").size(), 1U);
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

TEST_F(QueueRuleTest, WhatNoFileCanHoldIsRefusedAndKeepsNoOtherItemFromBeingSaved) {
  rule().enqueue("beyond", Bytes(33 << 20), "POST", kNow, false);
  for (int i = 0; i < 9; ++i) rule().enqueue("large", Bytes(4 << 20), "POST", kNow, false);
  enqueue("small");
  const QueueCounts counts = rule().counts();
  EXPECT_EQ(counts.accepted, 8U);
  EXPECT_EQ(counts.refused, 3U);
  relaunch();
  EXPECT_EQ(rule().counts().pending, counts.pending);
  EXPECT_EQ(urls().back(), "small");
}

TEST_F(QueueRuleTest, EnqueueDoesNotWaitForTheDiskThatOneWhoRemovesWaitsFor) {
  struct Disk : zqm::testing::FakeFiles {
    std::unique_ptr<GrowingFile> prepare(const std::string& place, const std::string& copy,
                                         const Bytes& content) override {
      isFree.wait();
      return FakeFiles::prepare(place, copy, content);
    }
    std::shared_future<void> isFree;
  };
  std::promise<void> isFree;
  isFree.set_value();
  const auto disk = std::make_shared<Disk>();
  disk->isFree = isFree.get_future();
  fakes.files = disk;
  relaunch();
  for (int i = 0; i < 3; ++i) rule().enqueue("large", Bytes(100'000), "POST", kNow, false);
  std::promise<void> later;
  disk->isFree = later.get_future();
  const auto inOtherThread = [&](const std::function<void()>& work) {
    return std::async(std::launch::async, process->bind(work));
  };
  auto removal = inOtherThread([&] {
    while (rule().counts().pending > 0) rule().removeData(rule().getQueue()->data->at(0));
  });
  // The first of them leaves a file of more than twice its content.
  EXPECT_EQ(removal.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  auto enqueued = inOtherThread([] { enqueue("new", true); });
  EXPECT_EQ(enqueued.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  later.set_value();
  // They count as work under way for as long as they are held.
  removal = {};
  enqueued = {};
  EXPECT_LT(disk->read(path).value().size(), 65'000U);
  relaunch();
  EXPECT_TRUE(urls().empty());
}

TEST_F(QueueRuleTest, RefreshWithNoModelEmptiesTheMemoryAndLeavesTheFile) {
  enqueue("a");
  const auto item = rule().getQueue()->data->at(0);
  rule().refreshQueue(std::nullopt);
  rule().removeData(item);
  EXPECT_TRUE(urls().empty());
  relaunch();
  EXPECT_EQ(urls(), (Urls{"a"}));
}

}  // namespace
}  // namespace zqm
