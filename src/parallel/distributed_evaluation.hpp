#pragma once
// One molecule's electronic step shared by every process of a run: S, H, P, W and the orbitals
// laid out block-cyclically over a process grid (ScaLAPACK and ELPA), so that no process holds
// a whole n x n matrix. Every process must evaluate the same coordinates at the same time, and
// every process gets the same orbital energies, electronic forces and populations.

#include <memory>

#include "parallel/work_sharing.hpp"
#include "tb/force.hpp"

namespace tbrelax {

// Whether this build has the distributed step (TBRELAX_ELPA).
bool distributed_step_built();

// Block size of the layout: 64 suits the libraries' kernels; tests take a small one so that
// a small molecule wraps round the grid several times.
inline constexpr int default_distributed_block = 64;

// The step over the processes of `group` (over this process alone when the run was not started
// by an MPI launcher); null where this build has none.
std::unique_ptr<electronic_step> make_distributed_step(work_sharing& group, int block = default_distributed_block);

}  // namespace tbrelax
