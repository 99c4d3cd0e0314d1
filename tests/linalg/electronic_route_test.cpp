// Every solver's Cholesky route against the canonical route on whole evaluations, from H2 to a
// flake of 300 atoms: the same energy, forces and orbital energies, and results that do not
// depend on the number of threads.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#ifdef _OPENMP
#include <omp.h>
#endif

#include "bench/molecules.hpp"
#include "linalg/canonical_orthogonalisation.hpp"
#include "linalg/densities.hpp"
#include "linalg/eigen_test_support.hpp"
#include "support/molecules.hpp"
#include "tb/assembly.hpp"

namespace tbrelax {
namespace {

using testing::atom;

// The canonical route alone, on our own eigensolver: the model's definition of the step.
class canonical_reference final : public electronic_solver {
 public:
  std::string name() const override { return "canonical"; }
  void solve(const matrix& H, const matrix& S, int electrons, electronic_result& out) override {
    out.timings = {};
    enonort(out.eps, H, S, C_, out.negative_overlaps);
    form_densities(C_, out.eps, electrons, out);
    out.route = electronic_route::canonical;
  }

 private:
  matrix C_;
};

struct molecule_case {
  std::string name;
  std::vector<atom> atoms;
  // The highest level is degenerate and holds one electron: P and the forces depend on which
  // vector of the level a solver fills, and only the energies can be compared.
  bool partly_filled_degenerate_level = false;
};

std::vector<molecule_case> molecules() {
  std::vector<atom> cyclopentadienyl;  // C5H5, an odd electron in a degenerate pair
  for (int k = 0; k < 5; ++k) {
    const double a = 2 * 3.14159265358979323846 * k / 5;
    cyclopentadienyl.push_back({'C', {1.2 * std::cos(a), 1.2 * std::sin(a), 0}});
    cyclopentadienyl.push_back({'H', {2.28 * std::cos(a), 2.28 * std::sin(a), 0}});
  }
  return {{"H2", {{'H', {0, 0, 0}}, {'H', {0.74, 0, 0}}}},
          {"water", testing::water_atoms()},
          {"methyl radical", {{'C', {0, 0, 0}}, {'H', {1.08, 0, 0}}, {'H', {-0.54, 0.935, 0}}, {'H', {-0.54, -0.935, 0}}}},
          {"HCN", testing::hcn_atoms()},
          {"bent N2O", testing::bent_n2o_atoms()},
          {"benzene", testing::benzene_atoms()},
          {"cyclopentadienyl", cyclopentadienyl, true},
          {"C20H42", testing::atoms_of(bench::alkane(20))},
          {"C258H42 flake", testing::atoms_of(bench::molecule_near("flake", 1100))}};
}

struct evaluation {
  double E;
  std::vector<double> f, eps;
  electronic_route route;
};

evaluation evaluate(const std::vector<atom>& atoms, std::unique_ptr<electronic_solver> solver) {
  testing::test_model m(std::move(solver));
  common_var c = testing::molecule(atoms);
  evaluation_details details;
  const double E = force(c, m.model, &details);
  std::vector<double> f;
  for (int a = 0; a < c.at_count; ++a) f.insert(f.end(), {c.fx[a], c.fy[a], c.fz[a]});
  return {E, f, details.eps, details.route};
}

TEST(ElectronicRoutes, CholeskyRouteRepeatsTheCanonicalEvaluation) {
  for (const molecule_case& m : molecules()) {
    const evaluation reference = evaluate(m.atoms, std::make_unique<canonical_reference>());
    for (const std::string& name : available_solvers()) {
      auto solver = make_solver(name);
      if (!solver) continue;  // a GPU solver without a device
      SCOPED_TRACE(m.name + ", " + name);
      const evaluation r = evaluate(m.atoms, std::move(solver));
      EXPECT_EQ(r.route, electronic_route::cholesky);
      EXPECT_NEAR(r.E, reference.E, 1e-9);
      ASSERT_EQ(r.eps.size(), reference.eps.size());
      for (std::size_t k = 0; k < r.eps.size(); ++k) ASSERT_NEAR(r.eps[k], reference.eps[k], 1e-10) << k;
      if (m.partly_filled_degenerate_level) continue;
      for (std::size_t k = 0; k < r.f.size(); ++k) ASSERT_NEAR(r.f[k], reference.f[k], 1e-7) << k;
    }
  }
}

#ifdef _OPENMP
// Above 512 basis functions every threaded kernel of the route shares out its work.
TEST(ElectronicRoutes, OwnSolverDoesNotDependOnTheThreadCount) {
  const common_var c = testing::molecule(testing::atoms_of(bench::molecule_near("flake", 700)));
  const testing::test_model m;
  matrix S(c.wfunc_count), H(c.wfunc_count);
  assemble_overlap(all_atoms, c, m.par, S);
  assemble_hamiltonian(all_atoms, c, m.par, S, H);
  const int threads = omp_get_max_threads();
  electronic_result r[2];
  for (int pass = 0; pass < 2; ++pass) {
    omp_set_num_threads(pass == 0 ? 1 : std::max(2, threads));
    make_own_solver()->solve(H, S, c.el_count, r[pass]);
  }
  omp_set_num_threads(threads);
  EXPECT_EQ(r[0].route, electronic_route::cholesky);
  EXPECT_EQ(r[0].eps, r[1].eps);
  EXPECT_EQ(r[0].P, r[1].P);
  EXPECT_EQ(r[0].W, r[1].W);
}
#endif

}  // namespace
}  // namespace tbrelax
