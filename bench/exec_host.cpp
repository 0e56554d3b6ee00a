// Tells how long it took from exec to main, which the loading of libraries is a part of. Called
// with the time, in nanoseconds of the monotonic clock, at which it was started.
#include <time.h>

#include <cstdio>
#include <cstdlib>

int main(int count, char** arguments) {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  if (count != 2) return 2;
  const long long nanoseconds = now.tv_sec * 1'000'000'000LL + now.tv_nsec;
  std::printf("main %.9f\n",
              static_cast<double>(nanoseconds - std::atoll(arguments[1])) / 1'000'000'000);
}
