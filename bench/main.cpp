// Runs the benchmarks of this folder.
#include <benchmark/benchmark.h>

BENCHMARK_MAIN();
