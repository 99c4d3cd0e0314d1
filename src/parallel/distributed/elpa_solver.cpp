#include "parallel/distributed/elpa_solver.hpp"

#include <elpa/elpa.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "linalg/overlap_definiteness.hpp"
#include "linalg/stopwatch.hpp"
#include "parallel/distributed/scalapack.hpp"

namespace tbrelax {
namespace {

const int one = 1;

void check_elpa(int error, const char* what) {
  if (error != ELPA_OK)
    throw std::runtime_error(std::string("ELPA ") + what + " failed (error " + std::to_string(error) + ")");
}

// Sum (or max) of an O(n) vector over the processes, each element having been set by the process
// that owns it.
void reduce(std::vector<double>& v, MPI_Op op, MPI_Comm comm) {
  MPI_Allreduce(MPI_IN_PLACE, v.data(), int(v.size()), MPI_DOUBLE, op, comm);
}

}  // namespace

elpa_solver::elpa_solver(const process_grid& grid, const block_cyclic& layout) : grid_(grid), layout_(layout) {
  if (elpa_init(ELPA_API_VERSION) != ELPA_OK) throw std::runtime_error("ELPA: this library's interface is too old");
  factor_.resize(layout.local_size());
  work_.resize(layout.local_size());
  vectors_.resize(layout.local_size());
}

elpa_solver::~elpa_solver() {
  int error = 0;
  for (auto& [nev, handle] : eigensolvers_) elpa_deallocate(handle, &error);
  elpa_uninit(&error);
}

void elpa_solver::eigen(std::vector<double>& A, int nev, std::vector<double>& ev, std::vector<double>& vectors) {
  elpa_t& handle = eigensolvers_[nev];
  int error = ELPA_OK;
  if (!handle) {
    handle = elpa_allocate(&error);
    check_elpa(error, "allocate");
    elpa_set_integer(handle, "na", layout_.n(), &error);
    elpa_set_integer(handle, "nev", nev, &error);
    elpa_set_integer(handle, "local_nrows", layout_.ld(), &error);
    elpa_set_integer(handle, "local_ncols", layout_.local_cols(), &error);
    elpa_set_integer(handle, "nblk", layout_.nb(), &error);
    elpa_set_integer(handle, "mpi_comm_parent", int(MPI_Comm_c2f(grid_.comm())), &error);
    elpa_set_integer(handle, "process_row", grid_.row(), &error);
    elpa_set_integer(handle, "process_col", grid_.col(), &error);
    check_elpa(error, "settings");
    check_elpa(elpa_setup(handle), "setup");
    // The one-stage solver: Debian's ELPA has only the generic kernels for the two-stage
    // back-transformation, with which two stages took twice as long at n = 1600 and 3200.
    elpa_set_integer(handle, "solver", ELPA_SOLVER_1STAGE, &error);
    check_elpa(error, "one-stage solver");
  }
  ev.assign(layout_.n(), 0.0);
  elpa_eigenvectors_a_h_a_d(handle, A.data(), ev.data(), vectors.data(), &error);
  check_elpa(error, "eigenvectors");
}

void elpa_solver::solve(const std::vector<double>& S, const std::vector<double>& H, int electrons,
                        electronic_result& out, std::vector<double>& P, std::vector<double>& W) {
  out.timings = {};
  out.negative_overlaps.clear();
  P.resize(layout_.local_size());
  W.resize(layout_.local_size());
  if (layout_.n() > 0 && try_cholesky(S, H, electrons, out, P)) {
    out.route = electronic_route::cholesky;
    out.timings.densities = densities(vectors_, out.eps, electrons, work_, P, W);
    return;
  }
  out.route = electronic_route::canonical;
  solve_canonical(S, H, electrons, out);
  out.timings.densities = densities(factor_, out.eps, electrons, work_, P, W);
}

// S = L L^T by ScaLAPACK, trusted as the serial route trusts its factor: every pivot L_jj^2 and
// the reciprocal condition estimate 1 / (|S|_1 |S^-1|_1) of pdpocon at least 1e-6 |S|_1 and
// 1e-6. Then A = L^-1 H L^-T (the lower triangle, by ScaLAPACK's faster reduction that only
// works on it, mirrored for ELPA), its lowest orbitals, and C = L^-T Y in vectors_.
bool elpa_solver::try_cholesky(const std::vector<double>& S, const std::vector<double>& H, int electrons,
                               electronic_result& out, std::vector<double>& scratch) {
  const int n = layout_.n();
  const int* desc = layout_.descriptor();
  const std::vector<int>& rows = layout_.global_rows();
  const std::vector<int>& cols = layout_.global_cols();
  const std::size_t ld = layout_.ld();
  auto start = stopwatch_clock::now();
  factor_ = S;
  int info = 0;
  pdpotrf_("L", &n, factor_.data(), &one, &one, desc, &info);
  if (info != 0) return false;

  std::vector<double> column_sums(n, 0.0), pivots(n, 0.0);
  for (std::size_t k = 0; k < cols.size(); ++k)
    for (std::size_t r = 0; r < rows.size(); ++r) {
      column_sums[cols[k]] += std::abs(S[r + k * ld]);
      if (rows[r] == cols[k]) pivots[cols[k]] = factor_[r + k * ld] * factor_[r + k * ld];
    }
  reduce(column_sums, MPI_SUM, grid_.comm());
  reduce(pivots, MPI_SUM, grid_.comm());
  const double norm = *std::max_element(column_sums.begin(), column_sums.end());
  const double smallest_pivot = *std::min_element(pivots.begin(), pivots.end());
  // Written so that a NaN anywhere fails the test.
  if (!(smallest_pivot >= least_trusted_overlap_eigenvalue * norm)) return false;
  double rcond = 0.0, work_size = 0.0;
  int iwork_size = 0, query = -1;
  pdpocon_("L", &n, factor_.data(), &one, &one, desc, &norm, &rcond, &work_size, &query, &iwork_size, &query, &info);
  std::vector<double> scalapack_work(std::size_t(work_size) + 1);
  std::vector<int> iwork(std::max(iwork_size, 1));
  const int lwork = int(scalapack_work.size()), liwork = int(iwork.size());
  pdpocon_("L", &n, factor_.data(), &one, &one, desc, &norm, &rcond, scalapack_work.data(), &lwork, iwork.data(),
           &liwork, &info);
  if (info != 0 || !(rcond >= least_trusted_overlap_eigenvalue)) return false;

  work_ = H;
  const int itype = 1;
  double scale = 1.0;
  pdsyngst_(&itype, "L", &n, work_.data(), &one, &one, desc, factor_.data(), &one, &one, desc, &scale, &work_size,
            &query, &info);
  scalapack_work.resize(std::size_t(work_size) + 1);
  const int reduction_work = int(scalapack_work.size());
  pdsyngst_(&itype, "L", &n, work_.data(), &one, &one, desc, factor_.data(), &one, &one, desc, &scale,
            scalapack_work.data(), &reduction_work, &info);
  if (info != 0) return false;
  mirror(work_, scratch, /*from_upper=*/false);
  out.timings.products += seconds_since(start);

  start = stopwatch_clock::now();
  const int orbitals = std::max(1, std::min(occupied_count(electrons), n));
  eigen(work_, orbitals, out.eps, vectors_);
  out.timings.eigen += seconds_since(start);

  start = stopwatch_clock::now();
  const double unit = 1.0;
  pdtrsm_("L", "L", "T", "N", &n, &orbitals, &unit, factor_.data(), &one, &one, desc, vectors_.data(), &one, &one,
          desc);
  out.timings.products += seconds_since(start);
  return true;
}

// The model's own route: S = V diag(s) V^T, X = V diag(1/sqrt|s|) with every negative s
// reported, X^T H X = Y diag(eps) Y^T, C = X Y into factor_.
void elpa_solver::solve_canonical(const std::vector<double>& S, const std::vector<double>& H, int electrons,
                                  electronic_result& out) {
  const int n = layout_.n();
  const int* desc = layout_.descriptor();
  const std::vector<int>& cols = layout_.global_cols();
  const std::size_t ld = layout_.ld();
  if (n == 0) return;
  auto start = stopwatch_clock::now();
  std::vector<double> s;
  factor_ = S;
  eigen(factor_, n, s, vectors_);
  out.timings.eigen += seconds_since(start);
  for (int k = 0; k < n; ++k)
    if (s[k] < 0) {
      out.negative_overlaps.push_back({k + 1, s[k]});
      s[k] = -s[k];
    }
  for (std::size_t k = 0; k < cols.size(); ++k) {
    const double root = std::sqrt(s[cols[k]]);
    for (std::size_t r = 0; r < ld; ++r) vectors_[r + k * ld] = vectors_[r + k * ld] / root;
  }

  start = stopwatch_clock::now();
  const double unit = 1.0, zero = 0.0;
  pdgemm_("N", "N", &n, &n, &n, &unit, H.data(), &one, &one, desc, vectors_.data(), &one, &one, desc, &zero,
          work_.data(), &one, &one, desc);
  pdgemm_("T", "N", &n, &n, &n, &unit, vectors_.data(), &one, &one, desc, work_.data(), &one, &one, desc, &zero,
          factor_.data(), &one, &one, desc);
  out.timings.products += seconds_since(start);

  start = stopwatch_clock::now();
  const int orbitals = std::max(1, std::min(occupied_count(electrons), n));
  eigen(factor_, orbitals, out.eps, work_);
  out.timings.eigen += seconds_since(start);

  start = stopwatch_clock::now();
  pdgemm_("N", "N", &n, &orbitals, &n, &unit, vectors_.data(), &one, &one, desc, work_.data(), &one, &one, desc,
          &zero, factor_.data(), &one, &one, desc);
  out.timings.products += seconds_since(start);
}

// P = sum f_k C_k C_k^T and W = sum f_k eps_k C_k C_k^T over the occupied columns of C: rank-k
// updates of the upper triangle by the columns scaled by sqrt|weight| (the negative weights, the
// orbitals below zero energy, first and subtracted), then mirrored.
double elpa_solver::densities(const std::vector<double>& C, const std::vector<double>& eps, int electrons,
                              std::vector<double>& scratch, std::vector<double>& P, std::vector<double>& W) {
  const int n = layout_.n();
  const int* desc = layout_.descriptor();
  const std::size_t ld = layout_.ld();
  const std::vector<int>& cols = layout_.global_cols();
  const int orbitals = std::min(occupied_count(electrons), n);
  const auto start = stopwatch_clock::now();
  for (int pass = 0; pass < 2; ++pass) {
    auto weight = [&](int k) { return pass == 0 ? occupation(k, electrons) : occupation(k, electrons) * eps[k]; };
    int negative = 0;
    while (negative < orbitals && weight(negative) < 0) ++negative;
    for (std::size_t k = 0; k < cols.size(); ++k) {
      const double root = cols[k] < orbitals ? std::sqrt(std::abs(weight(cols[k]))) : 0.0;
      for (std::size_t r = 0; r < ld; ++r) scratch[r + k * ld] = root * C[r + k * ld];
    }
    std::vector<double>& target = pass == 0 ? P : W;
    std::fill(target.begin(), target.end(), 0.0);
    const double plus = 1.0, minus = -1.0;
    const int positive = orbitals - negative, first_positive = negative + 1;
    if (negative > 0)
      pdsyrk_("U", "N", &n, &negative, &minus, scratch.data(), &one, &one, desc, &plus, target.data(), &one, &one,
              desc);
    if (positive > 0)
      pdsyrk_("U", "N", &n, &positive, &plus, scratch.data(), &one, &first_positive, desc, &plus, target.data(), &one,
              &one, desc);
    mirror(target, scratch, /*from_upper=*/true);
  }
  return seconds_since(start);
}

// The lower triangle of M from its upper one, or the other way, through the transpose in scratch.
void elpa_solver::mirror(std::vector<double>& M, std::vector<double>& scratch, bool from_upper) const {
  const int n = layout_.n();
  const int* desc = layout_.descriptor();
  const std::size_t ld = layout_.ld();
  const std::vector<int>& rows = layout_.global_rows();
  const std::vector<int>& cols = layout_.global_cols();
  const double unit = 1.0, zero = 0.0;
  pdtran_(&n, &n, &unit, M.data(), &one, &one, desc, &zero, scratch.data(), &one, &one, desc);
  for (std::size_t k = 0; k < cols.size(); ++k)
    for (std::size_t r = 0; r < rows.size(); ++r)
      if (from_upper ? rows[r] > cols[k] : rows[r] < cols[k]) M[r + k * ld] = scratch[r + k * ld];
}

}  // namespace tbrelax
