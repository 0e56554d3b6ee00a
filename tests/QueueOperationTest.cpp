// Queue runs: what is sent, what leaves the queue, which runs follow.
#include "zqm/queue/ZQMQueueOperation.h"

#include "tests/support/FakePlatform.h"
#include "zqm/config/ZQMConfigRule.h"
#include "zqm/core/ZQMCoreRequest.h"
#include "zqm/core/user/ZQMUserModel.h"
#include "zqm/model/ZQMDatabase.h"
#include "zqm/queue/SendDecision.h"
#include "zqm/queue/ZQMQueueRule.h"

namespace zqm::testing {
namespace {

using namespace std::chrono_literals;
using Numbers = std::vector<int>;

constexpr int kAll = ~0;

// Item "n" goes to http://queue.test/n.
class QueueOperationTest : public Fixture {
 protected:
  QueueOperationTest() {
    ZQMDatabase::saveObject<ZQMUserModel>(ZQMUserModel());
    answerFailing(0);
  }

  static int numberIn(std::string_view url) { return url.back() - '0'; }

  // The backend fails item n where bit n is set.
  void answerFailing(int items) {
    fakes.http->answer = [items](const HttpRequest& request) {
      const bool isItem = request.url.starts_with("http://queue.test/");
      return FakeHttp::answered(isItem && (items >> numberIn(request.url) & 1) ? 500 : 200, "");
    };
  }

  static void enqueue(int number, bool priority = false) {
    ZQMQueueRule::sharedInstance().enqueue("http://queue.test/" + std::to_string(number),
                                           toBytes("{}"), "DELETE", kNow, priority);
  }

  void run() {
    ZQMQueueOperation::start();
    process->drain();
  }

  // Another process, with an empty queue.
  void startOver() {
    relaunch();
    ZQMQueueRule::sharedInstance().refreshQueue(ZQMQueueModel());
    fakes.http->sent.clear();
  }

  Numbers sent() {
    Numbers numbers;
    for (const HttpRequest& request : fakes.http->requestsTo("queue.test")) {
      numbers.push_back(numberIn(request.url));
    }
    return numbers;
  }

  static Numbers left() {
    Numbers numbers;
    for (const Value& item : ZQMQueueRule::sharedInstance().getQueue()->dataToArray()) {
      numbers.push_back(numberIn(*(*item.dictionary())["url"].text()));
    }
    return numbers;
  }
};

TEST_F(QueueOperationTest, SkipsTheItemAfterADeliveredOneAndEndsOnTheRangeError) {
  for (const auto& [failing, isError, expected, remaining] :
       std::vector<std::tuple<int, bool, Numbers, Numbers>>{
           {0b0000, true, {1, 3}, {2}},
           {0b0010, true, {1, 2}, {1, 3}},
           {0b1000, true, {1, 3}, {2, 3}},
           {0b0110, false, {1, 2, 3, 1, 2}, {1, 2}},
           {0b1110, false, {1, 2, 3, 1, 2, 3}, {1, 2, 3}}}) {
    SCOPED_TRACE(failing);
    startOver();
    answerFailing(failing);
    for (int i = 1; i <= 3; ++i) enqueue(i);
    run();
    EXPECT_EQ(sent(), expected);
    EXPECT_EQ(left(), remaining);
    const auto reported = reports();
    ASSERT_EQ(reported.size(), isError ? 1U : 0U);
    if (isError) {
      EXPECT_EQ(reported[0]["moduleName"], Value("zqm-config"));
    }
    EXPECT_EQ(fakes.http->requestsTo("queue.test").at(0).method, "POST");
  }
}

TEST_F(QueueOperationTest, OnlyAnAcceptedOrUnwantedItemCountsAsDelivered) {
  const std::vector<std::tuple<HttpExchange, bool, std::size_t>> cases = {
      {FakeHttp::answered(200, "done"), true, 0},
      {FakeHttp::answered(404, "\xff"), true, 0},
      {FakeHttp::answered(200, "\xff"), false, 0},
      {FakeHttp::answered(201, ""), false, 0},
      {FakeHttp::failed(), false, 1}};
  for (const auto& [exchange, delivered, reported] : cases) {
    fakes.http->sent.clear();
    fakes.http->answer = [&exchange = exchange](const HttpRequest&) { return exchange; };
    EXPECT_EQ(ZQMCoreRequest::sendQueueWithUrl("http://queue.test/1", toBytes("{}")), delivered);
    EXPECT_EQ(reports().size(), reported);
  }
}

TEST_F(QueueOperationTest, DeliveryWhoseCallbackIsNeverCalledEndsAsNotDelivered) {
  struct SilentHttp : FakeHttp {
    void send(HttpRequest request, std::function<void(HttpExchange)>) override {
      if (request.url == "throw") throw std::runtime_error("no transport");
    }
  };
  fakes.http = std::make_shared<SilentHttp>();
  relaunch();
  EXPECT_FALSE(ZQMCoreRequest::sendQueueWithUrl("http://queue.test/1", std::nullopt));
  EXPECT_FALSE(ZQMCoreRequest::sendQueueWithUrl("throw", std::nullopt));
}

TEST_F(QueueOperationTest, OrdinaryItemsWaitForWifiOrTheirHoursAndPrioritisedOnesForNothing) {
  const auto decide = [](bool priority, bool onWifi, std::optional<Date> date, std::int32_t hours) {
    return sendDecision({priority, date, onWifi, hours, kNow}).reason;
  };
  EXPECT_EQ(decide(false, false, kNow - 3h, 3), SendReason::oldEnough);
  EXPECT_EQ(decide(false, false, kNow - 3h + 1ms, 3), SendReason::heldBack);
  EXPECT_EQ(decide(false, false, kNow, -1), SendReason::oldEnough);
  EXPECT_EQ(decide(false, false, kNow, INT32_MAX), SendReason::heldBack);
  EXPECT_EQ(decide(false, false, std::nullopt, 0), SendReason::undated);
  EXPECT_EQ(decide(false, true, std::nullopt, 9), SendReason::onWifi);
  EXPECT_EQ(decide(true, false, std::nullopt, 9), SendReason::prioritised);
}

TEST_F(QueueOperationTest, MinutesBeforeRetryHaveNoSay) {
  ZQMConfigRule::sharedInstance().updateAndPersist({{"minutesBeforeRetryQueue", INT32_MAX}});
  enqueue(1);
  run();
  EXPECT_EQ(sent(), (Numbers{1}));
}

TEST_F(QueueOperationTest, FailuresScheduleFourRunsIfPrioritisedAndElseOneInTheWholeProcess) {
  answerFailing(kAll);
  for (const auto& [priority, further] : {std::pair(true, 4U), {false, 1U}}) {
    startOver();
    enqueue(1, priority);
    run();
    EXPECT_EQ(sent().size(), 1 + further);
    // The counter is never reset, so that each further run stays alone.
    run();
    EXPECT_EQ(sent().size(), 2 + further);
    relaunch();
    run();
    EXPECT_EQ(sent().size(), 3 + 2 * further);
    EXPECT_EQ(left(), Numbers{1});
  }
}

TEST_F(QueueOperationTest, NothingIsSentOrScheduledWithoutAUser) {
  ZQMDatabase::remove<ZQMUserModel>();
  enqueue(1);
  run();
  EXPECT_TRUE(sent().empty());
  EXPECT_TRUE(reports().empty());
}

}  // namespace
}  // namespace zqm::testing
