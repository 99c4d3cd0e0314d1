// Implicit QL iteration on a symmetric tridiagonal matrix. The iteration runs
// on d and e alone; its plane rotations go to a log that applies them to the
// columns of v in batches, on the calling thread or, for larger matrices, on a
// second thread while the iteration goes on. The eigenpairs are sorted at the end.

#include <algorithm>
#include <cmath>
#include <cstddef>

#ifdef _OPENMP
#include <omp.h>
#endif

#include "linalg/eigen_rotations.hpp"
#include "linalg/eigensolver.hpp"

namespace tbrelax {
namespace {

constexpr double epsilon = 2.220446049250313e-16;  // 2^-52
constexpr int max_iterations = 50;
// Order from which the rotations are applied on a second thread.
constexpr int pipelined_from = 96;

// Ascending selection sort by strict comparison: of equal values the earliest
// is taken as the minimum, so two equal eigenvalues are never exchanged.
void sort_pairs(int n, std::size_t ld, double* d, double* v) {
  for (int i = 0; i + 1 < n; ++i) {
    int k = i;
    double p = d[i];
    for (int j = i + 1; j < n; ++j)
      if (d[j] < p) {
        k = j;
        p = d[j];
      }
    if (k != i) {
      d[k] = d[i];
      d[i] = p;
      std::swap_ranges(v + std::size_t(i) * ld, v + std::size_t(i) * ld + n, v + std::size_t(k) * ld);
    }
  }
}

// The QL iteration on d and e (e already shifted down), recording its
// rotations in log. Returns ierr; the log is flushed in every case.
template <class Log>
int iterate(int n, double* d, double* e, Log& log) {
  double f = 0.0;  // sum of the shifts so far
  double b = 0.0;  // negligibility threshold, never lowered
  for (int l = 0; l < n; ++l) {
    b = std::max(b, epsilon * (std::abs(d[l]) + std::abs(e[l])));
    // e[n-1] is zero, but the bound also keeps a NaN from running past the end.
    int m = l;
    while (m < n - 1 && !(std::abs(e[m]) <= b)) ++m;
    if (m > l) {
      for (int iter = 1;; ++iter) {
        // Shift by the eigenvalue of the leading 2 x 2 block closer to d[l].
        double g = d[l];
        double p = (d[l + 1] - g) / (2.0 * e[l]);
        double r = std::sqrt(p * p + 1.0);
        const double mu = g - e[l] / (p + std::copysign(r, p));
        for (int i = l; i < n; ++i) d[i] -= mu;
        f += mu;

        double* rot = log.begin_sweep(l, m);
        p = d[m];
        double cs = 1.0;
        double sn = 0.0;
        for (int i = m - 1; i >= l; --i, rot += eigen_detail::rotation_doubles) {
          g = cs * e[i];
          const double q = cs * p;
          // Divide by the larger of p and e[i] so that t^2 cannot overflow.
          if (std::abs(p) >= std::abs(e[i])) {
            const double t = e[i] / p;
            r = std::sqrt(t * t + 1.0);
            e[i + 1] = sn * p * r;
            sn = t / r;
            cs = 1.0 / r;
          } else {
            const double t = p / e[i];
            r = std::sqrt(t * t + 1.0);
            e[i + 1] = sn * e[i] * r;
            sn = 1.0 / r;
            cs = t * sn;
          }
          p = cs * d[i] - sn * g;
          d[i + 1] = q + sn * (cs * g + sn * d[i]);
          rot[0] = cs;
          rot[1] = sn;
        }
        e[l] = sn * p;
        d[l] = cs * p;
        if (std::abs(e[l]) <= b) break;
        if (iter == max_iterations) {
          log.flush();
          return l + 1;
        }
      }
    }
    d[l] += f;
  }
  log.flush();
  return 0;
}

}  // namespace

void tql2(int nm, int n, double* d, double* e, double* v, int& ierr, eigen_workspace& workspace) {
  ierr = 0;
  if (n <= 1) return;
  for (int i = 1; i < n; ++i) e[i - 1] = e[i];
  e[n - 1] = 0.0;

#ifdef _OPENMP
  // A second thread applies the rotations while the first records the next ones.
  if (n >= pipelined_from && omp_get_max_threads() > 1) {
    eigen_detail::rotation_pipeline pipeline(v, nm, n, workspace);
    int result = 0;
#pragma omp parallel num_threads(2)
    {
      if (omp_get_thread_num() == 0) {
        result = iterate(n, d, e, pipeline);
        pipeline.finish();
      } else {
        pipeline.serve();
      }
    }
    ierr = result;
  } else
#endif
  {
    eigen_detail::rotation_log log(v, nm, n, workspace);
    ierr = iterate(n, d, e, log);
  }
  if (ierr == 0) sort_pairs(n, std::size_t(nm), d, v);
}

}  // namespace tbrelax
