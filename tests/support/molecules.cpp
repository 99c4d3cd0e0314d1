#include "support/molecules.hpp"

#include <cmath>
#include <stdexcept>

#include "params/read_param.hpp"
#include "state/element.hpp"

namespace tbrelax::testing {

common_var molecule(const std::vector<atom>& atoms) {
  std::vector<std::int32_t> types;
  std::vector<std::array<double, 3>> positions;
  for (const atom& a : atoms) {
    auto e = element_from_symbol(a.symbol);
    if (!e) throw std::invalid_argument("not an element of the model");
    types.push_back(*e);
    positions.push_back(a.r);
  }
  common_var c;
  load_molecule(c, types, positions, "test");
  // The pulling pairs are part of every state the program builds.
  param par;
  drive drv;
  read_param(par, drv, c);
  return c;
}

std::vector<atom> water_atoms() { return {{'O', {0.0, 0.0, 0.117}}, {'H', {0.0, 0.757, -0.467}}, {'H', {0.0, -0.757, -0.467}}}; }

std::vector<atom> methane_atoms() {
  const double d = 0.63;
  return {{'C', {0, 0, 0}}, {'H', {d, d, d}}, {'H', {-d, -d, d}}, {'H', {-d, d, -d}}, {'H', {d, -d, -d}}};
}

std::vector<atom> ammonia_atoms() {
  return {{'N', {0, 0, 0.11}}, {'H', {0, 0.94, -0.26}}, {'H', {0.81, -0.47, -0.26}}, {'H', {-0.81, -0.47, -0.26}}};
}

std::vector<atom> formaldehyde_atoms() {
  return {{'C', {0, 0, 0}}, {'O', {0, 0, 1.21}}, {'H', {0, 0.94, -0.58}}, {'H', {0, -0.94, -0.58}}};
}

std::vector<atom> hcn_atoms() { return {{'H', {0, 0, -1.07}}, {'C', {0, 0, 0}}, {'N', {0, 0, 1.16}}}; }

std::vector<atom> bent_n2o_atoms() { return {{'N', {0, 0, 0}}, {'N', {1.13, 0, 0}}, {'O', {2.3, 0.15, 0.05}}}; }

std::vector<atom> benzene_atoms() {
  std::vector<atom> atoms;
  for (int k = 0; k < 6; ++k) {
    const double a = k * 3.14159265358979323846 / 3;
    atoms.push_back({'C', {1.39 * std::cos(a), 1.39 * std::sin(a), 0}});
    atoms.push_back({'H', {2.47 * std::cos(a), 2.47 * std::sin(a), 0}});
  }
  return atoms;
}

double numerical_force(common_var c, test_model& m, int a, int axis, double h) {
  std::vector<double>* q[3] = {&c.x, &c.y, &c.z};
  const double q0 = (*q[axis])[a];
  (*q[axis])[a] = q0 + h;
  const double plus = force(c, m.model);
  (*q[axis])[a] = q0 - h;
  const double minus = force(c, m.model);
  return -(plus - minus) / (2 * h);
}

}  // namespace tbrelax::testing
