#include "bench/heap_tracking.hpp"

#include <malloc.h>
#include <sys/resource.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <mutex>
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

void release(void* p) noexcept {
  if (!p) return;
  bytes_in_use.fetch_sub(malloc_usable_size(p), std::memory_order_relaxed);
  std::free(p);
}

// A block aligned beyond malloc's own alignment counts by its size: what malloc reserves
// around it to align it is address space, not storage. Its size is kept in a small table
// until it is released (a block the full table cannot take counts by what malloc reserved).
struct aligned_block {
  void* p = nullptr;
  std::size_t size = 0;
};
std::mutex aligned_mutex;
std::array<aligned_block, 256> aligned_blocks;

void* allocate_aligned(std::size_t size, std::align_val_t alignment) {
  const auto a = static_cast<std::size_t>(alignment);
  void* p = std::aligned_alloc(a, (size + a - 1) / a * a);
  if (!p) throw std::bad_alloc();
  std::size_t counted = malloc_usable_size(p);
  {
    const std::lock_guard<std::mutex> lock(aligned_mutex);
    for (aligned_block& b : aligned_blocks)
      if (!b.p) {
        b = {p, size};
        counted = size;
        break;
      }
  }
  note_allocation(counted);
  return p;
}

void release_aligned(void* p) noexcept {
  if (!p) return;
  std::size_t counted = malloc_usable_size(p);
  {
    const std::lock_guard<std::mutex> lock(aligned_mutex);
    for (aligned_block& b : aligned_blocks)
      if (b.p == p) {
        counted = b.size;
        b = {};
        break;
      }
  }
  bytes_in_use.fetch_sub(counted, std::memory_order_relaxed);
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
void operator delete(void* p, std::align_val_t) noexcept { tbrelax::bench::release_aligned(p); }
void operator delete[](void* p, std::align_val_t) noexcept { tbrelax::bench::release_aligned(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { tbrelax::bench::release_aligned(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { tbrelax::bench::release_aligned(p); }
// The non-throwing forms (std::stable_sort's temporary buffer uses them): by default they would
// allocate elsewhere and be freed here.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return tbrelax::bench::allocate(size);
  } catch (...) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t& t) noexcept { return operator new(size, t); }
void operator delete(void* p, const std::nothrow_t&) noexcept { tbrelax::bench::release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { tbrelax::bench::release(p); }
