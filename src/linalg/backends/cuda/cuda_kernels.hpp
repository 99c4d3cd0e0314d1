#pragma once
// The two element-wise steps of the GPU solve that cuBLAS has no call for. Matrices are n x n,
// column-major with leading dimension n, on the device; the kernels run on `stream`.

#include <cuda_runtime_api.h>

namespace tbrelax {

// X(:, k) = X(:, k) / sqrt(|s_k|): the canonical orthogonalisation's columns from the overlap
// eigenvectors, dividing as the CPU path does (a zero s_k gives infinities, as there).
cudaError_t divide_columns_by_root(int n, double* X, const double* s, cudaStream_t stream);

// A(i, j) = A(j, i) for i > j, so that a density matrix comes back exactly symmetric.
cudaError_t mirror_upper_to_lower(int n, double* A, cudaStream_t stream);

// cudaSuccess when this build carries code that the current device can run.
cudaError_t kernels_loadable();

}  // namespace tbrelax
