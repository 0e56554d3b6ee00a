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
  // Records the call stack of the caller.
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

// Names of exceptions that more than one place raises.
inline constexpr const char* kInternalInconsistencyException = "NSInternalInconsistencyException";
inline constexpr const char* kRangeException = "NSRangeException";
inline constexpr const char* kInvalidArgumentException = "NSInvalidArgumentException";

// The exception of an abstract operation that was called on a base class.
ZQM_EXPORT Exception mustOverride(const std::string& operation);

// One line for each frame of the calling thread, innermost first.
ZQM_EXPORT std::vector<std::string> callStackSymbols();

// These lines as a report shows them.
std::string callStackText(const std::vector<std::string>& symbols);

// For `guarded` alone.
ZQM_EXPORT bool guardedCall(const std::function<void()>& body,
                            const std::function<void(const Exception&)>& report) noexcept;

// Runs `body`. Whatever it throws, foreign exceptions included, reaches `report` as an Exception;
// what `report` throws is dropped. True when nothing was thrown. Takes no memory by itself.
template <class Body, class Report>
bool guarded(const Body& body, const Report& report) noexcept {
  return guardedCall(std::cref(body), std::cref(report));
}

// The same where nobody is told.
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
