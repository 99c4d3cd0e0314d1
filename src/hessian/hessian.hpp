#pragma once
// The Cartesian Hessian of the total energy at the current geometry: the electronic part by
// central differences of the electronic forces, the repulsive part analytically.

#include "state/common_var.hpp"
#include "tb/force.hpp"

namespace tbrelax {

// Displacement of the central differences (angstrom).
inline constexpr double hessian_displacement = 1e-4;

struct separation {
  double dx, dy, dz, r;
};

// From atom i to atom j (counted from 0): the plain separation, or with indper != 0 the
// shortest of it and its 26 neighbouring periodic images (ties keep the earlier candidate).
separation dxdydz(int i, int j, const common_var& c);

// Fills hesel (row: displaced coordinate k = 3a + axis, column: force component), hesrep and
// their symmetrised sum hess, each nat3 x nat3 column-major in eV/angstrom^2, allocating them
// on first use. Calls force 6 at_count times; afterwards the force arrays belong to the last
// displaced geometry, the coordinates are back up to rounding, x0, y0, z0 hold the start.
// With `dipole_derivatives`, the same displaced evaluations also give d mu / d q_k of the
// Mulliken dipole (e angstrom per angstrom): 3 x nat3, column-major, component fastest.
// Before allocating, out_of_memory when the Hessian and the evaluations cannot fit.
void hess_cre(common_var& c, const energy_model& model, std::vector<double>* dipole_derivatives = nullptr);

// hess_cre one row at a time, so that several processes can share the rows. Each row k
// displaces coordinate k by -h and +h, and every evaluation puts all coordinates back only up
// to rounding, so a row depends on the rows before it in the last bits. A row that another
// process computes is passed over by replaying that coordinate arithmetic without evaluating:
// every row comes out, to the bit, as the full sweep gives it, wherever it is computed.
class hessian_sweep {
 public:
  // Saves the coordinates in x0, y0, z0 and sizes hess, hesel and hesrep.
  hessian_sweep(common_var& c, const energy_model& model, bool dipoles);
  hessian_sweep(const hessian_sweep&) = delete;
  hessian_sweep& operator=(const hessian_sweep&) = delete;
  std::size_t rows() const { return static_cast<std::size_t>(c_.nat3); }

  // Row k of hesel, followed by its three dipole derivatives where asked for. Rows are
  // evaluated in ascending order; the ones in between are passed over.
  std::vector<double> evaluate(std::size_t k);
  // Puts row k, computed here or by another process, in its place.
  void store(std::size_t k, const std::vector<double>& row);
  // Passes over the remaining rows, adds the repulsive part and symmetrises: hesel, hesrep,
  // hess and the coordinates as hess_cre leaves them (the force arrays excepted).
  void finish(std::vector<double>* dipole_derivatives = nullptr);

 private:
  void pass_over_until(std::size_t k);

  common_var& c_;
  evaluation_workspace local_;  // for the charges when the caller keeps no workspace
  energy_model model_;
  bool dipoles_;
  std::size_t next_ = 0;  // the first row not yet evaluated or passed over
  std::vector<double> derivatives_;
};

}  // namespace tbrelax
