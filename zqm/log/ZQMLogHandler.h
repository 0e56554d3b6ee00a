// ZQMLogHandler: what everything reports through. A port: any source may include it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Error.h"
#include "zqm/base/Exception.h"
#include "zqm/platform/Http.h"

namespace zqm {

// The modules on whose behalf a report is made or a work item runs.
inline constexpr const char* kCoreModule = "zqm-core";
inline constexpr const char* kConfigModule = "zqm-config";
inline constexpr const char* kDeviceBehaviorModule = "zqm-devicebehavior";
inline constexpr const char* kGeoBehaviorModule = "zqm-geobehavior";

// Reports from any thread. Nothing here throws, and a failure while a report is built, written or
// sent is dropped.
class ZQM_EXPORT ZQMLogHandler {
 public:
  // The console outlet: the text is dropped, in debug mode too.
  static void logToDebugWithText(std::string_view text);

  // Appends an entry to a file of the group container and copies the file to the documents; drops
  // entries older than four days. Only in debug mode.
  static void logToFile(const std::string& fileName, std::string_view text);

  // How large a log file may be, in bytes; 0, as long as no host sets a bound, for none. The oldest
  // entries go first, which is reported once for each; an entry that is larger by itself is not
  // written.
  static void setFileBound(std::size_t bytes);

  // Writes one HTTP exchange to "log_http.txt". `time` is in seconds.
  static void logHttpRequestToFile(std::string_view url, const std::optional<HttpRequest>& request,
                                   const std::optional<HttpResponse>& response,
                                   const std::optional<Bytes>& data, double time,
                                   const std::optional<Error>& error);

  // Post a record to the remote log, unless there is no connection. Never retried.
  static void logError(const Error& error, std::string_view moduleName, std::int32_t logLevel);
  static void logException(const Exception& exception, std::string_view moduleName,
                           std::int32_t logLevel);

  // The record that the remote log receives; a fact that is not known has no key.
  static Dictionary requestMessage(std::string_view message, std::string_view stacktrace,
                                   std::string_view module, std::int32_t level);
};

// For `guarded`: reports an exception under a module, whose name has to last, at a level.
constexpr auto reportAs(std::string_view module, std::int32_t level) {
  return [module, level](const Exception& exception) {
    ZQMLogHandler::logException(exception, module, level);
  };
}

}  // namespace zqm
