#pragma once
// The failure of a step of the electronic solve on the GPU.

#include <stdexcept>
#include <string>

namespace tbrelax {

// A device fault (no usable device, device memory exhausted, a failed CUDA, cuBLAS or cuSOLVER
// call) means the solver that met it should not try the GPU again. Otherwise only this problem
// failed there (an eigensolver that did not converge), and the next one may still run on it.
class cuda_error : public std::runtime_error {
 public:
  explicit cuda_error(const std::string& what, bool device_fault = true)
      : std::runtime_error(what), device_fault_(device_fault) {}
  bool device_fault() const { return device_fault_; }

 private:
  bool device_fault_;
};

}  // namespace tbrelax
