#include "linalg/hermitian_vectors.hpp"

#include <algorithm>
#include <cmath>
#include <complex>

namespace tbrelax {
namespace {

using complex = std::complex<double>;

// Clusters of the sorted eigenvalues as [begin, end) ranges, each of even size.
std::vector<std::pair<int, int>> clusters_of(const std::vector<double>& eps2) {
  const int n2 = int(eps2.size());
  double scale = 1;
  if (n2 > 0) scale = std::max({1.0, std::abs(eps2.front()), std::abs(eps2.back())});
  const double tolerance = embedded_cluster_tolerance * scale;
  std::vector<std::pair<int, int>> clusters;
  for (int begin = 0; begin < n2;) {
    int end = begin + 1;
    while (end < n2 && (eps2[end] - eps2[end - 1] <= tolerance || (end - begin) % 2 == 1)) ++end;
    clusters.emplace_back(begin, end);
    begin = end;
  }
  return clusters;
}

// Column k of out.C from real vector j: c = x + iy.
void take_vector(const matrix& Z, int j, int k, hermitian_result& out) {
  const int n = out.C.rows();
  for (int i = 0; i < n; ++i) {
    out.C.re(i, k) = Z(i, j);
    out.C.im(i, k) = Z(i + n, j);
  }
}

// The Gram matrix G_jl = c_j^H S c_l of the candidates of a cluster, found without S: with
// V = (v_j) the cluster's S2-orthonormal real vectors and J = [[0, -I], [I, 0]] the embedding of
// multiplication by i, Re G = V^T S2 V = I and Im G = -V^T S2 J V = -K, where J V = V K (the
// cluster's space is closed under J). K is found from that equation by least squares,
// K = (V^T V)^-1 V^T J V: O(n m^2), where forming S2 V would cost O(n^2 m).
std::vector<complex> cluster_gram(const std::vector<const double*>& v, int n) {
  const int count = int(v.size());
  std::vector<double> M(std::size_t(count) * count), B(std::size_t(count) * count);
  for (int j = 0; j < count; ++j)
    for (int l = 0; l < count; ++l) {
      double m = 0, b = 0;
      for (int i = 0; i < n; ++i) {
        m += v[j][i] * v[l][i] + v[j][i + n] * v[l][i + n];
        b += v[j][i + n] * v[l][i] - v[j][i] * v[l][i + n];  // (V^T J V)_jl, J v = (-y; x)
      }
      M[j + std::size_t(l) * count] = m;
      B[j + std::size_t(l) * count] = b;
    }
  // K = M^-1 B by the Cholesky factor of the symmetric positive definite M = L L^T.
  for (int k = 0; k < count; ++k) {
    double d = M[k + std::size_t(k) * count];
    for (int t = 0; t < k; ++t) d -= M[k + std::size_t(t) * count] * M[k + std::size_t(t) * count];
    d = std::sqrt(d);
    M[k + std::size_t(k) * count] = d;
    for (int i = k + 1; i < count; ++i) {
      double s = M[i + std::size_t(k) * count];
      for (int t = 0; t < k; ++t) s -= M[i + std::size_t(t) * count] * M[k + std::size_t(t) * count];
      M[i + std::size_t(k) * count] = s / d;
    }
  }
  std::vector<complex> G(std::size_t(count) * count);
  for (int l = 0; l < count; ++l) {
    double* x = &B[std::size_t(l) * count];
    for (int i = 0; i < count; ++i) {
      for (int t = 0; t < i; ++t) x[i] -= M[i + std::size_t(t) * count] * x[t];
      x[i] /= M[i + std::size_t(i) * count];
    }
    for (int i = count - 1; i >= 0; --i) {
      for (int t = i + 1; t < count; ++t) x[i] -= M[t + std::size_t(i) * count] * x[t];
      x[i] /= M[i + std::size_t(i) * count];
    }
    for (int j = 0; j < count; ++j) G[j + std::size_t(l) * count] = {j == l ? 1.0 : 0.0, -x[j]};
  }
  return G;
}

// The m vectors of a degenerate cluster from its 2m real ones (columns `at` of Z), into
// columns first onward.
void orthonormal_cluster(const matrix& Z, const std::vector<int>& at, int first, hermitian_result& out) {
  const int n = out.C.rows(), count = int(at.size()), m = count / 2;
  std::vector<const double*> v(count);
  for (int j = 0; j < count; ++j) v[j] = Z.col(at[j]);
  const std::vector<complex> G = cluster_gram(v, n);
  // Pivoted Cholesky G = R^H R: R(q, j) = q_q^H S c_j, and q_k = (c_p - sum_q R(q, p) q_q) / R(k, p).
  std::vector<complex> R(std::size_t(m) * count, 0.0);
  std::vector<double> left(count);
  std::vector<bool> chosen(count, false);
  for (int j = 0; j < count; ++j) left[j] = G[j + std::size_t(j) * count].real();
  std::vector<std::vector<complex>> q(m, std::vector<complex>(n));
  for (int k = 0; k < m; ++k) {
    int p = -1;
    for (int j = 0; j < count; ++j)
      if (!chosen[j] && (p < 0 || left[j] > left[p])) p = j;
    chosen[p] = true;
    const double diagonal = std::sqrt(std::max(left[p], 0.0));
    for (int l = 0; l < count; ++l) {
      if (chosen[l]) continue;
      complex r = G[p + std::size_t(l) * count];
      for (int t = 0; t < k; ++t) r -= std::conj(R[t + std::size_t(p) * m]) * R[t + std::size_t(l) * m];
      r /= diagonal;
      R[k + std::size_t(l) * m] = r;
      left[l] -= std::norm(r);
    }
    for (int i = 0; i < n; ++i) {
      complex c{v[p][i], v[p][i + n]};
      for (int t = 0; t < k; ++t) c -= R[t + std::size_t(p) * m] * q[t][i];
      q[k][i] = c / diagonal;
    }
    R[k + std::size_t(p) * m] = diagonal;
    const int column = first + k;
    for (int i = 0; i < n; ++i) out.C.set(i, column, q[k][i]);
  }
}

// The end of the real vectors needed for `vectors` complex ones: the cluster holding the last.
int needed_end(const std::vector<std::pair<int, int>>& clusters, int vectors) {
  int needed = 0;
  for (const auto& [begin, end] : clusters)
    if (begin < 2 * vectors) needed = end;
  return needed;
}

}  // namespace

std::vector<int> embedded_columns(const std::vector<double>& eps2, int computed, int vectors) {
  const auto clusters = clusters_of(eps2);
  std::vector<int> columns;
  if (needed_end(clusters, vectors) > computed) {
    for (int j = 0; j < computed; ++j) columns.push_back(j);
    return columns;
  }
  for (const auto& [begin, end] : clusters) {
    if (begin >= 2 * vectors) break;
    for (int j = begin; j < (end - begin == 2 ? begin + 1 : end); ++j) columns.push_back(j);
  }
  return columns;
}

bool complex_from_embedding(const std::vector<double>& eps2, const matrix& Z, const std::vector<int>& columns,
                            int vectors, hermitian_result& out) {
  const int n = int(eps2.size()) / 2;
  out.eps.resize(n);
  for (int k = 0; k < n; ++k) out.eps[k] = 0.5 * (eps2[2 * k] + eps2[2 * k + 1]);
  const auto clusters = clusters_of(eps2);
  const int needed = needed_end(clusters, vectors);
  std::vector<int> position(2 * n, -1);
  for (std::size_t p = 0; p < columns.size(); ++p) position[columns[p]] = int(p);
  out.C = complex_matrix(n, needed / 2);
  for (const auto& [begin, end] : clusters) {
    if (begin >= needed) break;
    if (end - begin == 2) {
      const int p = position[begin] >= 0 ? position[begin] : position[begin + 1];
      if (p < 0) return false;
      take_vector(Z, p, begin / 2, out);
      continue;
    }
    std::vector<int> at(end - begin);
    for (int j = begin; j < end; ++j)
      if ((at[j - begin] = position[j]) < 0) return false;
    orthonormal_cluster(Z, at, begin / 2, out);
  }
  return true;
}

}  // namespace tbrelax
