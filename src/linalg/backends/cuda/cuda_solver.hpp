#pragma once
// The electronic solver on an NVIDIA GPU (cuSOLVER and cuBLAS), and the solver that chooses
// between it and a CPU solver at run time. This header needs no CUDA headers.
//
// The GPU path takes the same two routes as the CPU path (route_solver.hpp). The Cholesky route:
// Xpotrf, the reduction to standard form by two triangular solves, Xsyevd, the back substitution
// of the occupied orbitals and the P and W sums on the device; S and H go up once, the factor's
// diagonal (for its test), eps, P and W come down once. The canonical route: both
// eigendecompositions, the three products and the sums on the device, the overlap eigenvalues
// coming down for the negative-eigenvalue report. Either holds three n x n matrices on the
// device plus the eigensolver's workspace.

#include <memory>
#include <string>

#include "linalg/electronic_solver.hpp"

namespace tbrelax {

// Below this basis size the default solver stays on the CPU: launching and transferring cost
// more than the GPU saves on small matrices. A conservative guess until measured; the
// environment variable below overrides it.
inline constexpr int default_gpu_min_basis = 400;
inline constexpr const char* gpu_min_basis_variable = "TBRELAX_GPU_MIN_BASIS";

// The threshold in `text` (a decimal integer >= 0; 0 sends every size to the GPU), or the default
// for a missing, empty or malformed value.
int parse_gpu_min_basis(const char* text);
int gpu_min_basis_from_environment();

// Why no GPU can be used here, starting "no usable CUDA device: ", or empty when one can.
std::string cuda_device_problem();

// A solver that always runs on the GPU, or null (with the reason in *problem) where there is no
// usable device. Its solve throws cuda_error when a step on the device fails.
std::unique_ptr<electronic_solver> make_cuda_solver(std::string* problem = nullptr);

// Runs basis sizes from min_basis up on the GPU and everything else on `cpu`. The device is
// looked for on the first large problem only, so small molecules never start CUDA. When it is
// missing or a device fault occurs, this and every later problem go to the CPU; a problem the
// GPU eigensolver fails to converge on goes to the CPU alone.
class cuda_dispatch_solver final : public electronic_solver {
 public:
  cuda_dispatch_solver(std::unique_ptr<electronic_solver> cpu, int min_basis);
  ~cuda_dispatch_solver() override;

  std::string name() const override;  // "cuda+" and the CPU solver's name
  void solve(const matrix& H, const matrix& S, int electrons, electronic_result& out) override;

  int min_basis() const { return min_basis_; }
  bool last_solve_on_gpu() const { return last_on_gpu_; }
  // Why the GPU is no longer used, or empty while it is (or has not been needed yet).
  const std::string& gpu_problem() const { return problem_; }

 private:
  bool gpu_ready();

  std::unique_ptr<electronic_solver> cpu_;
  std::unique_ptr<electronic_solver> gpu_;
  int min_basis_;
  bool looked_for_device_ = false;
  bool last_on_gpu_ = false;
  std::string problem_;
};

}  // namespace tbrelax
