#pragma once
// The batch of the throughput benchmark over MPI ranks: 40 small and medium molecules (8 to 44
// atoms), alkane chains of 3 to 14 carbons, benzene and coronene, each with its own small
// displacement of every atom so that every relaxation has work to do and no two are alike.

#include <string>
#include <vector>

#include "bench/molecules.hpp"

namespace tbrelax::bench {

std::vector<molecule_spec> batch_molecules();

// Writes batch_molecules() as DIR/m01.xyz ... DIR/m40.xyz (structure files tbcalc reads) and
// returns their paths; beside them DIR/hessian.xyz, a flake of about 250 basis functions whose
// one Hessian is worth sharing.
std::vector<std::string> write_batch(const std::string& dir);

}  // namespace tbrelax::bench
