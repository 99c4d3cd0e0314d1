#include "optimize/constraints.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "driver/evaluation.hpp"
#include "hessian/rigid_modes.hpp"
#include "linalg/eigensolver.hpp"
#include "optimize/model_hessian.hpp"
#include "state/element.hpp"

namespace tbrelax {
namespace {

// Beyond this many atoms the model Hessian's dense eigenproblem (3N x 3N) costs more than the
// evaluations it saves a curvature check: at 444 atoms it took 2.2 s here, about three
// evaluations of that flake, where an unguided check may take thirty; at 1000 atoms about four.
constexpr int largest_modelled_molecule = 1000;
// The preconditioner's dense Cholesky factor (3N x 3N) costs a few evaluations' time at this size.
constexpr int largest_preconditioned_molecule = 1000;
// Added to the model's diagonal (eV/angstrom^2): the rigid motions and the loose contacts
// between the molecules of a complex, flat or nearly so in the model, get the stiffness of a
// soft bend. With 0.1, methane-water's two molecules slid apart in 102 evaluations (10
// without the model); with 0.5 to 2, no molecule of the table needed more than plain L-BFGS.
constexpr double preconditioner_floor = 1.0;

}  // namespace

std::string constraint_fault(const constraints& k, int at_count) {
  const std::string count = " (the molecule has " + std::to_string(at_count) + (at_count == 1 ? " atom)" : " atoms)");
  for (int a : k.fixed)
    if (a < 0 || a >= at_count) return "fixed atom " + std::to_string(a + 1) + " does not exist" + count;
  for (const pulling_pair& p : k.pulls) {
    for (int a : {p.a, p.b})
      if (a < 1 || a > at_count) return "pulled atom " + std::to_string(a) + " does not exist" + count;
    if (p.a == p.b) return "a pulling pair needs two different atoms, not " + std::to_string(p.a) + " twice";
    if (!std::isfinite(p.F)) return "the pulling force must be a finite number";
  }
  std::vector<bool> fixed(at_count, false);
  for (int a : k.fixed) fixed[a] = true;
  if (at_count > 0 && std::find(fixed.begin(), fixed.end(), false) == fixed.end()) return "every atom is fixed: nothing can move";
  return "";
}

molecule_objective::molecule_objective(common_var& c, const energy_model& model, constraints k)
    : c_(c), model_(model), k_(std::move(k)), fixed_(3 * static_cast<std::size_t>(c.at_count), false) {
  start_ = positions();
  for (int a : k_.fixed)
    for (int axis = 0; axis < 3; ++axis) fixed_[3 * a + axis] = true;
}

std::vector<double> molecule_objective::positions() const {
  std::vector<double> x(3 * static_cast<std::size_t>(c_.at_count));
  for (int a = 0; a < c_.at_count; ++a) {
    x[3 * a] = c_.x[a];
    x[3 * a + 1] = c_.y[a];
    x[3 * a + 2] = c_.z[a];
  }
  return x;
}

search_point molecule_objective::evaluate(std::vector<double> x) {
  for (std::size_t k = 0; k < x.size(); ++k)
    if (fixed_[k]) x[k] = start_[k];
  for (int a = 0; a < c_.at_count; ++a) {
    c_.x[a] = x[3 * a];
    c_.y[a] = x[3 * a + 1];
    c_.z[a] = x[3 * a + 2];
  }
  ++evaluations_;
  search_point p;
  p.energy = evaluate_finite(c_, model_);
  p.value = p.energy;
  for (const pulling_pair& pull : k_.pulls) {
    apply_pulling_pair(c_, pull);
    p.value += pulling_energy(c_, pull);
  }
  p.force.resize(x.size());
  for (int a = 0; a < c_.at_count; ++a) {
    p.force[3 * a] = c_.fx[a];
    p.force[3 * a + 1] = c_.fy[a];
    p.force[3 * a + 2] = c_.fz[a];
  }
  for (std::size_t k = 0; k < x.size(); ++k)
    if (fixed_[k]) p.force[k] = 0.0;
  p.x = std::move(x);
  return p;
}

curvature_space molecule_objective::curvature_space_at(const search_point& at) {
  curvature_space space{c_.amass, fixed_, {}, {}};
  space.mass.resize(at.x.size(), 1.0);
  publish(at);
  space.rigid = k_.fixed.empty() ? rigid_modes(c_).vectors : rotations_about_fixed_atoms(at, space.mass);
  if (c_.at_count <= largest_modelled_molecule) space.model = model_of(at);
  return space;
}

std::vector<std::vector<double>> molecule_objective::rotations_about_fixed_atoms(const search_point& at,
                                                                                  const std::vector<double>& mass) const {
  // A rotation with axis w through the fixed atoms' centre c leaves them in place when
  // w x (r_f - c) = 0 for each: w in the null space of the sum of [r_f - c]x^T [r_f - c]x,
  // which is all of space for one fixed atom and the line through two or more collinear ones.
  std::array<double, 3> c{};
  for (int f : k_.fixed)
    for (int axis = 0; axis < 3; ++axis) c[axis] += at.x[3 * f + axis] / static_cast<double>(k_.fixed.size());
  double spread = 0;
  std::array<double, 9> A{};
  for (int f : k_.fixed) {
    const double d[3] = {at.x[3 * f] - c[0], at.x[3 * f + 1] - c[1], at.x[3 * f + 2] - c[2]};
    const double dd = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
    spread = std::max(spread, dd);
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) A[3 * i + j] += (i == j ? dd : 0.0) - d[i] * d[j];
  }
  std::array<double, 3> values{};
  std::array<double, 3> scratch{};
  int ierr = 0;
  eisrs1(3, 3, values.data(), A.data(), ierr, scratch.data());
  std::vector<std::vector<double>> rotations;
  if (ierr != 0) return rotations;
  const std::size_t n = at.x.size();
  for (int k = 0; k < 3; ++k) {
    if (values[k] > 1e-8 * std::max(spread, 1.0)) continue;
    const double* w = A.data() + 3 * k;
    std::vector<double> v(n, 0.0);
    for (std::size_t a = 0; 3 * a < n; ++a) {
      if (fixed_[3 * a]) continue;
      const double d[3] = {at.x[3 * a] - c[0], at.x[3 * a + 1] - c[1], at.x[3 * a + 2] - c[2]};
      const double m = std::sqrt(mass[3 * a]);
      v[3 * a] = m * (w[1] * d[2] - w[2] * d[1]);
      v[3 * a + 1] = m * (w[2] * d[0] - w[0] * d[2]);
      v[3 * a + 2] = m * (w[0] * d[1] - w[1] * d[0]);
    }
    for (const std::vector<double>& u : rotations) {
      const double overlap = dot(u, v);
      for (std::size_t i = 0; i < n; ++i) v[i] -= overlap * u[i];
    }
    const double length = std::sqrt(dot(v, v));
    if (!(length > 1e-8)) continue;  // every free atom on the axis
    for (double& q : v) q /= length;
    rotations.push_back(std::move(v));
  }
  return rotations;
}

