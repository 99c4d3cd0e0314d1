#include "linalg/backends/cuda/cuda_check.hpp"

#include <string>

namespace tbrelax {
namespace {

const char* cusolver_status_text(cusolverStatus_t status) {
  switch (status) {
    case CUSOLVER_STATUS_NOT_INITIALIZED: return "not initialised";
    case CUSOLVER_STATUS_ALLOC_FAILED: return "device memory exhausted";
    case CUSOLVER_STATUS_INVALID_VALUE: return "invalid value";
    case CUSOLVER_STATUS_ARCH_MISMATCH: return "not supported by this device";
    case CUSOLVER_STATUS_EXECUTION_FAILED: return "execution failed";
    case CUSOLVER_STATUS_INTERNAL_ERROR: return "internal error";
    case CUSOLVER_STATUS_NOT_SUPPORTED: return "not supported";
    default: return "failed";
  }
}

[[noreturn]] void fail(const char* step, const std::string& reason) {
  throw cuda_error(std::string("GPU electronic solver: ") + step + ": " + reason);
}

}  // namespace

void check(cudaError_t status, const char* step) {
  if (status != cudaSuccess) fail(step, cudaGetErrorString(status));
}

void check(cublasStatus_t status, const char* step) {
  if (status != CUBLAS_STATUS_SUCCESS) fail(step, cublasGetStatusString(status));
}

void check(cusolverStatus_t status, const char* step) {
  if (status != CUSOLVER_STATUS_SUCCESS)
    fail(step, std::string(cusolver_status_text(status)) + " (status " + std::to_string(int(status)) + ")");
}

}  // namespace tbrelax
