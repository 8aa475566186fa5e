#ifndef CORVANE_BENCH_PAIRS_H_
#define CORVANE_BENCH_PAIRS_H_

#include <benchmark/benchmark.h>

#include <string>

namespace corvane::bench {

/// One side of a pair: a Google Benchmark function, which calls `SkipWithError` when its operation
/// fails.
using Side = void (*)(benchmark::State&);

/// An operation of the library and the system calls that the same work needs.
struct Pair {
  /// The pair's name in the table and for `--benchmark_filter`.
  std::string name;
  /// The most that the ratio of the medians, subject over baseline, may be.
  double bound;
  Side subject;
  Side baseline;
  /// A part of the subject that the bound leaves out: measured by itself and subtracted from the
  /// subject's median. Null when all of the subject counts.
  Side excluded = nullptr;
  /// What the machine itself makes of the two sides, without the library: the ratio is divided by
  /// that of these two. Null when the ratio counts as it is.
  Side bareSubject = nullptr;
  Side bareBaseline = nullptr;
  /// How often each side is repeated, in place of what the command line says; 0 for that.
  int repetitions = 0;
};

/// Adds `pair` to those that `runPairs` measures. Returns true, so that a constant of the pair's
/// file can do it before `main`.
bool addPair(const Pair& pair);

/// Measures all sides of all pairs, each many times and in random order, and prints a table of the
/// medians. Takes Google Benchmark's own arguments. Returns 0 when every ratio is within its bound,
/// 1 when one is not or a side failed, 2 when the arguments are wrong or leave nothing to measure.
int runPairs(int argc, char** argv);

}  // namespace corvane::bench

#endif  // CORVANE_BENCH_PAIRS_H_
