#include "linalg/subset_eigensolver.hpp"

#include <algorithm>

#include "linalg/eigen_detail.hpp"
#include "linalg/products.hpp"
#include "linalg/reflector_transform.hpp"

namespace tbrelax {
namespace {

// Half-width of the intermediate band: wide enough for the panels' products to run at speed,
// narrow enough for the chase (whose work grows with it) to stay cheap.
constexpr int band_width = 64;
// From this order on the reduction goes through the band: measured on flakes, one thread, the
// direct reduction takes 0.8 of the time through the band at n = 3240, 0.94 at 4548 and 1.36 at
// 6366, where it reads its trailing matrix from memory once per column.
constexpr int through_band_from = 4096;

}  // namespace

tridiagonal_reduction reduction_for_order(int n) {
  return n >= through_band_from ? tridiagonal_reduction::through_band : tridiagonal_reduction::direct;
}

bool subset_eigensolver(matrix& A, int vectors, double* values, matrix& Z, subset_eigen_workspace& w,
                        tridiagonal_reduction how, const column_choice& keep) {
  const int n = A.rows();
  if (Z.rows() != n || Z.cols() != vectors) Z = matrix(n, vectors);
  w.diagonal.resize(n);
  w.off.resize(n);
  const bool banded = how == tridiagonal_reduction::through_band && n > 2 * band_width;
  if (banded) {
    mirror_upper_to_lower(A);
    reduce_to_band(A, band_width, w.band);
    chase_band(A, band_width, w.diagonal.data(), w.off.data(), w.chase);
  } else {
    w.norms.assign(n, 0.0);
    w.sub.assign(n, 0.0);
    if (n >= 2) eigen_detail::householder_reduce(n, n, w.norms.data(), w.sub.data(), A.data(), w.eigen, true);
    for (int i = 0; i < n; ++i) {
      w.diagonal[i] = A(i, i);
      if (i + 1 < n) w.off[i] = w.sub[i + 1];
    }
  }
  const bool solved = tridiagonal_eigen(n, w.diagonal.data(), w.off.data(), vectors, values, Z.data(), n, w.tridiagonal);
  if (keep) {
    // Ascending and distinct, so no column is overwritten before it is moved.
    const std::vector<int> columns = keep(values);
    for (std::size_t p = 0; p < columns.size(); ++p)
      if (columns[p] != int(p)) std::copy_n(Z.col(columns[p]), n, Z.col(int(p)));
    vectors = int(columns.size());
  }
  if (banded) {
    apply_bulge_reflectors(w.chase, Z.data(), n, vectors);
    apply_band_reflectors(A, w.band, Z.data(), n, vectors);
  } else {
    // The blocks of n^2 doubles that the tridiagonal eigensolver no longer needs hold the
    // reflector blocks, so that the back-transformation takes no storage of its own.
    apply_reflectors_to_columns(n, A.data(), n, w.norms.data(), Z.data(), n, vectors, w.tridiagonal.q);
  }
  return solved;
}

}  // namespace tbrelax
