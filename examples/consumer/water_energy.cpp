// The energy, charges and dipole of water from the tbrelax library.
#include <cstdio>

#include "driver/model_session.hpp"
#include "state/element.hpp"
#include "tb/charges.hpp"

int main() {
  using namespace tbrelax;
  model_session s;
  load_molecule(s.c, {oxygen, hydrogen, hydrogen}, {{0, 0, 0.117}, {0, 0.757, -0.467}, {0, -0.757, -0.467}});
  const double E = force(s.c, s.model);
  const std::vector<double> q = mulliken_charges(s.c, s.workspace);
  const double mu_z = dipole_moment(s.c, q)[2] * debye_per_e_angstrom;
  std::printf("E = %.6f eV, q(O) = %.4f e, dipole z = %.4f D\n", E, q[0], mu_z);
}
