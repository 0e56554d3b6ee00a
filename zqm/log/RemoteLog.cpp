// The remote log: makes the records of errors and exceptions, and posts them.
#include "zqm/log/RemoteLog.h"

#include "zqm/endpoints/ZQMEndPoint.h"
#include "zqm/http/ZQMHttpRequest.h"
#include "zqm/http/ZQMReachability.h"
#include "zqm/log/ZQMDebugInfo.h"
#include "zqm/log/ZQMLogHandler.h"
#include "zqm/platform/Process.h"
#include "zqm/util/Date.h"

namespace zqm {
namespace {

// True while this thread builds or sends a report; failures meanwhile are not reported.
thread_local bool reporting = false;

void report(std::string_view message, std::string_view stacktrace, std::string_view module,
            std::int32_t level) {
  if (reporting) return;
  reporting = true;
  guarded([&] {
    if (currentNetwork() == kNotReachable) return;
    sendToRemoteLog(ZQMLogHandler::requestMessage(message, stacktrace, module, level));
  });
  reporting = false;
}

}  // namespace

void sendToRemoteLog(const Dictionary& record) {
  const auto data = toData(record);
  if (!data) return;
  const auto answered = [](const ZQMHttpResult&) {
    ZQMLogHandler::logToDebugWithText("GRAYLOG - Request with Response Success");
  };
  const auto failed = [](const Error& error) {
    ZQMLogHandler::logToDebugWithText("GRAYLOG - Request with Error " +
                                      error.localizedDescription());
  };
  ZQMHttpRequest::dataTaskWithUrl(ZQMEndPoint::graylogGelf(), "POST", data, answered, failed);
}

void ZQMLogHandler::logError(const Error& error, std::string_view moduleName,
                             std::int32_t logLevel) {
  report(error.localizedDescription(), Value(error.userInfo).textForm(), moduleName, logLevel);
}

void ZQMLogHandler::logException(const Exception& exception, std::string_view moduleName,
                                 std::int32_t logLevel) {
  report(exception.reason(), callStackText(exception.callStackSymbols()), moduleName, logLevel);
}

Dictionary ZQMLogHandler::requestMessage(std::string_view message, std::string_view stacktrace,
                                         std::string_view module, std::int32_t level) {
  const auto boolean = [](bool flag) { return flag ? "true" : "false"; };
  Dictionary record;
  record.set("host", "ios");
  record.set("level", std::to_string(level));
  record.set("message", message);
  record.set("dateTime", toString(platform().clock->now()));
  record.set("stackTrace", stacktrace);
  record.set("moduleName", module);
  record.set("sdkVersion", ZQMDebugInfo::getSdkVersion());
  record.set("systemVersion", ZQMDebugInfo::getSystemVersion());
  record.set("deviceManufacturer", ZQMDebugInfo::getDeviceManufacturer());
  record.set("deviceModel", ZQMDebugInfo::getDeviceModel());
  record.set("deviceCodename", ZQMDebugInfo::getDeviceCodename());
  record.set("appPackageName", ZQMDebugInfo::getAppBundleIdentifier());
  record.set("appVersionName", ZQMDebugInfo::getAppVersionName());
  record.set("appVersionBuild", ZQMDebugInfo::getAppVersionCode());
  record.set("isJailbreak", boolean(ZQMDebugInfo::isJailbreak()));
  record.set("storagePercentageFree", ZQMDebugInfo::getStoragePercentageFree());
  record.set("memoryPercentageFree", ZQMDebugInfo::getMemoryPercentageFree());
  record.set("batteryCharging", boolean(ZQMDebugInfo::isBatteryCharging()));
  record.set("batteryPercentage", ZQMDebugInfo::getBatteryPercentage());
  record.set("batteryTemperature", ZQMDebugInfo::getBatteryTemperature());
  return record;
}

}  // namespace zqm
