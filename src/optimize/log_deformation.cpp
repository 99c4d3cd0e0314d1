#include "optimize/log_deformation.hpp"

#include <cmath>

namespace tbrelax {
namespace {

// Eigenvalues and orthonormal eigenvectors (columns of Q) of a symmetric 3 x 3 matrix by cyclic
// Jacobi rotations. A zero off-diagonal element is never rotated, so directions that U leaves
// alone stay exactly the unit vectors they were.
void jacobi(mat3 A, std::array<double, 3>& lambda, mat3& Q) {
  Q = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  for (int sweep = 0; sweep < 50; ++sweep) {
    const double off = A[0][1] * A[0][1] + A[0][2] * A[0][2] + A[1][2] * A[1][2];
    const double diagonal = A[0][0] * A[0][0] + A[1][1] * A[1][1] + A[2][2] * A[2][2];
    if (off == 0 || off < 1e-34 * diagonal) break;
    for (int p = 0; p < 2; ++p)
      for (int q = p + 1; q < 3; ++q) {
        if (A[p][q] == 0) continue;
        const double theta = (A[q][q] - A[p][p]) / (2 * A[p][q]);
        const double t = (theta >= 0 ? 1.0 : -1.0) / (std::abs(theta) + std::sqrt(theta * theta + 1));
        const double c = 1 / std::sqrt(t * t + 1), s = t * c;
        for (int k = 0; k < 3; ++k) {  // A <- A J
          const double akp = A[k][p], akq = A[k][q];
          A[k][p] = c * akp - s * akq;
          A[k][q] = s * akp + c * akq;
        }
        for (int k = 0; k < 3; ++k) {  // A <- J^T A
          const double apk = A[p][k], aqk = A[q][k];
          A[p][k] = c * apk - s * aqk;
          A[q][k] = s * apk + c * aqk;
        }
        A[p][q] = A[q][p] = 0;
        for (int k = 0; k < 3; ++k) {
          const double qkp = Q[k][p], qkq = Q[k][q];
          Q[k][p] = c * qkp - s * qkq;
          Q[k][q] = s * qkp + c * qkq;
        }
      }
  }
  for (int i = 0; i < 3; ++i) lambda[i] = A[i][i];
}

// Q diag-weighted: sum_ab Q_ia W_ab Q_jb.
mat3 rotate_back(const mat3& Q, const mat3& W) {
  mat3 out{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int a = 0; a < 3; ++a)
        for (int b = 0; b < 3; ++b) out[i][j] += Q[i][a] * W[a][b] * Q[j][b];
  return out;
}

}  // namespace

mat3 symmetric_exp(const mat3& U) {
  std::array<double, 3> lambda;
  mat3 Q;
  jacobi(U, lambda, Q);
  mat3 W{};
  for (int a = 0; a < 3; ++a) W[a][a] = std::exp(lambda[a]);
  return rotate_back(Q, W);
}

mat3 exp_gradient(const mat3& U, const mat3& G) {
  std::array<double, 3> lambda;
  mat3 Q;
  jacobi(U, lambda, Q);
  // In the eigenbasis the derivative multiplies element (a, b) by the divided difference of
  // exp between lambda_a and lambda_b; the map is self-adjoint, so the same applies to G.
  mat3 W{};
  for (int a = 0; a < 3; ++a)
    for (int b = 0; b < 3; ++b) {
      double g = 0;
      for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) g += Q[i][a] * G[i][j] * Q[j][b];
      const double d = lambda[a] - lambda[b];
      const double divided = std::abs(d) < 1e-8 ? std::exp(0.5 * (lambda[a] + lambda[b])) * (1 + d * d / 24)
                                                : (std::exp(lambda[a]) - std::exp(lambda[b])) / d;
      W[a][b] = g * divided;
    }
  return rotate_back(Q, W);
}

}  // namespace tbrelax
