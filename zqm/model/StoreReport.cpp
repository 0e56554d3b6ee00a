// The messages of the reports.
#include "zqm/model/StoreReport.h"

#include "zqm/base/Exception.h"
#include "zqm/log/ZQMLogHandler.h"

namespace zqm {
namespace {

void report(std::string sentence, std::string_view module) {
  ZQMLogHandler::logException(Exception(kInternalInconsistencyException, std::move(sentence)),
                              module, 4);
}

}  // namespace

void reportKept(const Saved& saved, std::string_view module) {
  if (saved.keptAs) report("A record's file was damaged; it is kept as " + *saved.keptAs, module);
}

void reportUnsaved(const std::string& what, std::string_view module) {
  report("Could not be saved: " + what, module);
}

void reportUnreadable(std::string_view className, const std::string& consequence,
                      std::string_view module) {
  report(std::string(className) + " cannot be read at the moment; " + consequence, module);
}

}  // namespace zqm
