#include "hessian/vibrations.hpp"

#include <cmath>
#include <numbers>

#include "hessian/rigid_modes.hpp"
#include "linalg/eigensolver.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

// Columns of an n x k matrix, each n entries.
using columns = std::vector<std::vector<double>>;

// Eigenvalues (ascending) and eigenvectors (columns) of the symmetric k x k matrix a.
void diagonalise(int k, std::vector<double>& a, std::vector<double>& values) {
  values.assign(k, 0.0);
  if (k == 0) return;
  std::vector<double> scratch(k);
  int ierr = 0;
  eisrs1(k, k, values.data(), a.data(), ierr, scratch.data());
  if (ierr != 0) throw numerical_error("the vibrational eigenproblem did not converge");
}

// B^T A B for the symmetric n x n matrix A (column-major) and the columns B.
std::vector<double> project(const std::vector<double>& A, const columns& B) {
  const std::size_t n = B.empty() ? 0 : B[0].size(), k = B.size();
  columns AB(k, std::vector<double>(n, 0.0));
  for (std::size_t j = 0; j < k; ++j)
    for (std::size_t l = 0; l < n; ++l) {
      const double b = B[j][l];
      for (std::size_t i = 0; i < n; ++i) AB[j][i] += A[i + l * n] * b;
    }
  std::vector<double> P(k * k);
  for (std::size_t i = 0; i < k; ++i)
    for (std::size_t j = 0; j <= i; ++j) {
      double s = 0;
      for (std::size_t l = 0; l < n; ++l) s += B[i][l] * AB[j][l];
      P[i + j * k] = P[j + i * k] = s;
    }
  return P;
}

// An orthonormal basis of the complement of the orthonormal columns U: the eigenvectors of the
// projector I - U U^T with eigenvalue 1 (the last n - k in ascending order).
columns complement(const columns& U, int n) {
  std::vector<double> P(static_cast<std::size_t>(n) * n, 0.0);
  for (int i = 0; i < n; ++i) P[i + i * n] = 1.0;
  for (const auto& u : U)
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) P[i + j * n] -= u[i] * u[j];
  std::vector<double> values;
  diagonalise(n, P, values);
  columns V;
  for (int j = static_cast<int>(U.size()); j < n; ++j) V.emplace_back(P.begin() + j * n, P.begin() + (j + 1) * n);
  return V;
}

// Cartesian displacement of a mass-weighted mode, unit length, its largest component positive.
std::vector<double> cartesian_mode(const std::vector<double>& weighted, const std::vector<double>& amass) {
  std::vector<double> d(weighted.size());
  double norm = 0, largest = 0;
  for (std::size_t k = 0; k < d.size(); ++k) {
    d[k] = weighted[k] / std::sqrt(amass[k]);
    norm += d[k] * d[k];
    if (std::abs(d[k]) > std::abs(largest)) largest = d[k];
  }
  const double scale = (largest < 0 ? -1.0 : 1.0) / std::sqrt(norm);
  for (double& q : d) q *= scale;
  return d;
}

}  // namespace

double wavenumber(double curvature) {
  // sqrt(eV / (angstrom^2 amu)) in rad/s, over 2 pi c in cm/s.
  const double eV = 1.602176634e-19, amu = 1.66053906660e-27, angstrom = 1e-10, c_cm = 2.99792458e10;
  const double unit = std::sqrt(eV / (amu * angstrom * angstrom)) / (2 * std::numbers::pi * c_cm);
  return std::copysign(std::sqrt(std::abs(curvature)) * unit, curvature);
}

normal_modes modes_beside(const std::vector<double>& weighted, const columns& rigid,
                          const std::vector<double>& amass) {
  const int n = static_cast<int>(amass.size());
  normal_modes out;
  out.rigid_block = project(weighted, rigid);
  const columns V = complement(rigid, n);
  const int k = static_cast<int>(V.size());
  std::vector<double> block = project(weighted, V), values;
  diagonalise(k, block, values);
  for (int m = 0; m < k; ++m) {
    const double nu = wavenumber(values[m]);
    out.frequencies.push_back(nu);
    if (nu > 0) out.zero_point_energy += 0.5 * planck_times_light_speed * nu;
    std::vector<double> mode(n, 0.0);
    for (int j = 0; j < k; ++j)
      for (int i = 0; i < n; ++i) mode[i] += V[j][i] * block[j + m * k];
    out.modes.push_back(cartesian_mode(mode, amass));
  }
  return out;
}

vibrational_analysis analyse_vibrations(const common_var& c) {
  const int n = c.nat3;
  for (double h : c.hess)
    if (!std::isfinite(h)) throw numerical_error("the Hessian is not a finite matrix");
  std::vector<double> weighted(c.hess.size());
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) weighted[i + j * n] = c.hess[i + j * n] / std::sqrt(c.amass[i] * c.amass[j]);

  const rigid_basis rigid = rigid_modes(c);
  normal_modes split = modes_beside(weighted, rigid.vectors, c.amass);
  vibrational_analysis result;
  result.linear = rigid.linear;
  std::vector<double> values;
  diagonalise(static_cast<int>(rigid.vectors.size()), split.rigid_block, values);
  for (double v : values) result.rigid_frequencies.push_back(wavenumber(v));
  result.frequencies = std::move(split.frequencies);
  result.modes = std::move(split.modes);
  result.zero_point_energy = split.zero_point_energy;
  return result;
}

}  // namespace tbrelax
