#pragma once
// The solver that runs on the GPU, shared by its two sources: the Cholesky route and the common
// steps in cuda_solver.cpp, the canonical route in cuda_canonical.cpp.
//
// Device matrices (n x n, leading dimension n), reused from solve to solve:
//   Cholesky route:  x: S -> U;  h: H -> A = U^-T H U^-1 -> its eigenvectors -> C = U^-1 Y (the
//                    occupied columns) -> P -> W;  t: C, then C times the weights
//   canonical route: x: S -> its eigenvectors -> X -> C times the weights;  h: H -> H' -> C' ->
//                    P -> W;  t: H X -> C = X C'

#include <cstddef>
#include <vector>

#include "linalg/backends/cuda/device_array.hpp"
#include "linalg/backends/cuda/gpu_context.hpp"
#include "linalg/route_solver.hpp"

namespace tbrelax {

class cuda_solver final : public route_solver {
 public:
  std::string name() const override { return "cuda"; }

 protected:
  bool factor_overlap(const matrix& S, std::vector<double>& pivots, solver_timings& timings) override;
  void solve_with_overlap(std::vector<double>& x) override;
  bool occupied_orbitals(const matrix& H, int orbitals, std::vector<double>& eps, solver_timings& timings) override;
  void densities(int electrons, electronic_result& out) override;
  void solve_canonical(const matrix& H, const matrix& S, int electrons, electronic_result& out) override;

 private:
  void reserve(int n);
  void upload(double* device, const matrix& M, cudaStream_t stream, const char* what);
  void eigen(double* A, double* values, int* info, int n);
  void gemm(cublasOperation_t op_a, cublasOperation_t op_b, int n, int k, const double* A, const double* B, double* C);
  // C (n x occupied, in t_) to P or W: sum over k of weights_k C_k C_k^T, formed in h_.
  void density(const double* weights, int occupied, int n, matrix& R, int first_event);
  // f_k, then f_k eps_k, uploaded, and P and W formed from the orbitals in t_.
  void occupied_densities(int electrons, electronic_result& out, int occupied);
  // Throws cuda_error (not a device fault) where cuSOLVER reported a failure to converge.
  static void expect_converged(const int* info, int count, const char* routine);
  void record(int event) { check(cudaEventRecord(ctx_.events[event], ctx_.compute), "recording an event"); }
  double seconds_between(int from, int to);

  gpu_context ctx_;  // declared first: destroyed after the buffers
  device_array<double> x_, h_, t_;
  device_array<double> overlap_values_, orbital_values_, weights_, vector_;
  device_array<int> info_;
  device_array<std::byte> work_;
  std::vector<std::byte> host_work_;
  std::size_t work_bytes_ = 0;
  int size_ = -1;
};

}  // namespace tbrelax
