// The queue: its order, what survives, what two writers do to each other.
#include "zqm/queue/ZQMQueueRule.h"

#include "tests/support/FakePlatform.h"
#include "zqm/base/Exception.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/queue/ZQMBlockOperation.h"
#include "zqm/queue/ZQMExecutorOperation.h"
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
  const auto stranger = std::make_shared<const ZQMQueueDataModel>();
  rule().removeData(stranger);
  EXPECT_FALSE(fakes.files->contents.contains(log));

  for (int i = 0; i < 300; ++i) enqueue(std::to_string(i));
  const auto queue = rule().getQueue();
  rule().removeData(std::make_shared<const ZQMQueueDataModel>(*queue->data->at(0)));
  EXPECT_EQ(rule().getQueue()->count(), 300U);
  EXPECT_NE(asText(fakes.files->contents[log]).find("Data is null"), std::string::npos);
  for (const std::size_t index : {0U, 127U, 128U, 299U}) rule().removeData(queue->data->at(index));
  EXPECT_EQ(rule().getQueue()->count(), 296U);
  EXPECT_EQ(rule().getQueue()->data->at(295)->url, Text("298"));
  EXPECT_THROW(static_cast<void>(rule().getQueue()->data->at(296)), Exception);
  // What was read before stays as it was.
  EXPECT_EQ(queue->count(), 300U);
  EXPECT_EQ(queue->data->at(299)->url, Text("299"));
}

TEST_F(QueueRuleTest, UnreadableFileIsKeptBesideTheFirstSaveAndReportedOnce) {
  for (const auto& [content, readable] : {std::pair<Bytes, bool>{toBytes("damaged"), false},
                                          {{}, true},
                                          {*writePropertyList(List{1}), false},
                                          {*writePropertyList(Dictionary{}), true}}) {
    relaunch();
    fakes.files->contents.clear();
    fakes.http->sent.clear();
    fakes.files->put(path, content);
    EXPECT_EQ(rule().getQueue()->count(), 0U);
    EXPECT_EQ(fakes.files->contents[path], content);
    enqueue("a");
    enqueue("b");
    process->drain();
    int kept = 0;
    for (const auto& [name, bytes] : fakes.files->contents) {
      if (name.find("-damaged-") != std::string::npos && bytes == content) ++kept;
    }
    EXPECT_EQ(kept, readable ? 0 : 1);
    EXPECT_EQ(fakes.http->requestsTo("graylog").size(), readable ? 0U : 1U);
    relaunch();
    EXPECT_EQ(urls(), (Urls{"a", "b"}));
  }
}

TEST_F(QueueRuleTest, FileThatCouldNotBeLookedAtIsNotWrittenOver) {
  enqueue("a");
  const auto main = fakes.packages->main;
  relaunch();
  fakes.packages->main.reset();
  enqueue("b");
  EXPECT_EQ(urls(), (Urls{"b"}));
  fakes.packages->main = main;
  enqueue("c");
  EXPECT_EQ(urls(), (Urls{"a", "b", "c"}));
  relaunch();
  EXPECT_EQ(urls(), (Urls{"a", "b", "c"}));
}

TEST_F(QueueRuleTest, DamagedItemsAreReadAsFarAsTheyGo) {
  const List items = {Dictionary{{"url", "a"}, {"date", "yesterday"}, {"priority", "maybe"}}, 7,
                      Dictionary{{"url", 5}, {"data", "text"}}, Dictionary{}};
  fakes.files->put(path, *writePropertyList(Dictionary{{"data", items}}));
  EXPECT_EQ(urls(), (Urls{"a", "5", "(null)"}));
  EXPECT_FALSE(rule().getQueue()->data->at(0)->date.has_value());
}

TEST_F(QueueRuleTest, TextThatNoFileCanHoldKeepsNoOtherItemFromBeingSaved) {
  rule().enqueue("\xff\xfe", Bytes{0, 255, 0}, std::string("G\0T", 3), std::nullopt, false);
  enqueue("b");
  relaunch();
  EXPECT_EQ(urls(), (Urls{"(null)", "b"}));
  EXPECT_EQ(rule().getQueue()->data->at(0)->data, Value(Bytes{0, 255, 0}));
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
  // "body of a" and "a" are ten bytes, as are those of an item beyond.
  rule().setBounds({.bytes = 19});
  enqueue("f");
  rule().setBounds({.bytes = 20});
  enqueue("g");
  const QueueCounts counts = rule().counts();
  EXPECT_EQ(counts.loaded, 1U);
  EXPECT_EQ(counts.accepted, 3U);
  EXPECT_EQ(counts.delivered, 1U);
  EXPECT_EQ(counts.removed, 1U);
  EXPECT_EQ(counts.pending, 2U);
  EXPECT_EQ(counts.refused, 3U);
  process->drain();
  EXPECT_EQ(fakes.http->requestsTo("graylog").size(), 1U);
  rule().refreshQueue(ZQMQueueModel());
  EXPECT_EQ(rule().counts().removed, 3U);
}

TEST_F(QueueRuleTest, RefreshWithNoModelEmptiesTheMemoryAndLeavesTheFile) {
  enqueue("a");
  const auto item = rule().getQueue()->data->at(0);
  rule().refreshQueue(std::nullopt);
  rule().removeData(item);
  EXPECT_TRUE(urls().empty());
  relaunch();
  EXPECT_EQ(urls(), (Urls{"a"}));
  ZQMQueueModel other;
  other.data = ZQMQueueModel::arrayToData(
      {Dictionary{{"url", "z"}}, "no item", Dictionary{{"url", "\xff"}, {"data", Value::Null()}}});
  rule().refreshQueue(other);
  relaunch();
  EXPECT_EQ(urls(), (Urls{"z", "(null)"}));
}

TEST_F(QueueRuleTest, TwoCallersStartOneRun) {
  rule().startQueue();
  EXPECT_TRUE(ZQMExecutorOperation::sharedInstance().operations().empty());
  enqueue("a");
  const auto waiting = ZQMBlockOperation::initWithModuleName("zqm-core", [] {
    rule().startQueue();
    rule().startQueue();
    EXPECT_EQ(ZQMExecutorOperation::sharedInstance().operations().size(), 1U);
  });
  waiting->setName("block-queue");
  ZQMExecutorOperation::sharedInstance().execute(waiting);
  process->drain();
}

}  // namespace
}  // namespace zqm
