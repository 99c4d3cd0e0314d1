#pragma once
// The status codes of the CUDA runtime, cuBLAS and cuSOLVER turned into cuda_error exceptions
// that name the failed step.

#include <cublas_v2.h>
#include <cuda_runtime_api.h>
#include <cusolverDn.h>

#include "linalg/backends/cuda/cuda_error.hpp"

namespace tbrelax {

void check(cudaError_t status, const char* step);
void check(cublasStatus_t status, const char* step);
void check(cusolverStatus_t status, const char* step);

}  // namespace tbrelax
