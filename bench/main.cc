#include <cstdio>
#include <exception>

#include "bench/pairs.h"

int main(int argc, char** argv) {
  try {
    return corvane::bench::runPairs(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
