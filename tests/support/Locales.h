// The locales of the process, which are the host's business and must change nothing here.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <functional>
#include <string>

namespace zqm::testing {

// Runs `body` under each locale of the system that has no point in its numbers; skips the test
// where there is none.
inline void underOtherLocales(const std::function<void()>& body) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  bool found = false;
  for (const char* locale : {"de_DE.UTF-8", "pt_BR.UTF-8", "ps_AF.UTF-8"}) {
    if (!std::setlocale(LC_ALL, locale)) continue;
    found = true;
    body();
  }
  std::setlocale(LC_ALL, before.c_str());
  if (!found) GTEST_SKIP() << "The system has no locale with another decimal point.";
}

}  // namespace zqm::testing
