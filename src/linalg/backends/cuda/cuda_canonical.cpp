// The canonical route on the GPU: both eigendecompositions with cuSOLVER (Xsyevd), the three
// products with cuBLAS; the overlap eigenvalues come down for the report of negative ones.

#include <algorithm>
#include <vector>

#include "linalg/backends/cuda/cuda_gpu_solver.hpp"
#include "linalg/backends/cuda/cuda_kernels.hpp"

namespace tbrelax {

void cuda_solver::solve_canonical(const matrix& H, const matrix& S, int electrons, electronic_result& out) {
  const int n = S.rows();
  if (n == 0) {
    out.eps.clear();
    out.P = matrix();
    out.W = matrix();
    return;
  }
  reserve(n);
  const cudaStream_t stream = ctx_.compute;

  upload(x_.data(), S, stream, "copying S to the device");
  record(0);
  eigen(x_.data(), overlap_values_.data(), info_.data(), n);
  record(1);
  // H travels on the other stream while S is diagonalised.
  upload(h_.data(), H, ctx_.upload, "copying H to the device");
  check(cudaEventRecord(ctx_.uploaded, ctx_.upload), "recording an event");
  check(divide_columns_by_root(n, x_.data(), overlap_values_.data(), stream), "forming X");
  check(cudaStreamWaitEvent(stream, ctx_.uploaded, 0), "waiting for H");
  record(2);
  gemm(CUBLAS_OP_N, CUBLAS_OP_N, n, n, h_.data(), x_.data(), t_.data());  // T = H X
  gemm(CUBLAS_OP_T, CUBLAS_OP_N, n, n, x_.data(), t_.data(), h_.data());  // H' = X^T T
  record(3);
  eigen(h_.data(), orbital_values_.data(), info_.data() + 1, n);
  record(4);
  gemm(CUBLAS_OP_N, CUBLAS_OP_N, n, n, x_.data(), h_.data(), t_.data());  // C = X C'
  record(5);

  std::vector<double> overlap_values(n);
  out.eps.resize(n);
  int info[2] = {0, 0};
  check(cudaMemcpyAsync(overlap_values.data(), overlap_values_.data(), sizeof(double) * n, cudaMemcpyDeviceToHost,
                        stream),
        "copying the overlap eigenvalues to the host");
  check(cudaMemcpyAsync(out.eps.data(), orbital_values_.data(), sizeof(double) * n, cudaMemcpyDeviceToHost, stream),
        "copying the orbital energies to the host");
  check(cudaMemcpyAsync(info, info_.data(), sizeof info, cudaMemcpyDeviceToHost, stream),
        "copying the eigensolver status to the host");
  check(cudaStreamSynchronize(stream), "the eigenproblems");
  expect_converged(info, 2, "cusolverDnXsyevd");
  for (int k = 0; k < n; ++k)
    if (overlap_values[k] < 0) out.negative_overlaps.push_back({k + 1, overlap_values[k]});
  out.timings.eigen += seconds_between(0, 1) + seconds_between(3, 4);
  out.timings.products += seconds_between(2, 3) + seconds_between(4, 5);

  occupied_densities(electrons, out, std::min(occupied_count(electrons), n));
}

}  // namespace tbrelax
