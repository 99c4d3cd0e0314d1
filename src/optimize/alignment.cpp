#include "optimize/alignment.hpp"

#include <array>
#include <cmath>

#include "linalg/eigensolver.hpp"

namespace tbrelax {
namespace {

std::array<double, 3> centroid(const std::vector<double>& x) {
  std::array<double, 3> c{};
  const std::size_t n = x.size() / 3;
  for (std::size_t a = 0; a < n; ++a)
    for (int k = 0; k < 3; ++k) c[k] += x[3 * a + k] / static_cast<double>(n);
  return c;
}

}  // namespace

std::vector<double> aligned(const std::vector<double>& moving, const std::vector<double>& reference) {
  const std::size_t n = moving.size() / 3;
  if (n == 0) return moving;
  const auto cm = centroid(moving), cr = centroid(reference);
  // The correlation matrix R = sum over atoms of m r^T, centred.
  double R[3][3] = {};
  for (std::size_t a = 0; a < n; ++a)
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) R[i][j] += (moving[3 * a + i] - cm[i]) * (reference[3 * a + j] - cr[j]);
  // The best rotation is the unit quaternion of the largest eigenvalue of this 4 x 4 matrix (Horn).
  const double F[4][4] = {
      {R[0][0] + R[1][1] + R[2][2], R[1][2] - R[2][1], R[2][0] - R[0][2], R[0][1] - R[1][0]},
      {R[1][2] - R[2][1], R[0][0] - R[1][1] - R[2][2], R[0][1] + R[1][0], R[0][2] + R[2][0]},
      {R[2][0] - R[0][2], R[0][1] + R[1][0], -R[0][0] + R[1][1] - R[2][2], R[1][2] + R[2][1]},
      {R[0][1] - R[1][0], R[0][2] + R[2][0], R[1][2] + R[2][1], -R[0][0] - R[1][1] + R[2][2]}};
  std::vector<double> v(16), values(4), scratch(4);
  for (int j = 0; j < 4; ++j)
    for (int i = 0; i < 4; ++i) v[i + 4 * j] = F[i][j];
  int ierr = 0;
  eisrs1(4, 4, values.data(), v.data(), ierr, scratch.data());
  const double q0 = v[12], q1 = v[13], q2 = v[14], q3 = v[15];  // the last column: the largest eigenvalue
  const double U[3][3] = {{q0 * q0 + q1 * q1 - q2 * q2 - q3 * q3, 2 * (q1 * q2 - q0 * q3), 2 * (q1 * q3 + q0 * q2)},
                          {2 * (q1 * q2 + q0 * q3), q0 * q0 - q1 * q1 + q2 * q2 - q3 * q3, 2 * (q2 * q3 - q0 * q1)},
                          {2 * (q1 * q3 - q0 * q2), 2 * (q2 * q3 + q0 * q1), q0 * q0 - q1 * q1 - q2 * q2 + q3 * q3}};
  std::vector<double> out(moving.size());
  for (std::size_t a = 0; a < n; ++a)
    for (int i = 0; i < 3; ++i) {
      double s = cr[i];
      for (int j = 0; j < 3; ++j) s += U[i][j] * (moving[3 * a + j] - cm[j]);
      out[3 * a + i] = s;
    }
  return out;
}

void remove_rigid_motion(std::vector<double>& v, const std::vector<double>& x) {
  const std::size_t n = x.size() / 3;
  const auto c = centroid(x);
  std::vector<std::vector<double>> basis;
  for (int axis = 0; axis < 6; ++axis) {
    std::vector<double> m(x.size(), 0.0);
    for (std::size_t a = 0; a < n; ++a) {
      if (axis < 3) {
        m[3 * a + axis] = 1;
        continue;
      }
      // The rotation about axis - 3: e x (r - c).
      const int i = (axis - 3 + 1) % 3, j = (axis - 3 + 2) % 3;
      m[3 * a + i] = -(x[3 * a + j] - c[j]);
      m[3 * a + j] = x[3 * a + i] - c[i];
    }
    for (int pass = 0; pass < 2; ++pass)
      for (const auto& b : basis) {
        double d = 0;
        for (std::size_t k = 0; k < m.size(); ++k) d += b[k] * m[k];
        for (std::size_t k = 0; k < m.size(); ++k) m[k] -= d * b[k];
      }
    double norm = 0;
    for (double q : m) norm += q * q;
    norm = std::sqrt(norm);
    if (!(norm > 1e-6 * std::sqrt(static_cast<double>(n)))) continue;  // a rotation a linear molecule lacks
    for (double& q : m) q /= norm;
    basis.push_back(std::move(m));
  }
  for (const auto& b : basis) {
    double d = 0;
    for (std::size_t k = 0; k < v.size(); ++k) d += b[k] * v[k];
    for (std::size_t k = 0; k < v.size(); ++k) v[k] -= d * b[k];
  }
}

double aligned_rmsd(const std::vector<double>& a, const std::vector<double>& b) {
  const std::vector<double> m = aligned(a, b);
  double s = 0;
  for (std::size_t k = 0; k < m.size(); ++k) s += (m[k] - b[k]) * (m[k] - b[k]);
  return m.empty() ? 0 : std::sqrt(s / static_cast<double>(m.size() / 3));
}

}  // namespace tbrelax
