// Local log files and the records of the remote log.
#include "zqm/log/ZQMLogHandler.h"

#include <thread>

#include "tests/support/FakePlatform.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/util/Date.h"
#include "zqm/util/Json.h"

namespace zqm {
namespace {

using zqm::testing::kNow;

class LogHandlerTest : public zqm::testing::Fixture {
 protected:
  static constexpr const char* kPath = "/groups/group.example/queue_log.txt";

  std::string content(const char* path = kPath) {
    const auto bytes = fakes.files->read(path);
    return bytes ? std::string(asText(*bytes)) : "";
  }

  std::vector<Dictionary> reports() {
    process->drain();
    std::vector<Dictionary> records;
    for (const HttpRequest& request : fakes.http->requestsTo("graylog")) {
      records.push_back(*readJson(asText(request.body.value())).value.dictionary());
    }
    return records;
  }
};

TEST_F(LogHandlerTest, FilesAreWrittenInDebugModeOnlyAndCopiedToTheDocuments) {
  ZQMLogHandler::logToFile("queue_log.txt", "one");
  EXPECT_TRUE(fakes.files->written.empty());
  ZQMCore::setDebugMode(true);
  ZQMLogHandler::logToFile("queue_log.txt", "one");
  EXPECT_EQ(content(), "\n\n2024-03-05T15:10:00-03:00 one");
  ZQMLogHandler::logToFile("queue_log.txt", "two");
  EXPECT_EQ(content(), "\n\n2024-03-05T15:10:00-03:00 one\n\n2024-03-05T15:10:00-03:00 two");
  EXPECT_EQ(content("/documents/queue_log.txt"), content());
}

TEST_F(LogHandlerTest, EntriesOlderThanFourDaysAndUndatedPiecesGoAtTheNextWrite) {
  ZQMCore::setDebugMode(true);
  ZQMLogHandler::logToFile("queue_log.txt", "old");
  fakes.clock->advance(std::chrono::hours(24));
  ZQMLogHandler::logToFile("queue_log.txt", "with an empty line\n\nlost continuation");
  fakes.clock->instant = addDay(kNow, 4);
  ZQMLogHandler::logToFile("queue_log.txt", "exactly four days later");
  EXPECT_NE(content().find(" old"), std::string::npos);
  EXPECT_EQ(content().find("lost continuation"), std::string::npos);
  fakes.clock->advance(std::chrono::seconds(1));
  ZQMLogHandler::logToFile("queue_log.txt", "last");
  EXPECT_EQ(content().find(" old"), std::string::npos);
  EXPECT_NE(content().find("with an empty line"), std::string::npos);
}

TEST_F(LogHandlerTest, HistoryWithoutAnyKeptEntryLeavesItsSeparatorInFront) {
  ZQMCore::setDebugMode(true);
  fakes.files->put(kPath, toBytes("\n\n2020-01-01T00:00:00-03:00 old"));
  ZQMLogHandler::logToFile("queue_log.txt", "new");
  EXPECT_EQ(content(), "\n\n\n\n2024-03-05T15:10:00-03:00 new");
}

TEST_F(LogHandlerTest, FailedWriteIsNotCopiedAndUnreadableHistoryCountsAsNone) {
  ZQMCore::setDebugMode(true);
  fakes.files->readOnly = true;
  ZQMLogHandler::logToFile("queue_log.txt", "one");
  EXPECT_EQ(fakes.files->written, std::vector<std::string>{kPath});
  fakes.files->readOnly = false;
  fakes.files->put(kPath, Bytes{0xff, 0xfe});
  ZQMLogHandler::logToFile("queue_log.txt", "one");
  EXPECT_EQ(content(), "\n\n2024-03-05T15:10:00-03:00 one");
}

TEST_F(LogHandlerTest, ConcurrentWritersLoseNoEntry) {
  ZQMCore::setDebugMode(true);
  std::vector<std::thread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([this] {
      const Process::Scope bound(*process);
      for (int n = 0; n < 10; ++n) ZQMLogHandler::logToFile("queue_log.txt", "entry");
    });
  }
  for (std::thread& writer : writers) writer.join();
  std::size_t entries = 0;
  const std::string text = content();
  for (auto at = text.find(" entry"); at != std::string::npos; at = text.find(" entry", at + 1)) {
    ++entries;
  }
  EXPECT_EQ(entries, 40U);
}

TEST_F(LogHandlerTest, RecordIsFlatOrderedAndLeavesUnknownFactsOut) {
  fakes.power->charge = -1.0F;
  ZQMLogHandler::logError({"Domain", 5, {{"k", "v"}}, ""}, "zqm-config", 4);
  ASSERT_EQ(reports().size(), 1U);
  const Dictionary record = reports()[0];
  std::string keys;
  for (const auto& [key, value] : record) keys += key + " ";
  EXPECT_EQ(keys,
            "host level message dateTime stackTrace moduleName sdkVersion systemVersion "
            "deviceManufacturer deviceCodename appPackageName appVersionName appVersionBuild "
            "isJailbreak storagePercentageFree memoryPercentageFree batteryCharging "
            "batteryPercentage ");
  EXPECT_EQ(record["host"], Value("ios"));
  EXPECT_EQ(record["level"], Value("4"));
  EXPECT_EQ(record["message"], Value("The operation couldn't be completed. (Domain error 5.)"));
  EXPECT_EQ(record["dateTime"], Value("2024-03-05T15:10:00-03:00"));
  EXPECT_NE(record["stackTrace"].text()->find("k = v"), std::string::npos);
  EXPECT_EQ(record["isJailbreak"], Value("false"));
  EXPECT_EQ(record["batteryPercentage"].intValue(), -100);
}

TEST_F(LogHandlerTest, TextOfAnErrorIsItsDescriptionBehindANewDomain) {
  const Error described{"Domain", 5, {{std::string(kLocalizedDescriptionKey), "Timed out."}}, ""};
  EXPECT_EQ(described.localizedDescription(), "Timed out.");
  EXPECT_EQ(described.rewrapped("Could not start.").localizedDescription(),
            "Could not start. Timed out.");
  const Error bare = Error{"Domain", 5, {}, ""}.rewrapped("Could not start.");
  EXPECT_EQ(bare.localizedDescription(),
            "Could not start. The operation couldn't be completed. (Domain error 5.)");
  EXPECT_EQ(bare.code, 5);
}

TEST_F(LogHandlerTest, ReportsGoOutOnCellularAndWifiButNotOffline) {
  fakes.network->setOffline();
  ZQMLogHandler::logException(Exception("n", "offline"), "zqm-core", 2);
  EXPECT_TRUE(reports().empty());
  fakes.network->setCellular();
  ZQMLogHandler::logException(Exception("n", "cellular"), "zqm-core", 2);
  ASSERT_EQ(reports().size(), 1U);
  EXPECT_EQ(reports()[0]["message"], Value("cellular"));
  EXPECT_EQ(reports()[0]["stackTrace"].text()->substr(0, 1), "(");
}

TEST_F(LogHandlerTest, ReportThatCannotBeBuiltOrSentIsDroppedAndNotReportedItself) {
  ZQMLogHandler::logException(Exception("n", "not \xff UTF-8"), "zqm-core", 2);
  EXPECT_TRUE(reports().empty());
  ZQMLogHandler::logException(Exception("n", "fine"), "zqm-core", 2);
  EXPECT_EQ(reports().size(), 1U);
}

}  // namespace
}  // namespace zqm
