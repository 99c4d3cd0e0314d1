#include "linalg/backends/lapack/lapack_solver.hpp"

#include <stdexcept>
#include <vector>

#include "linalg/backends/lapack/lapack_calls.hpp"
#include "linalg/backends/lapack/lapack_canonical.hpp"
#include "linalg/densities.hpp"
#include "linalg/route_solver.hpp"
#include "linalg/stopwatch.hpp"

#ifdef TBRELAX_HAVE_OPENBLAS_THREADS
extern "C" {
char* openblas_get_config(void);
char* openblas_get_corename(void);
}
#endif

namespace tbrelax {
namespace {

// What the Cholesky route keeps between solves at one order, released when the canonical route
// runs (the factor stays: every solve tries it first).
struct cholesky_storage {
  matrix A;  // U^-T H U^-1, then the reflectors of its reduction
  matrix Z;  // the tridiagonal matrix's eigenvectors, then the occupied orbitals in front
  std::vector<double> off, tau, work;
  std::vector<int> iwork;
};

class lapack_solver final : public route_solver {
 public:
  std::string name() const override { return "lapack"; }

 protected:
  bool factor_overlap(const matrix& S, std::vector<double>& pivots, solver_timings& timings) override {
    const int n = S.rows();
    lapack::match_blas_threads(n);
    const auto start = stopwatch_clock::now();
    U_ = S;
    int info = 0;
    dpotrf_("U", &n, U_.data(), &n, &info, 1);
    pivots.assign(n, 0.0);
    if (info == 0)
      for (int j = 0; j < n; ++j) pivots[j] = U_(j, j) * U_(j, j);
    timings.products += seconds_since(start);
    return info == 0;
  }

  void solve_with_overlap(std::vector<double>& x) override {
    const int n = U_.rows(), one = 1;
    int info = 0;
    dpotrs_("U", &n, &one, U_.data(), &n, x.data(), &n, &info, 1);
  }

  bool occupied_orbitals(const matrix& H, int orbitals, std::vector<double>& eps, solver_timings& timings) override {
    const int n = H.rows(), one = 1;
    canonical_ = {};
    prepare(n);
    int info = 0;
    auto start = stopwatch_clock::now();
    c_.A = H;
    dsygst_(&one, "U", &n, c_.A.data(), &n, U_.data(), &n, &info, 1);
    timings.products += seconds_since(start);

    start = stopwatch_clock::now();
    eps.resize(n);
    const int lwork = int(c_.work.size()), liwork = int(c_.iwork.size());
    dsytrd_("U", &n, c_.A.data(), &n, eps.data(), c_.off.data(), c_.tau.data(), c_.work.data(), &lwork, &info, 1);
    dstedc_("I", &n, eps.data(), c_.off.data(), c_.Z.data(), &n, c_.work.data(), &lwork, c_.iwork.data(), &liwork,
            &info, 1);
    if (info != 0) return false;
    dormtr_("L", "U", "N", &n, &orbitals, c_.A.data(), &n, c_.tau.data(), c_.Z.data(), &n, c_.work.data(), &lwork,
            &info, 1, 1, 1);
    timings.eigen += seconds_since(start);

    start = stopwatch_clock::now();
    const double unit = 1.0;
    dtrsm_("L", "U", "N", "N", &n, &orbitals, &unit, U_.data(), &n, c_.Z.data(), &n, 1, 1, 1, 1);
    timings.products += seconds_since(start);
    return true;
  }

  // The occupied orbitals are the leading columns of Z.
  void densities(int electrons, electronic_result& out) override { form_densities(c_.Z, out.eps, electrons, out); }

  void solve_canonical(const matrix& H, const matrix& S, int electrons, electronic_result& out) override {
    c_ = {};
    canonical_.solve(H, S, electrons, out);
  }

 private:
  // Buffers for order n, and the largest workspace the three routines ask for.
  void prepare(int n) {
    if (c_.A.rows() == n && c_.Z.rows() == n) return;
    c_.A = matrix(n, n);
    c_.Z = matrix(n, n);
    c_.off.assign(n, 0.0);
    c_.tau.assign(n, 0.0);
    int query = -1, info = 0, iwork_size = 0;
    double size = 0, largest = 1;
    dsytrd_("U", &n, c_.A.data(), &n, c_.off.data(), c_.off.data(), c_.tau.data(), &size, &query, &info, 1);
    largest = std::max(largest, size);
    dstedc_("I", &n, c_.off.data(), c_.off.data(), c_.Z.data(), &n, &size, &query, &iwork_size, &query, &info, 1);
    largest = std::max(largest, size);
    dormtr_("L", "U", "N", &n, &n, c_.A.data(), &n, c_.tau.data(), c_.Z.data(), &n, &size, &query, &info, 1, 1, 1);
    largest = std::max(largest, size);
    if (info != 0) throw std::logic_error("LAPACK workspace query failed");
    c_.work.assign(std::size_t(lapack::queried_size(largest)), 0.0);
    c_.iwork.assign(std::size_t(std::max(iwork_size, 1)), 0);
  }

  matrix U_;  // the factor of S
  cholesky_storage c_;
  lapack::canonical_route canonical_;
};

}  // namespace

std::unique_ptr<electronic_solver> make_lapack_solver() { return std::make_unique<lapack_solver>(); }

std::string lapack_description() {
#ifdef TBRELAX_HAVE_OPENBLAS_THREADS
  return std::string(openblas_get_config()) + " (core " + openblas_get_corename() + ")";
#else
  return "LAPACK and BLAS";
#endif
}

double time_dsygvd(const matrix& H, const matrix& S) {
  const int n = S.rows(), one = 1;
  if (n == 0) return 0.0;
  lapack::match_blas_threads(n);
  matrix A = H, B = S;
  std::vector<double> w(n);
  int query = -1, info = 0, iwork_size = 0;
  double size = 0;
  dsygvd_(&one, "V", "U", &n, A.data(), &n, B.data(), &n, w.data(), &size, &query, &iwork_size, &query, &info, 1, 1);
  std::vector<double> work(std::size_t(lapack::queried_size(size)));
  std::vector<int> iwork(std::size_t(std::max(iwork_size, 1)));
  const int lwork = int(work.size()), liwork = int(iwork.size());
  const auto start = stopwatch_clock::now();
  dsygvd_(&one, "V", "U", &n, A.data(), &n, B.data(), &n, w.data(), work.data(), &lwork, iwork.data(), &liwork, &info,
          1, 1);
  return seconds_since(start);
}

}  // namespace tbrelax
