#include "linalg/backends/cuda/gpu_context.hpp"

#include "linalg/backends/cuda/cuda_check.hpp"

namespace tbrelax {

gpu_context::gpu_context() {
  try {
    // Non-blocking streams: nothing else in the process may serialise with them.
    check(cudaStreamCreateWithFlags(&compute, cudaStreamNonBlocking), "creating a stream");
    check(cudaStreamCreateWithFlags(&upload, cudaStreamNonBlocking), "creating a stream");
    check(cudaEventCreateWithFlags(&uploaded, cudaEventDisableTiming), "creating an event");
    for (cudaEvent_t& e : events) check(cudaEventCreate(&e), "creating an event");
    check(cublasCreate(&blas), "creating the cuBLAS handle");
    check(cublasSetStream(blas, compute), "binding cuBLAS to its stream");
    check(cusolverDnCreate(&solver), "creating the cuSOLVER handle");
    check(cusolverDnSetStream(solver, compute), "binding cuSOLVER to its stream");
    check(cusolverDnCreateParams(&params), "creating the cuSOLVER parameters");
  } catch (...) {
    release();
    throw;
  }
}

gpu_context::~gpu_context() { release(); }

// Errors are ignored here: after a device fault the calls may fail, and there is nothing left to do.
void gpu_context::release() noexcept {
  if (params) cusolverDnDestroyParams(params);
  if (solver) cusolverDnDestroy(solver);
  if (blas) cublasDestroy(blas);
  for (cudaEvent_t& e : events)
    if (e) cudaEventDestroy(e);
  if (uploaded) cudaEventDestroy(uploaded);
  if (upload) cudaStreamDestroy(upload);
  if (compute) cudaStreamDestroy(compute);
  params = nullptr;
  solver = nullptr;
  blas = nullptr;
  events = {};
  uploaded = nullptr;
  upload = nullptr;
  compute = nullptr;
}

}  // namespace tbrelax
