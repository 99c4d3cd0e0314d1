#pragma once
// An allocator for the large arrays of the electronic step: blocks from 256 KiB up are aligned
// to 2 MiB and advised for transparent huge pages (through the aligned operator new, which
// heap counting sees). A fresh n x n matrix is otherwise mapped in
// one 4 KiB page at a time on first touch; at n ~ 750 the nine such matrices of an evaluation
// cost about 11000 page faults, more than the solve itself on a virtual machine, while a huge
// page maps 512 of those pages at once. Where the system offers no huge pages the advice is
// ignored and nothing else changes.

#include <cstddef>
#include <memory>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace tbrelax {

template <class T>
struct huge_page_allocator {
  using value_type = T;
  static constexpr std::size_t huge_page = std::size_t(2) << 20;
  static constexpr std::size_t from_bytes = std::size_t(256) << 10;

  huge_page_allocator() = default;
  template <class U>
  huge_page_allocator(const huge_page_allocator<U>&) {}

  T* allocate(std::size_t count) {
    const std::size_t bytes = count * sizeof(T);
    if (bytes < from_bytes) return std::allocator<T>().allocate(count);
    // Only whole huge pages inside the block take the advice: the tail stays in small pages,
    // so the block takes no more memory than its size.
    void* p = ::operator new(bytes, std::align_val_t{huge_page});
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    madvise(p, bytes, MADV_HUGEPAGE);
#endif
    return static_cast<T*>(p);
  }

  void deallocate(T* p, std::size_t count) {
    if (count * sizeof(T) < from_bytes) std::allocator<T>().deallocate(p, count);
    else ::operator delete(p, std::align_val_t{huge_page});
  }

  template <class U>
  bool operator==(const huge_page_allocator<U>&) const { return true; }
};

}  // namespace tbrelax
