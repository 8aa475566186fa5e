#ifndef EXAMPLES_LOAD_MEMORY_WALK_H_
#define EXAMPLES_LOAD_MEMORY_WALK_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace load {

/// Walks bit patterns over memory of its own: each step fills the next part with a pattern in which
/// the bits wander from word to word, reads all of it, and does the same with its complement.
class MemoryWalk {
 public:
  /// Bytes that a step walks, or fewer at the end of the memory.
  static constexpr size_t kStep = size_t{16} << 20;

  /// Allocates `size` bytes, which are touched as the walk reaches them. Throws std::bad_alloc.
  explicit MemoryWalk(size_t size);

  /// Walks one part, and begins again after the last. Returns which word did not hold its pattern,
  /// or an empty text.
  std::string step();

 private:
  std::string check(size_t begin, size_t end, uint64_t pattern);

  size_t _words;
  std::unique_ptr<uint64_t[]> _memory;
  size_t _next = 0;
  unsigned _turn = 0;
};

}  // namespace load

#endif  // EXAMPLES_LOAD_MEMORY_WALK_H_
