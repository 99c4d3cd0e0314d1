// The run-time choice between the GPU and the CPU solver.

#include <charconv>
#include <cstdlib>
#include <cstring>

#include "linalg/backends/cuda/cuda_error.hpp"
#include "linalg/backends/cuda/cuda_solver.hpp"

namespace tbrelax {

int parse_gpu_min_basis(const char* text) {
  if (!text || !*text) return default_gpu_min_basis;
  const char* end = text + std::strlen(text);
  int value = 0;
  const auto [stop, error] = std::from_chars(text, end, value);
  if (error != std::errc() || stop != end || value < 0) return default_gpu_min_basis;
  return value;
}

int gpu_min_basis_from_environment() { return parse_gpu_min_basis(std::getenv(gpu_min_basis_variable)); }

cuda_dispatch_solver::cuda_dispatch_solver(std::unique_ptr<electronic_solver> cpu, int min_basis)
    : cpu_(std::move(cpu)), min_basis_(min_basis) {}

cuda_dispatch_solver::~cuda_dispatch_solver() = default;

std::string cuda_dispatch_solver::name() const { return "cuda+" + cpu_->name(); }

bool cuda_dispatch_solver::gpu_ready() {
  if (!looked_for_device_) {
    looked_for_device_ = true;
    gpu_ = make_cuda_solver(&problem_);
  }
  return gpu_ != nullptr;
}

void cuda_dispatch_solver::solve(const matrix& H, const matrix& S, int electrons, electronic_result& out) {
  last_on_gpu_ = false;
  if (S.rows() >= min_basis_ && gpu_ready()) {
    try {
      gpu_->solve(H, S, electrons, out);
      last_on_gpu_ = true;
      return;
    } catch (const cuda_error& e) {
      // The CPU redoes this problem from the start; after a device fault the GPU is let go.
      if (e.device_fault()) {
        problem_ = e.what();
        gpu_.reset();
      }
    }
  }
  cpu_->solve(H, S, electrons, out);
}

}  // namespace tbrelax
