// The electronic step on one GPU: canonical orthogonalisation with cuSOLVER and cuBLAS, the
// matrices staying on the device from the upload of H and S to the download of P and W.
//
// Device matrices (n x n, leading dimension n), reused from step to step:
//   x: S -> its eigenvectors U -> X = U diag(1/sqrt|s|) -> occupied orbitals times weights
//   h: H -> H' = X^T H X -> its eigenvectors C' -> P -> W
//   t: T = H X -> C = X C'

#include <algorithm>
#include <cstddef>
#include <vector>

#include "linalg/backends/cuda/cuda_kernels.hpp"
#include "linalg/backends/cuda/cuda_solver.hpp"
#include "linalg/backends/cuda/device_array.hpp"
#include "linalg/backends/cuda/gpu_context.hpp"

namespace tbrelax {
namespace {

// syevd reads one triangle; H' is computed in full by dgemm, so either would do.
constexpr cublasFillMode_t triangle = CUBLAS_FILL_MODE_LOWER;

class cuda_solver final : public electronic_solver {
 public:
  std::string name() const override { return "cuda"; }
  void solve(const matrix& H, const matrix& S, int electrons, electronic_result& out) override;

 private:
  void reserve(int n);
  void eigen(double* A, double* values, int* info, int n);
  void gemm(cublasOperation_t op_a, cublasOperation_t op_b, int n, int k, const double* A, const double* B, double* C);
  void density(const double* weights, int occupied, int n, matrix& R, int first_event);
  void record(int event) { check(cudaEventRecord(ctx_.events[event], ctx_.compute), "recording an event"); }
  double seconds_between(int from, int to);

  gpu_context ctx_;  // declared first: destroyed after the buffers
  device_array<double> x_, h_, t_;
  device_array<double> overlap_values_, orbital_values_, weights_;
  device_array<int> info_;
  device_array<std::byte> work_;
  std::vector<std::byte> host_work_;
  std::size_t work_bytes_ = 0;
  int size_ = -1;
};

void cuda_solver::reserve(int n) {
  if (n == size_) return;
  const std::size_t elements = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
  x_.reserve(elements);
  h_.reserve(elements);
  t_.reserve(elements);
  overlap_values_.reserve(n);
  orbital_values_.reserve(n);
  weights_.reserve(2 * static_cast<std::size_t>(n));
  info_.reserve(2);
  std::size_t host_bytes = 0;
  check(cusolverDnXsyevd_bufferSize(ctx_.solver, ctx_.params, CUSOLVER_EIG_MODE_VECTOR, triangle, n, CUDA_R_64F,
                                    x_.data(), n, CUDA_R_64F, overlap_values_.data(), CUDA_R_64F, &work_bytes_,
                                    &host_bytes),
        "sizing the eigensolver workspace");
  work_.reserve(std::max<std::size_t>(work_bytes_, 1));
  host_work_.resize(std::max<std::size_t>(host_bytes, 1));
  size_ = n;
}

void cuda_solver::eigen(double* A, double* values, int* info, int n) {
  check(cusolverDnXsyevd(ctx_.solver, ctx_.params, CUSOLVER_EIG_MODE_VECTOR, triangle, n, CUDA_R_64F, A, n,
                         CUDA_R_64F, values, CUDA_R_64F, work_.data(), work_bytes_, host_work_.data(),
                         host_work_.size(), info),
        "cusolverDnXsyevd");
}

// C = op(A) op(B) with C n x n and inner dimension k; every operand has leading dimension n.
void cuda_solver::gemm(cublasOperation_t op_a, cublasOperation_t op_b, int n, int k, const double* A,
                       const double* B, double* C) {
  const double one = 1.0, zero = 0.0;
  check(cublasDgemm(ctx_.blas, op_a, op_b, n, n, k, &one, A, n, B, n, &zero, C, n), "cublasDgemm");
}

// R = sum over k < occupied of weights_k C_k C_k^T with C in t_, formed in h_ and copied down.
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

double cuda_solver::seconds_between(int from, int to) {
  float ms = 0;
  check(cudaEventElapsedTime(&ms, ctx_.events[from], ctx_.events[to]), "reading a timing event");
  return ms / 1000.0;
}

void cuda_solver::solve(const matrix& H, const matrix& S, int electrons, electronic_result& out) {
  const int n = S.rows();
  out.timings = {};
  out.negative_overlaps.clear();
  if (n == 0) {
    out.eps.clear();
    out.P = matrix();
    out.W = matrix();
    return;
  }
  reserve(n);
  const std::size_t bytes = sizeof(double) * static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
  const cudaStream_t stream = ctx_.compute;

  check(cudaMemcpyAsync(x_.data(), S.data(), bytes, cudaMemcpyHostToDevice, stream), "copying S to the device");
  record(0);
  eigen(x_.data(), overlap_values_.data(), info_.data(), n);
  record(1);
  // H travels on the other stream while S is diagonalised.
  check(cudaMemcpyAsync(h_.data(), H.data(), bytes, cudaMemcpyHostToDevice, ctx_.upload), "copying H to the device");
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
  for (int status : info)
    if (status != 0)
      throw cuda_error("GPU electronic solver: cusolverDnXsyevd returned info = " + std::to_string(status),
                       status < 0);
  for (int k = 0; k < n; ++k)
    if (overlap_values[k] < 0) out.negative_overlaps.push_back({k + 1, overlap_values[k]});

  // Occupations as on the CPU: f_k, then f_k eps_k, uploaded together.
  const int occupied = std::min(occupied_count(electrons), n);
  std::vector<double> weights(2 * static_cast<std::size_t>(occupied));
  for (int k = 0; k < occupied; ++k) {
    weights[k] = occupation(k, electrons);
    weights[occupied + k] = weights[k] * out.eps[k];
  }
  check(cudaMemcpyAsync(weights_.data(), weights.data(), sizeof(double) * weights.size(), cudaMemcpyHostToDevice,
                        stream),
        "copying the occupations to the device");
  density(weights_.data(), occupied, n, out.P, 6);
  density(weights_.data() + occupied, occupied, n, out.W, 8);
  check(cudaStreamSynchronize(stream), "the density matrices");

  out.timings.eigen = seconds_between(0, 1) + seconds_between(3, 4);
  out.timings.products = seconds_between(2, 3) + seconds_between(4, 5);
  out.timings.densities = seconds_between(6, 7) + seconds_between(8, 9);
}

}  // namespace

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
