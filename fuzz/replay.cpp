// Gives a target every file of a directory, and nothing at all, in place of libFuzzer. A file whose
// name begins with "refused" must be refused.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/Target.h"

int main(int count, char** arguments) {
  if (count != 2) return 2;
  zqm::fuzz::tryOne({});
  int tried = 0;
  for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
    std::ifstream file(entry.path(), std::ios::binary);
    // Said first, for the one that ends the process.
    const std::string name = entry.path().filename();
    std::printf("%s\n", name.c_str());
    std::fflush(stdout);
    zqm::fuzz::mustBeRefused = name.starts_with("refused");
    zqm::fuzz::tryOne(zqm::Bytes(std::istreambuf_iterator<char>(file), {}));
    ++tried;
  }
  return tried > 0 ? 0 : 1;
}
