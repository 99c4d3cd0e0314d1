#pragma once
// The electronic forces by forward differences of S and H, one atom and one direction at a time.

#include <array>
#include <vector>

#include "linalg/matrix.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"

namespace tbrelax {

// The coordinates that atom i's displacements see. They are displaced and restored one after
// another, each restored coordinate being (q + d) - d: so the atoms before i and the
// coordinates of i already passed carry their restored values, the rest their own.
class displacement_view {
 public:
  explicit displacement_view(const common_var& c, double d);
  // Atom j while atom i is displaced along `axis` (0, 1, 2); axis 3 means after i's passes.
  std::array<double, 3> position(int j, int i, int axis) const;
  // Every coordinate restored, as the call leaves them.
  const std::array<std::vector<double>, 3>& restored() const { return restored_; }
  double displacement() const { return d_; }

 private:
  const common_var& c_;
  double d_;
  std::array<std::vector<double>, 3> restored_;
};

// felx, fely, felz of every atom from the undisplaced S0, H0 and the density matrices P, W.
// Each displacement touches only the rows and columns of the displaced atom: everything else
// is exactly zero in dS and dH, so the contraction skips it and keeps the column-by-column
// order of the remaining terms. Atoms are shared out over the threads.
void electronic_forces(common_var& c, const param& par, const displacement_view& view, const matrix& S0,
                       const matrix& H0, const matrix& P, const matrix& W);

}  // namespace tbrelax
