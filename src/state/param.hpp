#pragma once
// The model constants (`param`) and the driver settings (`drive`): plain data, written once
// by read_param and read-only afterwards.

#include <array>
#include <cstdint>

namespace tbrelax {

// Element x shell table, looked up as table(element, shell) with element 1..4 (H, C, N, O)
// and shell 1 (valence s) or 2 (valence p). Stored column-major like every table of the model.
struct shell_table {
  std::array<double, 8> v{};
  constexpr double operator()(int element, int shell) const { return v[(element - 1) + 4 * (shell - 1)]; }
  constexpr double& operator()(int element, int shell) { return v[(element - 1) + 4 * (shell - 1)]; }
};

// Symmetric element-pair table, looked up as table(element of atom a, element of atom b).
struct pair_table {
  std::array<double, 16> v{};
  constexpr double operator()(int a, int b) const { return v[(a - 1) + 4 * (b - 1)]; }
  constexpr double& operator()(int a, int b) { return v[(a - 1) + 4 * (b - 1)]; }
};

struct param {
  shell_table ksi;    // Slater exponents (1/angstrom)
  shell_table h;      // on-site orbital energies (eV)
  pair_table r0;      // reference distance (angstrom), Hamiltonian scaling and repulsion
  pair_table k0;      // prefactor of the off-site Hamiltonian scaling
  pair_table delta;   // decay constant of the off-site Hamiltonian scaling (1/angstrom)
  pair_table fi0;     // prefactor of the repulsive pair energy (eV)
  pair_table betta;   // decay constant of the repulsive pair energy (1/angstrom)
};

struct drive {
  std::array<double, 4> visc{};  // inert setting, kept for completeness
  double step = 0;               // steepest-descent step: x += step * F (angstrom per eV/angstrom)
  std::int32_t ntype = 0;        // inert setting
  double dsig = 0;               // inert setting
};

}  // namespace tbrelax
