#pragma once
// An objective with some internal coordinates held at set values: every point it evaluates
// is first moved onto the surface where they hold (a Newton projection, to rounding), and the
// forces it returns are projected onto that surface's tangent space. The part taken out is
// the constraint force, one Lagrange multiplier per coordinate. Any step strategy then
// relaxes everything else while the coordinates stay exactly where they were put, which a
// restraining spring could only approach by stiffening without bound.

#include <vector>

#include "optimize/internal_coordinate.hpp"
#include "optimize/objective.hpp"

namespace tbrelax {

// The largest departure from its set value a held coordinate may keep (angstrom or radian).
inline constexpr double held_tolerance = 1e-12;

class held_coordinates final : public objective {
 public:
  held_coordinates(objective& inner, std::vector<internal_coordinate> held);
  // The values at which the coordinates are held (angstrom, radian).
  void hold_at(std::vector<double> targets);
  const std::vector<double>& targets() const { return targets_; }
  // x moved onto the constraint surface by the shortest Newton steps. Throws
  // numerical_error when a coordinate becomes undefined (atoms in a line) or the projection
  // does not converge.
  std::vector<double> projected(std::vector<double> x) const;
  // The point at x projected; its force is the tangential part of the inner objective's.
  search_point evaluate(std::vector<double> x) override;
  // At the last point evaluated: dE/dq of each held coordinate, the generalised force the
  // constraint supplies (eV/angstrom, eV/radian); positive when the coordinate would shrink
  // if let go.
  const std::vector<double>& constraint_forces() const { return constraint_forces_; }

 private:
  objective& inner_;
  std::vector<internal_coordinate> held_;
  std::vector<double> targets_;
  std::vector<double> constraint_forces_;
};

}  // namespace tbrelax
