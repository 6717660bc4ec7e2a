#pragma once

#include <cstddef>

namespace bench {

/// Processor time of this process so far, in user and system mode together: page faults count, other processes do not.
[[nodiscard]] double processorSeconds();

/// What the general allocator has handed out at present.
[[nodiscard]] double allocatedBytes();

/// The processor time of the work, per operation.
template <class Work>
double nanosecondsPer(std::size_t operations, Work work) {
  const double start = processorSeconds();
  work();
  return (processorSeconds() - start) * 1e9 / static_cast<double>(operations);
}

/// Keeps the optimiser from seeing that a result is not used.
template <class T>
void keep(const T& value) {
  asm volatile("" : : "g"(&value) : "memory");
}

/// Ends the program when a result is wrong: figures of wrong results are worth nothing.
void require(bool condition, const char* what);

}  // namespace bench
