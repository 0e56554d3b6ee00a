// Exceptions, their call stacks, and the function that catches all of them.
#include "zqm/base/Exception.h"

namespace zqm {

Exception::Exception(std::string name, std::string reason, Dictionary userInfo)
    : name_(std::move(name)),
      reason_(std::move(reason)),
      userInfo_(std::move(userInfo)),
      callStackSymbols_(zqm::callStackSymbols()) {}

Exception mustOverride(const std::string& operation) {
  return {kInternalInconsistencyException, "You must override " + operation + " in a subclass"};
}

std::string callStackText(const std::vector<std::string>& symbols) {
  return Value(List(symbols.begin(), symbols.end())).textForm();
}

bool guardedCall(const std::function<void()>& body,
                 const std::function<void(const Exception&)>& report) noexcept {
  try {
    try {
      body();
      return true;
    } catch (const Exception& exception) {
      report(exception);
    } catch (const std::exception& exception) {
      report(Exception("std::exception", exception.what()));
    } catch (...) {
      report(Exception("unknown", "An exception of an unknown type was thrown."));
    }
  } catch (...) {
    // There is nowhere left to report a failure of `report`.
  }
  return false;
}

}  // namespace zqm
