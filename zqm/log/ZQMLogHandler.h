// ZQMLogHandler: logging and reporting for all sources. A port: any source may include it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Error.h"
#include "zqm/base/Exception.h"
#include "zqm/platform/Http.h"

namespace zqm {

// The modules under whose name reports are made and work items run.
inline constexpr const char* kCoreModule = "zqm-core";
inline constexpr const char* kConfigModule = "zqm-config";
inline constexpr const char* kDeviceBehaviorModule = "zqm-devicebehavior";
inline constexpr const char* kGeoBehaviorModule = "zqm-geobehavior";

// Thread-safe; nothing throws. Failures to build, write or send a report are ignored.
class ZQM_EXPORT ZQMLogHandler {
 public:
  // The console outlet. Drops the text, even in debug mode.
  static void logToDebugWithText(std::string_view text);

  // In debug mode, appends an entry to a file of the group container, drops entries older than four
  // days, and copies the file to the documents directory.
  static void logToFile(const std::string& fileName, std::string_view text);

  // Limits the size of each log file in bytes; 0, the default, is unlimited. Beyond it, the oldest
  // entries are dropped, and the first drop in each file is reported. An entry larger than the
  // limit is not written.
  static void setFileBound(std::size_t bytes);

  // Writes one HTTP exchange to "log_http.txt". `time` is in seconds.
  static void logHttpRequestToFile(std::string_view url, const std::optional<HttpRequest>& request,
                                   const std::optional<HttpResponse>& response,
                                   const std::optional<Bytes>& data, double time,
                                   const std::optional<Error>& error);

  // Posts a record to the remote log, once and only if there is a connection.
  static void logError(const Error& error, std::string_view moduleName, std::int32_t logLevel);
  static void logException(const Exception& exception, std::string_view moduleName,
                           std::int32_t logLevel);

  // Returns the record of a report for the remote log; unknown facts have no key.
  static Dictionary requestMessage(std::string_view message, std::string_view stacktrace,
                                   std::string_view module, std::int32_t level);
};

// For `guarded`: reports an exception under a module, whose name must stay valid, at a level.
constexpr auto reportAs(std::string_view module, std::int32_t level) {
  return [module, level](const Exception& exception) {
    ZQMLogHandler::logException(exception, module, level);
  };
}

}  // namespace zqm
