// The fast displacement loop against a literal transcription of the finite-difference forces
// over whole matrices: displace the shared coordinate, re-assemble atom i's pairs into the
// full S and H, difference every element, contract everything, put the coordinate back.
#include <gtest/gtest.h>

#include "linalg/electronic_solver.hpp"
#include "support/molecules.hpp"
#include "tb/assembly.hpp"
#include "tb/force.hpp"

namespace tbrelax {
namespace {

using testing::molecule;
using testing::test_model;

// felx, fely, felz by the literal algorithm; leaves the coordinates as it does.
void literal_electronic_forces(common_var& c, const param& par, electronic_solver& solver) {
  const int n = c.wfunc_count;
  matrix S(n), H(n);
  assemble_overlap(all_atoms, c, par, S);
  assemble_hamiltonian(all_atoms, c, par, S, H);
  const matrix S0 = S, H0 = H;
  electronic_result r;
  solver.solve(H, S, c.el_count, r);
  const double d = force_displacement;
  std::vector<double>* q[3] = {&c.x, &c.y, &c.z};
  std::vector<double>* fel[3] = {&c.felx, &c.fely, &c.felz};
  for (int i = 0; i < c.at_count; ++i) {
    S = S0;
    H = H0;
    for (int axis = 0; axis < 3; ++axis) {
      const double v = (*q[axis])[i] + d;
      (*q[axis])[i] = v;
      assemble_overlap(i, c, par, S);
      assemble_hamiltonian(i, c, par, S, H);
      double sum_w = 0, sum_p = 0;
      for (int nu = 0; nu < n; ++nu)
        for (int mu = 0; mu < n; ++mu) {
          sum_w += r.W(mu, nu) * ((S(mu, nu) - S0(mu, nu)) / d);
          sum_p += r.P(mu, nu) * ((H(mu, nu) - H0(mu, nu)) / d);
        }
      (*fel[axis])[i] = sum_w - sum_p;
      (*q[axis])[i] = v - d;
    }
  }
}

TEST(ForceReference, FastDisplacementLoopEqualsTheLiteralOneBitForBit) {
  for (const auto& atoms : {testing::water_atoms(), testing::formaldehyde_atoms(), testing::bent_n2o_atoms(),
                            testing::ammonia_atoms()}) {
    test_model m;
    common_var fast = molecule(atoms), literal = molecule(atoms);
    // Coordinates whose (q + d) - d differs from q exercise the restored-coordinate rule.
    fast.x[1] = literal.x[1] = 1e-6;  // (1e-6 + 1e-7) - 1e-7 is not 1e-6
    force(fast, m.model);
    literal_electronic_forces(literal, m.par, *m.solver);
    EXPECT_EQ(fast.felx, literal.felx);
    EXPECT_EQ(fast.fely, literal.fely);
    EXPECT_EQ(fast.felz, literal.felz);
    EXPECT_EQ(fast.x, literal.x);
    EXPECT_EQ(fast.y, literal.y);
    EXPECT_EQ(fast.z, literal.z);
  }
}

}  // namespace
}  // namespace tbrelax
