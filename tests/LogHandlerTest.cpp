// Local log files and the records of the remote log.
#include "zqm/log/ZQMLogHandler.h"

#include "tests/support/FakePlatform.h"
#include "tests/support/Threads.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/util/Date.h"

namespace zqm::testing {
namespace {

class LogHandlerTest : public Fixture {
 protected:
  LogHandlerTest() { ZQMCore::setDebugMode(true); }

  static constexpr const char* kPath = "/groups/group.example/queue_log.txt";

  static void log(std::string_view text) { ZQMLogHandler::logToFile("queue_log.txt", text); }

  std::string content() { return std::string(asText(fakes.files->read(kPath).value())); }
};

TEST_F(LogHandlerTest, FilesAreWrittenInDebugModeOnlyAndCopiedToTheDocuments) {
  ZQMCore::setDebugMode(false);
  log("none");
  EXPECT_TRUE(fakes.files->written.empty());
  ZQMCore::setDebugMode(true);
  log("one");
  log("two");
  EXPECT_EQ(content(), "\n\n2024-03-05T15:10:00-03:00 one\n\n2024-03-05T15:10:00-03:00 two");
  EXPECT_EQ(fakes.files->read("/documents/queue_log.txt"), fakes.files->read(kPath));
  fakes.files->put(kPath, Bytes{0xff, 0xfe});
  log("after what is no text");
  EXPECT_EQ(content(), "\n\n2024-03-05T15:10:00-03:00 after what is no text");
}

TEST_F(LogHandlerTest, EntriesOlderThanFourDaysAndUndatedPiecesGoAtTheNextWrite) {
  log("old");
  fakes.clock->advance(std::chrono::hours(24));
  log("with an empty line\n\nlost continuation");
  fakes.clock->instant = addDay(kNow, 4);
  log("exactly four days later");
  EXPECT_NE(content().find(" old"), std::string::npos);
  EXPECT_EQ(content().find("lost continuation"), std::string::npos);
  fakes.clock->advance(std::chrono::seconds(1));
  log("last");
  EXPECT_EQ(content().find(" old"), std::string::npos);
  EXPECT_NE(content().find("with an empty line"), std::string::npos);
}

TEST_F(LogHandlerTest, HistoryWithoutAnyKeptEntryLeavesItsSeparatorInFront) {
  fakes.files->put(kPath, toBytes("\n\n2020-01-01T00:00:00-03:00 old"));
  log("new");
  EXPECT_EQ(content(), "\n\n\n\n2024-03-05T15:10:00-03:00 new");
}

TEST_F(LogHandlerTest, ConcurrentWritersLoseNoEntry) {
  onThreads(4, [this](int) {
    const Process::Scope bound(*process);
    for (int n = 0; n < 10; ++n) log("entry");
  });
  EXPECT_EQ(content().size(), 40 * std::string("\n\n2024-03-05T15:10:00-03:00 entry").size());
}

TEST_F(LogHandlerTest, RecordIsFlatOrderedAndLeavesUnknownFactsOut) {
  fakes.power->charge = -1.0F;
  ZQMLogHandler::logError({"Domain", 5, {{"k", "v"}}, ""}, "zqm-config", 4);
  const Dictionary record = reports().at(0);
  std::string keys;
  for (const auto& [key, value] : record) keys += key + " ";
  EXPECT_EQ(keys,
            "host level message dateTime stackTrace moduleName sdkVersion systemVersion "
            "deviceManufacturer deviceCodename appPackageName appVersionName appVersionBuild "
            "isJailbreak storagePercentageFree memoryPercentageFree batteryCharging "
            "batteryPercentage ");
  EXPECT_EQ(record["message"], Value("The operation couldn't be completed. (Domain error 5.)"));
  EXPECT_NE(record["stackTrace"].text()->find("k = v"), std::string::npos);
  EXPECT_EQ(record["batteryPercentage"].intValue(), -100);
}

TEST_F(LogHandlerTest, ReportThatCannotBeBuiltOrSentIsDroppedAndNotReportedItself) {
  const auto report = [](const char* reason) {
    ZQMLogHandler::logException(Exception("n", reason), "zqm-core", 2);
  };
  fakes.network->setOffline();
  report("offline");
  fakes.network->setCellular();
  report("not \xff UTF-8");
  EXPECT_TRUE(reports().empty());
  report("cellular");
  EXPECT_EQ(reports().size(), 1U);
}

TEST_F(LogHandlerTest, OldestEntriesGoFirstAtTheBoundWhichIsReportedOnceForEachFile) {
  ZQMLogHandler::setFileBound(100);
  for (const char* text : {"one", "two", "three", "four"}) log(text);
  EXPECT_EQ(content().size(), 96U);
  EXPECT_EQ(content().find("one"), std::string::npos);
  const std::string before = content();
  log(std::string(100, 'x'));
  EXPECT_EQ(content(), before);
  EXPECT_EQ(reports().size(), 1U);
  ZQMLogHandler::setFileBound(40);
  log(std::string(100, 'x'));
  EXPECT_EQ(content(), "\n\n2024-03-05T15:10:00-03:00 four");
  ZQMLogHandler::logToFile("other.txt", std::string(100, 'x'));
  EXPECT_EQ(reports().size(), 2U);
}

}  // namespace
}  // namespace zqm::testing
