#pragma once
// One evaluation of the model for a periodic structure: the lattice sums of the pair terms,
// the Bloch problem at every k-point, occupations at an electronic temperature, the energies
// E, F = E - T S_el and E0 = (E + F) / 2, the forces -dF/dr and the Mulliken charges.

#include <array>
#include <optional>
#include <vector>

#include "linalg/electronic_solver.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"
#include "state/periodic_cell.hpp"
#include "tb/kpoint_grid.hpp"

namespace tbrelax {

struct periodic_settings {
  periodic_cell cell;
  std::vector<kpoint> kpoints;          // weights summing to 1
  double electronic_temperature = 0;    // K
  bool stress = true;                   // gather the strain derivative (self-image terms too)
};

struct periodic_evaluation {
  double energy = 0;        // E = E_rep + sum_k w_k sum_n f eps - E_atoms (eV per cell)
  double free_energy = 0;   // F = E - T S_el
  double energy_zero = 0;   // E0 = (E + F) / 2
  double entropy = 0;       // S_el (eV/K)
  double repulsive_energy = 0;
  double fermi_level = 0;   // eV
  // Gamma only at T = 0: the molecular filling, with the frontier orbitals' energies.
  bool molecular_filling = false;
  double homo = 0;
  std::optional<double> lumo;
  // For an even electron count: the lowest level of the first empty band over all k-points
  // minus the highest of the last filled one, where positive.
  std::optional<double> band_gap;
  // At T = 0 the last electrons went into a degenerate level only partly: the forces then
  // depend on which vectors of that level the solver returned.
  bool degenerate_edge = false;
  std::vector<std::vector<double>> eps;  // per k-point, ascending
  std::vector<double> charges;           // Mulliken, per atom (e)
  // dF/deps_ij (eV) under a homogeneous strain of every position and every lattice vector,
  // from the pair virial of the band and repulsive terms, self-images included.
  std::array<std::array<double, 3>, 3> strain_derivative{};
  std::size_t lattice_terms = 0;
};

// Memory the k-point storage of an evaluation holds (bytes), checked before it is allocated.
std::uint64_t periodic_storage_bytes(std::int64_t basis, std::size_t kpoints);

// At c's coordinates: fills felx..felz, frepx..frepz and fx..fz (-dF/dr, eV/angstrom; every
// image of an atom moves with it) and returns the energies. The electronic forces contract the
// real-space density matrices P(T), W(T) with the derivatives of each term's pair block, taken
// by central differences of step pair_block_step. Gamma only at T = 0 solves with `solver`
// and fills orbitals as for a molecule; otherwise every k-point is solved on its own (shared
// out over the threads) and filled by Fermi-Dirac. Throws input_rejected for a structure the
// lattice sums cannot take and out_of_memory before allocating storage that cannot fit.
periodic_evaluation evaluate_periodic(common_var& c, const param& par, const periodic_settings& settings,
                                      electronic_solver& solver);

// Step (angstrom) of the central differences of the pair blocks: their error, about
// step^2 |B'''| / 6, and the rounding, about 1e-16 / step, both stay near 1e-10.
inline constexpr double pair_block_step = 1e-5;

}  // namespace tbrelax
