// A host with the shared library that ends while the library is at work.
#include "soak/ExitHost.h"

int main() {
  zqm::soak::runExitHost();
  return zqm::soak::kExitCode;
}
