// The model Hessian: the stretch of H2 by hand, and on molecules the invariances of any
// Hessian of an isolated molecule (symmetric, flat along translations and rotations, never
// negative).
#include "optimize/model_hessian.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "linalg/eigensolver.hpp"
#include "state/element.hpp"
#include "support/molecules.hpp"

namespace tbrelax {
namespace {

TEST(ModelHessian, StretchOfHydrogenByHand) {
  const double r = 0.74, bohr = 0.52917721067;
  const std::vector<double> H = model_hessian({{0, 0, 0}, {r, 0, 0}}, {1, 1});
  // 0.45 hartree/bohr^2 times exp(1.0 (1.35^2 - (r/bohr)^2)), along the bond only.
  const double k = 0.45 * 27.211386245988 / (bohr * bohr) * std::exp(1.35 * 1.35 - (r / bohr) * (r / bohr));
  EXPECT_NEAR(H[0], k, 1e-6 * k);
  EXPECT_NEAR(H[3], -k, 1e-6 * k);
  EXPECT_NEAR(H[1 * 6 + 1], 0.0, 1e-9);
}

TEST(ModelHessian, SymmetricFlatAlongRigidMotionsAndNeverNegative) {
  for (const auto& atoms : {testing::water_atoms(), testing::formaldehyde_atoms(), testing::benzene_atoms()}) {
    std::vector<std::array<double, 3>> r;
    std::vector<int> period;
    for (const testing::atom& a : atoms) {
      r.push_back(a.r);
      period.push_back(a.symbol == 'H' ? 1 : 2);
    }
    const int n = static_cast<int>(3 * r.size());
    const std::vector<double> H = model_hessian(r, period);
    double largest = 0;
    for (double h : H) largest = std::max(largest, std::abs(h));
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < i; ++j) EXPECT_NEAR(H[i * n + j], H[j * n + i], 1e-12 * largest);
    // Translations and infinitesimal rotations about each axis.
    for (int motion = 0; motion < 6; ++motion) {
      std::vector<double> v(n);
      for (std::size_t a = 0; a < r.size(); ++a)
        for (int axis = 0; axis < 3; ++axis) {
          const int p = (motion + 1) % 3, q = (motion + 2) % 3;
          v[3 * a + axis] = motion < 3 ? (axis == motion)
                                       : (axis == p ? -r[a][q] : axis == q ? r[a][p] : 0.0);
        }
      for (int i = 0; i < n; ++i) {
        double Hv = 0;
        for (int j = 0; j < n; ++j) Hv += H[i * n + j] * v[j];
        EXPECT_NEAR(Hv, 0.0, 1e-5 * largest) << motion;
      }
    }
    std::vector<double> A = H, values(n), scratch(n);
    int ierr = 0;
    eisrs1(n, n, values.data(), A.data(), ierr, scratch.data());
    ASSERT_EQ(ierr, 0);
    EXPECT_GT(values.front(), -1e-6 * largest);
  }
}

}  // namespace
}  // namespace tbrelax
