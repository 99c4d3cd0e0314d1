// The choice of the electronic solver: which ones exist is fixed at build time by the options.

#include "linalg/electronic_solver.hpp"

#ifdef TBRELAX_HAVE_LAPACK
#include "linalg/backends/lapack/lapack_solver.hpp"
#endif
#ifdef TBRELAX_HAVE_CUDA
#include "linalg/backends/cuda/cuda_solver.hpp"
#endif

namespace tbrelax {
namespace {

// The best CPU solver of this build.
std::unique_ptr<electronic_solver> make_cpu_solver() {
#ifdef TBRELAX_HAVE_LAPACK
  return make_lapack_solver();
#else
  return make_own_solver();
#endif
}

}  // namespace

std::unique_ptr<electronic_solver> make_default_solver() {
#ifdef TBRELAX_HAVE_CUDA
  // The GPU from TBRELAX_GPU_MIN_BASIS basis functions up where a device is usable, else the CPU.
  return std::make_unique<cuda_dispatch_solver>(make_cpu_solver(), gpu_min_basis_from_environment());
#else
  return make_cpu_solver();
#endif
}

std::unique_ptr<electronic_solver> make_solver(const std::string& name) {
  if (name == "own") return make_own_solver();
  if (name == "default") return make_default_solver();
#ifdef TBRELAX_HAVE_LAPACK
  if (name == "lapack") return make_lapack_solver();
#endif
#ifdef TBRELAX_HAVE_CUDA
  // Always on the GPU, whatever the size; null on a machine without a usable device.
  if (name == "cuda") return make_cuda_solver();
#endif
  return nullptr;
}

std::vector<std::string> available_solvers() {
  std::vector<std::string> names{"own"};
#ifdef TBRELAX_HAVE_LAPACK
  names.push_back("lapack");
#endif
#ifdef TBRELAX_HAVE_CUDA
  names.push_back("cuda");
#endif
  return names;
}

}  // namespace tbrelax