std::vector<double> molecule_objective::model_of(const search_point& at) const {
  std::vector<std::array<double, 3>> r;
  std::vector<int> period;
  for (int a = 0; a < c_.at_count; ++a) {
    r.push_back({at.x[3 * a], at.x[3 * a + 1], at.x[3 * a + 2]});
    period.push_back(data_of(c_.at_type[a]).symbol == 'H' ? 1 : 2);
  }
  return model_hessian(r, period);
}

std::vector<double> molecule_objective::preconditioner_at(const search_point& at) {
  if (c_.at_count > largest_preconditioned_molecule) return {};
  std::vector<double> P = model_of(at);
  const std::size_t n = at.x.size();
  for (std::size_t k = 0; k < n; ++k) {
    P[k * n + k] += preconditioner_floor;
    if (!fixed_[k]) continue;
    for (std::size_t j = 0; j < n; ++j) P[k * n + j] = P[j * n + k] = 0.0;
    P[k * n + k] = 1e6;
  }
  return P;
}

void molecule_objective::publish(const search_point& p) {
  for (int a = 0; a < c_.at_count; ++a) {
    c_.x[a] = p.x[3 * a];
    c_.y[a] = p.x[3 * a + 1];
    c_.z[a] = p.x[3 * a + 2];
    c_.fx[a] = p.force[3 * a];
    c_.fy[a] = p.force[3 * a + 1];
    c_.fz[a] = p.force[3 * a + 2];
  }
}

}  // namespace tbrelax
