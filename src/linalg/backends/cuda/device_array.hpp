#pragma once
// A block of device memory owned by one object, grown on demand and never shrunk, so that a
// relaxation at a fixed basis size allocates once.

#include <cstddef>

#include <cuda_runtime_api.h>

#include "linalg/backends/cuda/cuda_check.hpp"

namespace tbrelax {

template <class T>
class device_array {
 public:
  device_array() = default;
  ~device_array() { release(); }
  device_array(const device_array&) = delete;
  device_array& operator=(const device_array&) = delete;

  // Room for at least `count` elements; the contents are lost when it grows. The old block is
  // freed before the new one is taken, so growing never holds both.
  void reserve(std::size_t count) {
    if (count <= capacity_) return;
    release();
    void* block = nullptr;
    check(cudaMalloc(&block, count * sizeof(T)), "allocating device memory");
    data_ = static_cast<T*>(block);
    capacity_ = count;
  }

  void release() noexcept {
    if (data_) cudaFree(data_);
    data_ = nullptr;
    capacity_ = 0;
  }

  T* data() const { return data_; }
  std::size_t capacity() const { return capacity_; }

 private:
  T* data_ = nullptr;
  std::size_t capacity_ = 0;
};

}  // namespace tbrelax
