// The electronic solver on our own kernels: the Cholesky route by the blocked factor and
// triangular solves, the Householder reduction of the eigensolver, divide and conquer on the
// tridiagonal matrix for the occupied vectors, and the reflectors applied by blocks; the
// canonical route by canonical_orthogonalisation.

#include "linalg/canonical_orthogonalisation.hpp"
#include "linalg/densities.hpp"
#include "linalg/route_solver.hpp"
#include "linalg/standard_form.hpp"
#include "linalg/stopwatch.hpp"
#include "linalg/subset_eigensolver.hpp"
#include "linalg/triangular.hpp"

namespace tbrelax {
namespace {

// What each route keeps between solves: a relaxation solves at one order again and again, and
// storage allocated and faulted in anew every time costs a good share of an evaluation. The
// storage of one route is released when the other one runs, so that the two never add up;
// only the factor stays, since every solve tries it first.
struct cholesky_storage {
  matrix A;  // U^-T H U^-1, then the reflectors of its reduction
  matrix C;  // the occupied orbitals
  subset_eigen_workspace eigen;
};

struct canonical_storage {
  matrix C;
  orthogonalisation_workspace workspace;
};

class own_solver final : public route_solver {
 public:
  std::string name() const override { return "own"; }

 protected:
  bool factor_overlap(const matrix& S, std::vector<double>& pivots, solver_timings& timings) override {
    const auto start = stopwatch_clock::now();
    U_ = S;
    const bool factored = cholesky_upper(U_, pivots);
    timings.products += seconds_since(start);
    return factored;
  }

  void solve_with_overlap(std::vector<double>& x) override {
    solve_transposed_upper(U_, x);
    solve_upper(U_, x);
  }

  bool occupied_orbitals(const matrix& H, int orbitals, std::vector<double>& eps, solver_timings& timings) override {
    canonical_ = {};
    cholesky_storage& c = cholesky_;
    const int n = H.rows();
    auto start = stopwatch_clock::now();
    reduce_to_standard_form(U_, H, c.A);
    timings.products += seconds_since(start);

    start = stopwatch_clock::now();
    eps.resize(n);
    const bool solved = subset_eigensolver(c.A, orbitals, eps.data(), c.C, c.eigen, reduction_for_order(n));
    timings.eigen += seconds_since(start);

    start = stopwatch_clock::now();
    solve_upper(U_, c.C.data(), n, orbitals);
    timings.products += seconds_since(start);
    return solved;
  }

  void densities(int electrons, electronic_result& out) override { form_densities(cholesky_.C, out.eps, electrons, out); }

  void solve_canonical(const matrix& H, const matrix& S, int electrons, electronic_result& out) override {
    cholesky_ = {};
    enonort(out.eps, H, S, canonical_.C, out.negative_overlaps, &out.timings, &canonical_.workspace);
    form_densities(canonical_.C, out.eps, electrons, out);
  }

 private:
  matrix U_;  // the factor of S
  cholesky_storage cholesky_;
  canonical_storage canonical_;
};

}  // namespace

std::unique_ptr<electronic_solver> make_own_solver() { return std::make_unique<own_solver>(); }

}  // namespace tbrelax
