#pragma once
// What the optimisers see of the problem: a function of 3N coordinates (atom by atom, x y z)
// with its forces, minus its gradient. The molecule, its energy model and its constraints
// stay behind this interface; the analytic test functions stand in front of it alike.

#include <cstdint>
#include <span>
#include <vector>

namespace tbrelax {

// Where a check of the curvature at a point works: coordinates weighted by the square root of
// their masses, the coordinates that may not move left out, and the motions that never change
// the function (a free molecule's translations and rotations) projected out.
struct curvature_space {
  std::vector<double> mass;                 // per coordinate (amu); all 1 for unweighted coordinates
  std::vector<bool> frozen;                 // per coordinate: may not move
  std::vector<std::vector<double>> rigid;   // orthonormal mass-weighted directions left out
  // A model of the Cartesian Hessian (row-major, eV/angstrom^2 for a molecule) that tells soft
  // directions from stiff ones; empty when the objective has none.
  std::vector<double> model;
};

struct search_point {
  std::vector<double> x;      // coordinates, 3 per atom
  double value = 0;           // the function minimised
  double energy = 0;          // the energy reported with the point (the value less any pulling potential)
  std::vector<double> force;  // minus the gradient of value; zero on coordinates that may not move
};

class objective {
 public:
  virtual ~objective() = default;
  // The point at x. Coordinates that may not move are put back to their values before the
  // call, so the point returned may differ from x there.
  virtual search_point evaluate(std::vector<double> x) = 0;
  std::int64_t evaluations() const { return evaluations_; }
  // The space of curvature checks at `at`: by default unit masses, every coordinate free,
  // nothing projected out.
  virtual curvature_space curvature_space_at(const search_point& at);
  // A model of the Hessian at `at` (row-major, positive definite) to precondition a step
  // with; empty, the default, where the objective has none.
  virtual std::vector<double> preconditioner_at(const search_point& at);

 protected:
  std::int64_t evaluations_ = 0;
};

// Vector helpers of the optimisers, over whole coordinate vectors.
double dot(std::span<const double> a, std::span<const double> b);
// The largest |(v[3a], v[3a+1], v[3a+2])| over the atoms a.
double largest_atom_norm(std::span<const double> v);
bool all_finite(std::span<const double> v);

}  // namespace tbrelax
