#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/pairs.h"
#include "bench/unit.h"

namespace corvane::bench {
namespace {
