#include "linalg/backends/cuda/cuda_kernels.hpp"

#include <algorithm>
#include <cstddef>

namespace tbrelax {
namespace {

constexpr int tile = 32;

// One block row per column k (grid-stride over columns and rows).
__global__ void divide_columns_kernel(int n, double* X, const double* s) {
  for (int k = blockIdx.y; k < n; k += gridDim.y) {
    // A negative overlap eigenvalue counts with its absolute value.
    const double value = s[k] < 0 ? -s[k] : s[k];
    const double root = sqrt(value);
    double* column = X + static_cast<std::size_t>(k) * n;
    for (int j = blockIdx.x * blockDim.x + threadIdx.x; j < n; j += gridDim.x * blockDim.x)
      column[j] = column[j] / root;
  }
}

// Block (bx, by) fills the strictly lower part of tile (row block by, column block bx), by >= bx,
// from the transposed tile (bx, by) read through shared memory so that both the read and the
// write are coalesced. The extra column avoids shared-memory bank conflicts.
__global__ void mirror_kernel(int n, double* A) {
  const int bx = blockIdx.x, by = blockIdx.y;
  if (by < bx) return;
  __shared__ double source[tile][tile + 1];
  const int tx = threadIdx.x, ty = threadIdx.y;
  const int source_row = bx * tile + tx, source_col = by * tile + ty;
  if (source_row < n && source_col < n) source[ty][tx] = A[source_row + static_cast<std::size_t>(source_col) * n];
  __syncthreads();
  const int i = by * tile + tx, j = bx * tile + ty;
  if (i < n && j < n && i > j) A[i + static_cast<std::size_t>(j) * n] = source[tx][ty];
}

}  // namespace

cudaError_t divide_columns_by_root(int n, double* X, const double* s, cudaStream_t stream) {
  if (n <= 0) return cudaSuccess;
  const int threads = 256;
  const dim3 grid(std::min((n + threads - 1) / threads, 64), std::min(n, 65535));
  divide_columns_kernel<<<grid, threads, 0, stream>>>(n, X, s);
  return cudaGetLastError();
}

cudaError_t mirror_upper_to_lower(int n, double* A, cudaStream_t stream) {
  if (n <= 0) return cudaSuccess;
  const int tiles = (n + tile - 1) / tile;
  mirror_kernel<<<dim3(tiles, tiles), dim3(tile, tile), 0, stream>>>(n, A);
  return cudaGetLastError();
}

cudaError_t kernels_loadable() {
  cudaFuncAttributes attributes;
  cudaError_t status = cudaFuncGetAttributes(&attributes, divide_columns_kernel);
  if (status == cudaSuccess) status = cudaFuncGetAttributes(&attributes, mirror_kernel);
  return status;
}

}  // namespace tbrelax
