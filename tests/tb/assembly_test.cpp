#include "tb/assembly.hpp"

#include <gtest/gtest.h>

#include "support/molecules.hpp"
#include "tb/overlap_integrals.hpp"

namespace tbrelax {
namespace {

using testing::molecule;
using testing::test_model;

struct assembled {
  matrix S, H;
};

assembled assemble(const common_var& c, const param& par) {
  assembled m{matrix(c.wfunc_count), matrix(c.wfunc_count)};
  assemble_overlap(all_atoms, c, par, m.S);
  assemble_hamiltonian(all_atoms, c, par, m.S, m.H);
  return m;
}

TEST(Assembly, HydrogenMoleculeElements) {
  test_model t;
  auto m = assemble(molecule({{'H', {0, 0, 0}}, {'H', {0.74, 0, 0}}}), t.par);
  EXPECT_NEAR(m.S(0, 1), 0.6363882240, 1e-10);
  EXPECT_NEAR(m.H(0, 1), -11.4545960143, 1e-9);
  EXPECT_EQ(m.H(0, 0), -10.7);
  EXPECT_EQ(m.S(1, 0), m.S(0, 1));
}

TEST(Assembly, PairAlongXHasOnlySigmaAndPiCouplings) {
  test_model t;
  const double R = 1.3;
  auto m = assemble(molecule({{'C', {0, 0, 0}}, {'O', {R, 0, 0}}}), t.par);
  // Rows are C's s px py pz, columns O's (offset 4).
  EXPECT_EQ(m.S(0, 4), in2s2s(R, 2, 4, t.par));
  EXPECT_EQ(m.S(0, 5), in2s2p(R, 2, 4, t.par));
  EXPECT_EQ(m.S(1, 4), -in2s2p(R, 4, 2, t.par));
  EXPECT_EQ(m.S(1, 5), in2p2pq(R, 2, 4, t.par));
  EXPECT_EQ(m.S(2, 6), in2p2ppi(R, 2, 4, t.par));
  EXPECT_EQ(m.S(3, 7), in2p2ppi(R, 2, 4, t.par));
  for (auto [i, j] : {std::pair{0, 6}, {0, 7}, {2, 4}, {3, 4}, {1, 6}, {2, 5}, {2, 7}, {3, 6}}) EXPECT_EQ(m.S(i, j), 0.0);
}

TEST(Assembly, RestrictedAssemblyWithUnchangedCoordinatesIsBitIdentical) {
  test_model t;
  const common_var c = molecule(testing::formaldehyde_atoms());
  const auto full = assemble(c, t.par);
  for (int i = 0; i < c.at_count; ++i) {
    // Start from a copy whose atom-i rows and columns are spoiled, and rebuild only those.
    assembled m = full;
    const auto offsets = basis_offsets(c);
    for (int k = offsets[i]; k < offsets[i + 1]; ++k)
      for (int l = 0; l < c.wfunc_count; ++l) m.S(k, l) = m.S(l, k) = m.H(k, l) = m.H(l, k) = 7.0;
    assemble_overlap(i, c, t.par, m.S);
    assemble_hamiltonian(i, c, t.par, m.S, m.H);
    EXPECT_TRUE(m.S == full.S) << i;
    EXPECT_TRUE(m.H == full.H) << i;
  }
}

TEST(Assembly, BasisOrderFollowsTheInput) {
  const common_var c = molecule({{'H', {0, 0, 0}}, {'O', {1, 0, 0}}, {'H', {2, 0, 0}}, {'N', {3, 0, 0}}});
  EXPECT_EQ(basis_offsets(c), (std::vector<int>{0, 1, 5, 6, 10}));
  EXPECT_EQ(c.wfunc_count, 10);
}

}  // namespace
}  // namespace tbrelax
