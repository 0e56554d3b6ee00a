// Exception: thrown inside the library only; every boundary catches and reports it.
#pragma once

#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "zqm/base/Value.h"

namespace zqm {

class ZQM_EXPORT Exception : public std::exception {
 public:
  // Records the caller's call stack.
  Exception(std::string name, std::string reason, Dictionary userInfo = {});

  const std::string& name() const { return name_; }
  const std::string& reason() const { return reason_; }
  const Dictionary& userInfo() const { return userInfo_; }
  const std::vector<std::string>& callStackSymbols() const { return callStackSymbols_; }
  const char* what() const noexcept override { return reason_.c_str(); }

 private:
  std::string name_;
  std::string reason_;
  Dictionary userInfo_;
  std::vector<std::string> callStackSymbols_;
};

// Exception names that are used in several places.
inline constexpr const char* kInternalInconsistencyException = "NSInternalInconsistencyException";
inline constexpr const char* kRangeException = "NSRangeException";
inline constexpr const char* kInvalidArgumentException = "NSInvalidArgumentException";

// Makes the exception for a call of an abstract operation on a base class.
ZQM_EXPORT Exception mustOverride(const std::string& operation);

// Returns one line per stack frame of the calling thread, innermost first.
ZQM_EXPORT std::vector<std::string> callStackSymbols();

// Formats these lines for a report.
ZQM_EXPORT std::string callStackText(const std::vector<std::string>& symbols);

// Implementation of `guarded`; call that instead.
ZQM_EXPORT bool guardedCall(const std::function<void()>& body,
                            const std::function<void(const Exception&)>& report) noexcept;

// Runs `body` and returns whether it did not throw. An exception of any type reaches `report` as an
// Exception; exceptions of `report` are ignored. Allocates no memory unless something is thrown.
template <class Body, class Report>
bool guarded(const Body& body, const Report& report) noexcept {
  return guardedCall(std::cref(body), std::cref(report));
}

// Like `guarded(body, report)`, but without a report.
template <class Body>
bool guarded(const Body& body) noexcept {
  try {
    body();
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace zqm
