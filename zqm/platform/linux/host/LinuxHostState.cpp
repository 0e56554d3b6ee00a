// Asks the host, and returns the default if it provides nothing.
#include "zqm/platform/linux/host/LinuxHostState.h"

#include "zqm/base/Exception.h"

namespace zqm {
namespace {

// Returns the result of `source`, or `value` if it is empty or throws.
template <class T>
T ask(const std::function<T()>& source, T value) {
  if (source) {
    guarded([&] { value = source(); });
  }
  return value;
}

}  // namespace

std::int32_t LinuxHostState::applicationState() { return ask(sources_.applicationState, 0); }

Value LinuxHostState::backgroundModes() {
  if (sources_.backgroundModes) return ask(sources_.backgroundModes, Value());
  const auto main = packages_->mainPackage();
  return main ? (*main)["UIBackgroundModes"] : Value();
}

std::int32_t LinuxHostState::trackingAuthorization() {
  return ask(sources_.trackingAuthorization, 0);
}

}  // namespace zqm
