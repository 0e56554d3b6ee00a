// Exceptions, their call stacks, and the function that catches all of them.
#include "zqm/base/Exception.h"

#include <cstdlib>
#include <memory>

#if __has_include(<execinfo.h>)
#include <execinfo.h>
#endif

namespace zqm {

Exception::Exception(std::string name, std::string reason, Dictionary userInfo)
    : name_(std::move(name)),
      reason_(std::move(reason)),
      userInfo_(std::move(userInfo)),
      callStackSymbols_(zqm::callStackSymbols()) {}

Exception mustOverride(const std::string& operation) {
  return {kInternalInconsistencyException, "You must override " + operation + " in a subclass"};
}

std::vector<std::string> callStackSymbols() {
  std::vector<std::string> symbols;
#if __has_include(<execinfo.h>)
  void* frames[64];
  const int count = backtrace(frames, 64);
  const std::unique_ptr<char*, decltype(&std::free)> lines(backtrace_symbols(frames, count),
                                                           &std::free);
  // Skips the first frame, which is this function.
  for (int i = 1; lines && i < count; ++i) symbols.emplace_back(lines.get()[i]);
#endif
  return symbols;
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
