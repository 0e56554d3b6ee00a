// The local log files. RemoteLog.cpp has the rest of the class.
#include "zqm/log/ZQMLogHandler.h"

#include <atomic>
#include <set>
#include <vector>

#include "zqm/base/Mutex.h"
#include "zqm/core/ZQMCore.h"
#include "zqm/core/settings/Resources.h"
#include "zqm/platform/Process.h"
#include "zqm/util/Date.h"
#include "zqm/util/Json.h"
#include "zqm/util/Numbers.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

constexpr int kDaysKept = 4;
constexpr std::string_view kSeparator = "\n\n";

// Held while a log file is read and replaced, so that concurrent writers lose no entries.
PerProcess<Mutex> fileLock;

PerProcess<std::atomic<std::size_t>> fileBound;

// The files that have reached their limit, as reported; guarded by `fileLock`.
PerProcess<std::set<std::string>> reportedFiles;

// Returns the entries that are not older than the cutoff. A piece without a date, such as the part
// of an entry after an empty line, is dropped.
std::string keptEntries(std::string_view content, Date cutoff) {
  std::string kept;
  while (true) {
    const auto end = content.find(kSeparator);
    const std::string_view piece = content.substr(0, end);
    if (greaterThanDate(parse(piece.substr(0, piece.find(' '))), cutoff)) {
      if (!kept.empty()) kept += kSeparator;
      kept += piece;
    }
    if (end == std::string_view::npos) return kept;
    content.remove_prefix(end + kSeparator.size());
  }
}

// Removes the oldest entries until the rest fits; each follows a separator. True if any was.
bool shorten(std::string& content, std::size_t bound) {
  std::size_t start = 0;
  while (content.size() - start > bound) {
    start = content.find(kSeparator, start + kSeparator.size());
    if (start == std::string::npos) start = content.size();
  }
  content.erase(0, start);
  return start > 0;
}

// Returns whether the file reached its limit for the first time.
bool appendEntry(const std::string& fileName, std::string_view text) {
  const Date now = platform().clock->now();
  std::string entry(kSeparator);
  entry.append(toString(now)).append(" ").append(text);
  const auto container = groupContainer();
  if (!container || !isValidUtf8(entry)) return false;
  const std::string path = *container + "/" + fileName;
  Files& files = *platform().files;
  const MutexLock lock(*fileLock);
  std::string content;
  if (const auto existing = utf8Text(files.read(path))) {
    // If no entry is kept, the separator alone remains.
    content.append(kSeparator).append(keptEntries(*existing, addDay(now, -kDaysKept)));
  }
  // 0 is unlimited.
  const std::size_t bound = *fileBound;
  const bool isTooLarge = bound > 0 && entry.size() > bound;
  if (isTooLarge) entry.clear();
  const bool isShortened = bound > 0 && shorten(content, bound - entry.size());
  content.append(entry);
  if (files.writeAtomically(path, toBytes(content))) {
    const auto documents = platform().directories->documents();
    if (documents) files.writeAtomically(*documents + "/" + fileName, toBytes(content));
  }
  return (isTooLarge || isShortened) && reportedFiles->insert(fileName).second;
}

std::string headersText(const std::vector<HttpHeader>& headers) {
  Dictionary dictionary;
  for (const HttpHeader& header : headers) dictionary.set(header.name, header.value);
  return writeJson(dictionary).text;
}

}  // namespace

void ZQMLogHandler::logToDebugWithText(std::string_view) {}

void ZQMLogHandler::logToFile(const std::string& fileName, std::string_view text) {
  if (!ZQMCore::isInDebugMode()) return;
  guarded([&] {
    if (!appendEntry(fileName, text)) return;
    logException(Exception(kInternalInconsistencyException,
                           "The log file " + fileName +
                               " is at its bound; its oldest entries go first, and an entry "
                               "that is larger by itself is not written."),
                 kCoreModule, 4);
  });
}

void ZQMLogHandler::setFileBound(std::size_t bytes) { *fileBound = bytes; }

void ZQMLogHandler::logHttpRequestToFile(std::string_view url,
                                         const std::optional<HttpRequest>& request,
                                         const std::optional<HttpResponse>& response,
                                         const std::optional<Bytes>& data, double time,
                                         const std::optional<Error>& error) {
  if (!ZQMCore::isInDebugMode()) return;
  const bool failed = error || !data;
  const Text outcome =
      failed ? Text(error ? std::optional(error->localizedDescription()) : std::nullopt)
             : Text(utf8Text(data));
  std::string text;
  text.append(request ? request->method : "").append(" ").append(url);
  text.append("\nCode: ").append(std::to_string(response ? response->status : 0));
  text.append("\nHeader: ").append(request ? headersText(request->headers) : "");
  text.append("\nRequest: ");
  if (request) text.append(utf8Text(request->body).value_or(""));
  text.append("\nHeader Response: ").append(response ? headersText(response->headers) : "");
  text.append(failed ? "\nError Response: " : "\nSuccess Response: ").append(outcome.textForm());
  text.append("\nTime Response: ").append(formatSeconds(time)).append("s");
  logToFile("log_http.txt", text);
}

}  // namespace zqm
