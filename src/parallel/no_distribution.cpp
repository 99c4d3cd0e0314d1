// A build without ELPA: no distributed electronic step.
#include "parallel/distributed_evaluation.hpp"

namespace tbrelax {

bool distributed_step_built() { return false; }

std::unique_ptr<electronic_step> make_distributed_step(work_sharing&, int) { return nullptr; }

}  // namespace tbrelax
