// Runs a work item and reports its exceptions.
#include "zqm/queue/executor/ZQMBlockOperation.h"

#include "zqm/base/Exception.h"
#include "zqm/log/ZQMLogHandler.h"

namespace zqm {
ZQMBlockOperation::ZQMBlockOperation(std::string moduleName, std::function<void()> block)
    : name_(moduleName), moduleName_(std::move(moduleName)), block_(std::move(block)) {}

std::shared_ptr<ZQMBlockOperation> ZQMBlockOperation::initWithModuleName(
    std::string moduleName, std::function<void()> block) {
  return std::shared_ptr<ZQMBlockOperation>(
      new ZQMBlockOperation(std::move(moduleName), std::move(block)));
}

void ZQMBlockOperation::start() {
  if (!block_) return;
  guarded(block_, reportAs(moduleName_, 2));
}

}  // namespace zqm
