#pragma once
// Wall-clock seconds for the timings the solvers report to the benchmark.

#include <chrono>

namespace tbrelax {

using stopwatch_clock = std::chrono::steady_clock;

inline double seconds_since(stopwatch_clock::time_point start) {
  return std::chrono::duration<double>(stopwatch_clock::now() - start).count();
}

}  // namespace tbrelax
