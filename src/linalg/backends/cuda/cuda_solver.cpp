// The electronic step on one GPU: the Cholesky route with cuSOLVER (Xpotrf, Xsyevd) and cuBLAS
// (the triangular solves), the matrices staying on the device from the upload of S and H to the
// download of P and W; the steps both routes share.

#include <algorithm>
#include <cstddef>
#include <vector>

#include "linalg/backends/cuda/cuda_gpu_solver.hpp"
#include "linalg/backends/cuda/cuda_kernels.hpp"
#include "linalg/backends/cuda/cuda_solver.hpp"

namespace tbrelax {

void cuda_solver::reserve(int n) {
  if (n == size_) return;
  const std::size_t elements = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
  x_.reserve(elements);
  h_.reserve(elements);
  t_.reserve(elements);
  overlap_values_.reserve(n);
  orbital_values_.reserve(n);
  vector_.reserve(n);
  weights_.reserve(2 * static_cast<std::size_t>(n));
  info_.reserve(2);
  std::size_t device_bytes = 0, host_bytes = 0, potrf_device = 0, potrf_host = 0;
  check(cusolverDnXsyevd_bufferSize(ctx_.solver, ctx_.params, CUSOLVER_EIG_MODE_VECTOR, CUBLAS_FILL_MODE_UPPER, n,
                                    CUDA_R_64F, x_.data(), n, CUDA_R_64F, overlap_values_.data(), CUDA_R_64F,
                                    &device_bytes, &host_bytes),
        "sizing the eigensolver workspace");
  check(cusolverDnXpotrf_bufferSize(ctx_.solver, ctx_.params, CUBLAS_FILL_MODE_UPPER, n, CUDA_R_64F, x_.data(), n,
                                    CUDA_R_64F, &potrf_device, &potrf_host),
        "sizing the Cholesky workspace");
  work_bytes_ = std::max(device_bytes, potrf_device);
  work_.reserve(std::max<std::size_t>(work_bytes_, 1));
  host_work_.resize(std::max<std::size_t>(std::max(host_bytes, potrf_host), 1));
  size_ = n;
}

void cuda_solver::upload(double* device, const matrix& M, cudaStream_t stream, const char* what) {
  check(cudaMemcpyAsync(device, M.data(), sizeof(double) * M.size(), cudaMemcpyHostToDevice, stream), what);
}

// Eigenvalues ascending and eigenvectors of the symmetric matrix in the upper triangle of A.
void cuda_solver::eigen(double* A, double* values, int* info, int n) {
  check(cusolverDnXsyevd(ctx_.solver, ctx_.params, CUSOLVER_EIG_MODE_VECTOR, CUBLAS_FILL_MODE_UPPER, n, CUDA_R_64F, A,
                         n, CUDA_R_64F, values, CUDA_R_64F, work_.data(), work_bytes_, host_work_.data(),
                         host_work_.size(), info),
        "cusolverDnXsyevd");
}

// C = op(A) op(B) with C n x n and inner dimension k; every operand has leading dimension n.
void cuda_solver::gemm(cublasOperation_t op_a, cublasOperation_t op_b, int n, int k, const double* A,
                       const double* B, double* C) {
  const double one = 1.0, zero = 0.0;
  check(cublasDgemm(ctx_.blas, op_a, op_b, n, n, k, &one, A, n, B, n, &zero, C, n), "cublasDgemm");
}

void cuda_solver::density(const double* weights, int occupied, int n, matrix& R, int first_event) {
  const std::size_t bytes = sizeof(double) * static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
  record(first_event);
  if (occupied == 0) {
    check(cudaMemsetAsync(h_.data(), 0, bytes, ctx_.compute), "clearing a density matrix");
  } else {
    check(cublasDdgmm(ctx_.blas, CUBLAS_SIDE_RIGHT, n, occupied, t_.data(), n, weights, 1, x_.data(), n),
          "cublasDdgmm");
    gemm(CUBLAS_OP_N, CUBLAS_OP_T, n, occupied, x_.data(), t_.data(), h_.data());
    check(mirror_upper_to_lower(n, h_.data(), ctx_.compute), "mirroring a density matrix");
  }
  record(first_event + 1);
  if (R.rows() != n || R.cols() != n) R = matrix(n, n);
  check(cudaMemcpyAsync(R.data(), h_.data(), bytes, cudaMemcpyDeviceToHost, ctx_.compute),
        "copying a density matrix to the host");
}

void cuda_solver::occupied_densities(int electrons, electronic_result& out, int occupied) {
  std::vector<double> weights(2 * static_cast<std::size_t>(occupied));
  for (int k = 0; k < occupied; ++k) {
    weights[k] = occupation(k, electrons);
    weights[occupied + k] = weights[k] * out.eps[k];
  }
  check(cudaMemcpyAsync(weights_.data(), weights.data(), sizeof(double) * weights.size(), cudaMemcpyHostToDevice,
                        ctx_.compute),
        "copying the occupations to the device");
  const int n = static_cast<int>(out.eps.size());
  density(weights_.data(), occupied, n, out.P, 6);
  density(weights_.data() + occupied, occupied, n, out.W, 8);
  check(cudaStreamSynchronize(ctx_.compute), "the density matrices");
  out.timings.densities += seconds_between(6, 7) + seconds_between(8, 9);
}

void cuda_solver::expect_converged(const int* info, int count, const char* routine) {
  for (int k = 0; k < count; ++k)
    if (info[k] != 0)
      throw cuda_error(std::string("GPU electronic solver: ") + routine + " returned info = " + std::to_string(info[k]),
                       info[k] < 0);
}

double cuda_solver::seconds_between(int from, int to) {
  float ms = 0;
  check(cudaEventElapsedTime(&ms, ctx_.events[from], ctx_.events[to]), "reading a timing event");
  return ms / 1000.0;
}

bool cuda_solver::factor_overlap(const matrix& S, std::vector<double>& pivots, solver_timings& timings) {
  const int n = S.rows();
  reserve(n);
  upload(x_.data(), S, ctx_.compute, "copying S to the device");
  record(0);
  check(cusolverDnXpotrf(ctx_.solver, ctx_.params, CUBLAS_FILL_MODE_UPPER, n, CUDA_R_64F, x_.data(), n, CUDA_R_64F,
                         work_.data(), work_bytes_, host_work_.data(), host_work_.size(), info_.data()),
        "cusolverDnXpotrf");
  record(1);
  // The diagonal of U, one element per column, n + 1 elements apart.
  std::vector<double> diagonal(n);
  check(cudaMemcpy2DAsync(diagonal.data(), sizeof(double), x_.data(), sizeof(double) * (n + 1), sizeof(double), n,
                          cudaMemcpyDeviceToHost, ctx_.compute),
        "copying the factor's diagonal to the host");
  int info = 0;
  check(cudaMemcpyAsync(&info, info_.data(), sizeof info, cudaMemcpyDeviceToHost, ctx_.compute),
        "copying the factorisation status to the host");
  check(cudaStreamSynchronize(ctx_.compute), "the Cholesky factorisation");
  timings.products += seconds_between(0, 1);
  pivots.assign(n, 0.0);
  if (info != 0) return false;
  for (int j = 0; j < n; ++j) pivots[j] = diagonal[j] * diagonal[j];
  return true;
}

void cuda_solver::solve_with_overlap(std::vector<double>& x) {
  const int n = static_cast<int>(x.size());
  check(cudaMemcpyAsync(vector_.data(), x.data(), sizeof(double) * n, cudaMemcpyHostToDevice, ctx_.compute),
        "copying a vector to the device");
  check(cublasDtrsv(ctx_.blas, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_T, CUBLAS_DIAG_NON_UNIT, n, x_.data(), n,
                    vector_.data(), 1),
        "cublasDtrsv");
  check(cublasDtrsv(ctx_.blas, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N, CUBLAS_DIAG_NON_UNIT, n, x_.data(), n,
                    vector_.data(), 1),
        "cublasDtrsv");
  check(cudaMemcpyAsync(x.data(), vector_.data(), sizeof(double) * n, cudaMemcpyDeviceToHost, ctx_.compute),
        "copying a vector to the host");
  check(cudaStreamSynchronize(ctx_.compute), "a solve with the overlap factor");
}

bool cuda_solver::occupied_orbitals(const matrix& H, int orbitals, std::vector<double>& eps, solver_timings& timings) {
  const int n = H.rows();
  const double one = 1.0;
  upload(h_.data(), H, ctx_.compute, "copying H to the device");
  record(2);
  // A = U^-T H U^-1 in place of H, then its eigenvectors Y there.
  check(cublasDtrsm(ctx_.blas, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_T, CUBLAS_DIAG_NON_UNIT, n, n, &one,
                    x_.data(), n, h_.data(), n),
        "cublasDtrsm");
  check(cublasDtrsm(ctx_.blas, CUBLAS_SIDE_RIGHT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N, CUBLAS_DIAG_NON_UNIT, n, n, &one,
                    x_.data(), n, h_.data(), n),
        "cublasDtrsm");
  record(3);
  eigen(h_.data(), orbital_values_.data(), info_.data(), n);
  record(4);
  // C = U^-1 Y for the occupied columns, moved to t_ where the density sums read it.
  if (orbitals > 0) {
    check(cublasDtrsm(ctx_.blas, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_UPPER, CUBLAS_OP_N, CUBLAS_DIAG_NON_UNIT, n,
                      orbitals, &one, x_.data(), n, h_.data(), n),
          "cublasDtrsm");
    check(cudaMemcpyAsync(t_.data(), h_.data(), sizeof(double) * static_cast<std::size_t>(n) * orbitals,
                          cudaMemcpyDeviceToDevice, ctx_.compute),
          "moving the orbitals");
  }
  record(5);
  eps.resize(n);
  int info = 0;
  check(cudaMemcpyAsync(eps.data(), orbital_values_.data(), sizeof(double) * n, cudaMemcpyDeviceToHost, ctx_.compute),
        "copying the orbital energies to the host");
  check(cudaMemcpyAsync(&info, info_.data(), sizeof info, cudaMemcpyDeviceToHost, ctx_.compute),
        "copying the eigensolver status to the host");
  check(cudaStreamSynchronize(ctx_.compute), "the standard eigenproblem");
  expect_converged(&info, 1, "cusolverDnXsyevd");
  timings.products += seconds_between(2, 3) + seconds_between(4, 5);
  timings.eigen += seconds_between(3, 4);
  return true;
}

void cuda_solver::densities(int electrons, electronic_result& out) {
  occupied_densities(electrons, out, std::min(occupied_count(electrons), static_cast<int>(out.eps.size())));
}

std::unique_ptr<electronic_solver> make_cuda_solver(std::string* problem) {
  std::string reason = cuda_device_problem();
  if (reason.empty()) {
    try {
      return std::make_unique<cuda_solver>();
    } catch (const cuda_error& e) {
      reason = std::string("no usable CUDA device: ") + e.what();
    }
  }
  if (problem) *problem = reason;
  return nullptr;
}

}  // namespace tbrelax
