#include "linalg/backends/lapack/lapack_canonical.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

#ifdef _OPENMP
#include <omp.h>
#endif

#include "linalg/backends/lapack/lapack_calls.hpp"
#include "linalg/backends/lapack/lapack_products.hpp"
#include "linalg/densities.hpp"
#include "linalg/stopwatch.hpp"

#ifdef TBRELAX_HAVE_OPENBLAS_THREADS
extern "C" {
void openblas_set_num_threads(int);
int openblas_get_num_threads(void);
}
#endif

namespace tbrelax::lapack {
namespace {

// Below this order the BLAS threads cost more than they save: waking them, and their spinning
// after each call, which takes a core from the OpenMP loops around the solve.
constexpr int blas_threads_from = 500;

}  // namespace

// One knob (OMP_NUM_THREADS, omp_set_num_threads) governs every thread of an evaluation, and the
// two pools never run at once on more cores than asked for. Inside a parallel region the count
// is left alone: other threads may be calling too.
void match_blas_threads(int n) {
#if defined(TBRELAX_HAVE_OPENBLAS_THREADS) && defined(_OPENMP)
  if (omp_in_parallel()) return;
  const int wanted = n >= blas_threads_from ? omp_get_max_threads() : 1;
  if (openblas_get_num_threads() != wanted) openblas_set_num_threads(wanted);
#else
  (void)n;
#endif
}

void canonical_route::solve(const matrix& H, const matrix& S, int electrons, electronic_result& out) {
  const int n = S.rows();
  out.eps.assign(n, 0.0);
  if (out.P.rows() != n || out.P.cols() != n) out.P = matrix(n, n);
  if (out.W.rows() != n || out.W.cols() != n) out.W = matrix(n, n);
  if (n == 0) return;
  match_blas_threads(n);
  prepare(n);

  // S = U diag(s) U^T; X = U diag(1/sqrt|s|), each column divided elementwise.
  auto start = stopwatch_clock::now();
  X_ = S;
  eigen(X_, s_);
  out.timings.eigen += seconds_since(start);
  for (int k = 0; k < n; ++k) {
    if (s_[k] < 0) {
      out.negative_overlaps.push_back({k + 1, s_[k]});
      s_[k] = -s_[k];
    }
    const double root = std::sqrt(s_[k]);
    double* column = X_.col(k);
    for (int j = 0; j < n; ++j) column[j] = column[j] / root;
  }

  // H' = X^T (H X), upper triangle only: dsyevd reads no more.
  start = stopwatch_clock::now();
  gemm('N', 'N', n, n, n, 1.0, H.data(), n, X_.data(), n, 0.0, T_.data(), n);
  upper_product(n, n, 'T', X_.data(), n, 'N', T_.data(), n, orthogonal_h_.data(), n);
  out.timings.products += seconds_since(start);

  start = stopwatch_clock::now();
  eigen(orthogonal_h_, out.eps);
  out.timings.eigen += seconds_since(start);

  // Only the occupied orbitals C = X C' are needed; they go where H X was.
  const int occupied = std::min(occupied_count(electrons), n);
  start = stopwatch_clock::now();
  gemm('N', 'N', n, occupied, n, 1.0, X_.data(), n, orthogonal_h_.data(), n, 0.0, T_.data(), n);
  out.timings.products += seconds_since(start);

  // P and W by our own weighted rank-k sums: on two cores they take half the time of
  // dsyrk and dgemm over the same triangles.
  form_densities(T_, out.eps, electrons, out);
}

// Buffers for order n, and the divide-and-conquer workspace LAPACK asks for.
void canonical_route::prepare(int n) {
  if (X_.rows() == n) return;
  X_ = matrix(n, n);
  T_ = matrix(n, n);
  orthogonal_h_ = matrix(n, n);
  s_.assign(n, 0.0);
  int lwork = -1, liwork = -1, info = 0, iwork_size = 0;
  double work_size = 0;
  dsyevd_("V", "U", &n, X_.data(), &n, s_.data(), &work_size, &lwork, &iwork_size, &liwork, &info, 1, 1);
  if (info != 0) throw std::logic_error("dsyevd workspace query failed");
  work_.assign(std::size_t(queried_size(work_size)), 0.0);
  iwork_.assign(std::size_t(iwork_size), 0);
}

// Eigenvalues ascending into w, eigenvectors into the columns of A (upper triangle read).
// Where the method fails to converge the eigenvalues are NaN: the energy is then not finite,
// which the caller reports.
void canonical_route::eigen(matrix& A, std::vector<double>& w) {
  const int n = A.rows(), lwork = int(work_.size()), liwork = int(iwork_.size());
  int info = 0;
  dsyevd_("V", "U", &n, A.data(), &n, w.data(), work_.data(), &lwork, iwork_.data(), &liwork, &info, 1, 1);
  if (info < 0) throw std::logic_error("dsyevd rejected argument " + std::to_string(-info));
  if (info > 0) std::fill(w.begin(), w.end(), std::numeric_limits<double>::quiet_NaN());
}

}  // namespace tbrelax::lapack
