#pragma once
// The real-space half of a periodic evaluation: from the density matrices of the k-points, the
// sums over the lattice terms of the repulsion, the overlap populations, the forces and the
// strain derivative (the virial). Each term's share is computed on whichever thread takes it
// and the shares are added in the order of the terms, so that the results do not depend on the
// number of threads nor vary from run to run.

#include <array>
#include <vector>

#include "linalg/matrix.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"
#include "tb/assembly.hpp"
#include "tb/kpoint_grid.hpp"
#include "tb/lattice_terms.hpp"

namespace tbrelax {

// The density matrices of one k-point: P(k) = sum_n f_n c_n c_n^H and W(k) likewise weighted
// by eps_n, real and imaginary parts (the imaginary ones empty at k = 0).
struct kpoint_densities {
  matrix P_re, P_im, W_re, W_im;
};

struct lattice_pair_sums {
  double repulsion = 0;
  std::vector<std::array<double, 3>> electronic_force, repulsive_force;  // per atom, eV/A
  std::vector<double> overlap_population;  // per atom: the off-site part of its Mulliken population
  std::array<std::array<double, 3>, 3> strain_derivative{};  // dF/d eps_ij, eV (with `stress` only)
};

// Sums over `terms` (with their pair blocks) for the k-points' weights and densities. The
// forces are minus the derivatives of the band and repulsive energies, the band part from
// central differences of the pair blocks (step pair_block_step).
lattice_pair_sums sum_lattice_pairs(const common_var& c, const param& par, const std::vector<lattice_term>& terms,
                                    const std::vector<pair_block>& blocks, const std::vector<kpoint>& kpoints,
                                    const std::vector<kpoint_densities>& densities, bool stress);

}  // namespace tbrelax
