#pragma once
// Heap use of the benchmark process, counted by its replacement of the global operator new and
// delete: the working storage of one evaluation is the peak above the level before it.
// Memory that libraries take with malloc or mmap themselves (the BLAS buffers) is not counted.

#include <cstddef>

namespace tbrelax::bench {

std::size_t heap_in_use();
// Restarts the peak at the current use.
void reset_heap_peak();
std::size_t heap_peak();

// Peak resident set size of the process so far (bytes), as the system reports it.
std::size_t peak_resident_bytes();

}  // namespace tbrelax::bench
