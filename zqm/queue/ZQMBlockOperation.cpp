// How a work item runs and what becomes of its exceptions.
#include "zqm/queue/ZQMBlockOperation.h"

#include "zqm/base/Exception.h"
#include "zqm/log/ZQMLogHandler.h"

namespace zqm {
namespace {

constexpr std::int32_t kLogLevel = 2;

}  // namespace

ZQMBlockOperation::ZQMBlockOperation(std::string moduleName, std::function<void()> block)
    : name_(moduleName), moduleName_(std::move(moduleName)), block_(std::move(block)) {}

std::shared_ptr<ZQMBlockOperation> ZQMBlockOperation::initWithModuleName(
    std::string moduleName, std::function<void()> block) {
  return std::shared_ptr<ZQMBlockOperation>(
      new ZQMBlockOperation(std::move(moduleName), std::move(block)));
}

void ZQMBlockOperation::start() {
  if (!block_) return;
  guarded(block_, [this](const Exception& exception) {
    ZQMLogHandler::logException(exception, moduleName_, kLogLevel);
  });
}

}  // namespace zqm
