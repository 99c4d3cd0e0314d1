#pragma once
// The handles one GPU solver works with: a compute stream that carries every kernel, a second
// stream on which H travels to the device while S is being diagonalised, the cuBLAS and cuSOLVER
// handles bound to the compute stream, and events that time the kernels on the device.

#include <array>

#include <cublas_v2.h>
#include <cuda_runtime_api.h>
#include <cusolverDn.h>

namespace tbrelax {

struct gpu_context {
  static constexpr int timing_events = 10;

  // Creates everything on the current device; throws cuda_error (and leaks nothing) on failure.
  gpu_context();
  ~gpu_context();
  gpu_context(const gpu_context&) = delete;
  gpu_context& operator=(const gpu_context&) = delete;

  cudaStream_t compute = nullptr;
  cudaStream_t upload = nullptr;
  cudaEvent_t uploaded = nullptr;
  cublasHandle_t blas = nullptr;
  cusolverDnHandle_t solver = nullptr;
  cusolverDnParams_t params = nullptr;
  std::array<cudaEvent_t, timing_events> events{};

 private:
  void release() noexcept;
};

}  // namespace tbrelax
