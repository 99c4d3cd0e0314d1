// Whether this machine has a GPU the solver can use, asked afresh on each call (the answer is
// kept by the solvers that need it, not here).

#include <cuda_runtime_api.h>

#include <string>

#include "linalg/backends/cuda/cuda_kernels.hpp"
#include "linalg/backends/cuda/cuda_solver.hpp"

namespace tbrelax {

std::string cuda_device_problem() {
  const std::string prefix = "no usable CUDA device: ";
  int count = 0;
  cudaError_t status = cudaGetDeviceCount(&count);
  if (status != cudaSuccess) return prefix + cudaGetErrorString(status);
  if (count == 0) return prefix + "none found";
  // Starting the runtime on the current device (CUDA_VISIBLE_DEVICES chooses it) shows whether it
  // accepts work at all, for example when it is in exclusive use by another process.
  status = cudaFree(nullptr);
  if (status != cudaSuccess) return prefix + cudaGetErrorString(status);
  status = kernels_loadable();
  if (status != cudaSuccess) {
    int device = 0;
    cudaDeviceProp properties{};
    std::string which = "this device";
    if (cudaGetDevice(&device) == cudaSuccess && cudaGetDeviceProperties(&properties, device) == cudaSuccess)
      which = std::string(properties.name) + " (compute capability " + std::to_string(properties.major) + "." +
              std::to_string(properties.minor) + ")";
    return prefix + "this build has no code for " + which + ": " + cudaGetErrorString(status) +
           "; configure with CMAKE_CUDA_ARCHITECTURES naming it";
  }
  return {};
}

}  // namespace tbrelax
