#include "bench/heap_tracking.hpp"

#include <malloc.h>
#include <sys/resource.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace tbrelax::bench {
namespace {

// The counters must be process-wide: every allocation of every thread passes through them.
std::atomic<std::size_t> bytes_in_use{0};
std::atomic<std::size_t> bytes_peak{0};

void note_allocation(std::size_t size) {
  const std::size_t now = bytes_in_use.fetch_add(size, std::memory_order_relaxed) + size;
  std::size_t peak = bytes_peak.load(std::memory_order_relaxed);
  while (now > peak && !bytes_peak.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
  }
}

void* allocate(std::size_t size) {
  void* p = std::malloc(size ? size : 1);
  if (!p) throw std::bad_alloc();
  note_allocation(malloc_usable_size(p));
  return p;
}

// A block aligned beyond malloc's own alignment counts by its size: what malloc reserves
// around it to align it is address space, not storage.
void* allocate_aligned(std::size_t size, std::align_val_t alignment) {
  const auto a = static_cast<std::size_t>(alignment);
  void* p = std::aligned_alloc(a, (size + a - 1) / a * a);
  if (!p) throw std::bad_alloc();
  note_allocation(size);
  return p;
}

void release_aligned(void* p, std::size_t size) noexcept {
  if (!p) return;
  bytes_in_use.fetch_sub(size, std::memory_order_relaxed);
  std::free(p);
}

void release(void* p) noexcept {
  if (!p) return;
  bytes_in_use.fetch_sub(malloc_usable_size(p), std::memory_order_relaxed);
  std::free(p);
}

}  // namespace

std::size_t heap_in_use() { return bytes_in_use.load(); }
void reset_heap_peak() { bytes_peak.store(bytes_in_use.load()); }
std::size_t heap_peak() { return bytes_peak.load(); }

std::size_t peak_resident_bytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<std::size_t>(usage.ru_maxrss) * 1024;  // Linux reports kilobytes
}

}  // namespace tbrelax::bench

// The library's standard new-expressions come here; the sized and array forms forward to these
// by default.
void* operator new(std::size_t size) { return tbrelax::bench::allocate(size); }
void* operator new[](std::size_t size) { return tbrelax::bench::allocate(size); }
void operator delete(void* p) noexcept { tbrelax::bench::release(p); }
void operator delete[](void* p) noexcept { tbrelax::bench::release(p); }
void operator delete(void* p, std::size_t) noexcept { tbrelax::bench::release(p); }
void operator delete[](void* p, std::size_t) noexcept { tbrelax::bench::release(p); }
void* operator new(std::size_t size, std::align_val_t a) { return tbrelax::bench::allocate_aligned(size, a); }
void* operator new[](std::size_t size, std::align_val_t a) { return tbrelax::bench::allocate_aligned(size, a); }
// Aligned blocks are given back with their size (the huge-page allocator does so).
void operator delete(void* p, std::size_t size, std::align_val_t) noexcept { tbrelax::bench::release_aligned(p, size); }
void operator delete[](void* p, std::size_t size, std::align_val_t) noexcept { tbrelax::bench::release_aligned(p, size); }
