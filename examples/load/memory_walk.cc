#include "memory_walk.h"

#include <algorithm>
#include <cstdio>

namespace load {
namespace {

constexpr size_t kPartWords = MemoryWalk::kStep / sizeof(uint64_t);

// The C++ libraries disagree on the type of the number that std::rotl takes.
uint64_t wordAt(size_t index, uint64_t pattern) {
  const size_t count = index % 64;
  return pattern << count | pattern >> (64 - count) % 64;
}

}  // namespace

MemoryWalk::MemoryWalk(size_t size)
    : _words(std::max<size_t>(size / sizeof(uint64_t), 1)),
      _memory(std::make_unique_for_overwrite<uint64_t[]>(_words)) {}

std::string MemoryWalk::step() {
  const size_t end = std::min(_next + kPartWords, _words);
  // One wandering bit in the first pass over the memory, then one more in each pass, up to eight.
  const uint64_t pattern = (uint64_t{2} << (_turn % 8)) - 1;
  std::string fault = check(_next, end, pattern);
  if (fault.empty()) fault = check(_next, end, ~pattern);
  _next = end;
  if (end == _words) {
    _next = 0;
    ++_turn;
  }
  return fault;
}

std::string MemoryWalk::check(size_t begin, size_t end, uint64_t pattern) {
  // Volatile, so that each word goes to the memory and comes from it.
  volatile uint64_t* const words = _memory.get();
  for (size_t i = begin; i < end; ++i) words[i] = wordAt(i, pattern);
  for (size_t i = begin; i < end; ++i) {
    const uint64_t held = words[i];
    if (held == wordAt(i, pattern)) continue;
    char text[96];
    std::snprintf(text, sizeof text, "memory word %zu held %016llx instead of %016llx", i,
                  static_cast<unsigned long long>(held),
                  static_cast<unsigned long long>(wordAt(i, pattern)));
    return text;
  }
  return {};
}

}  // namespace load
