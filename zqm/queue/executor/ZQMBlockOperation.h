// ZQMBlockOperation: a named work item that lets no exception out.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "zqm/base/Export.h"

namespace zqm {

class ZQM_EXPORT ZQMBlockOperation {
 public:
  // The name is the module's until a caller sets another one.
  static std::shared_ptr<ZQMBlockOperation> initWithModuleName(std::string moduleName,
                                                               std::function<void()> block);

  const std::string& name() const { return name_; }
  // Must not be called after the item was handed to an executor.
  void setName(std::string name) { name_ = std::move(name); }
  const std::string& getModuleName() const { return moduleName_; }

  // Scheduling hints, set by the executor; 0 before the item runs. Without effect on the order.
  std::int32_t qualityOfService() const { return qualityOfService_; }
  void setQualityOfService(std::int32_t value) { qualityOfService_ = value; }
  std::int32_t queuePriority() const { return queuePriority_; }
  void setQueuePriority(std::int32_t value) { queuePriority_ = value; }

  // Runs the block on the calling thread. An exception is reported under the module's name.
  void start();

 private:
  ZQMBlockOperation(std::string moduleName, std::function<void()> block);

  std::string name_;
  const std::string moduleName_;
  const std::function<void()> block_;
  std::atomic<std::int32_t> qualityOfService_ = 0;
  std::atomic<std::int32_t> queuePriority_ = 0;
};

}  // namespace zqm
