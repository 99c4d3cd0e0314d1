#include "hessian/rigid_modes.hpp"

#include <array>
#include <cmath>

#include "linalg/eigensolver.hpp"
#include "state/errors.hpp"

namespace tbrelax {

rigid_basis rigid_modes(const common_var& c) {
  const int n = c.at_count;
  rigid_basis basis;
  double total = 0, centre[3] = {0, 0, 0};
  for (int a = 0; a < n; ++a) {
    const double m = c.amass[3 * a];
    total += m;
    centre[0] += m * c.x[a];
    centre[1] += m * c.y[a];
    centre[2] += m * c.z[a];
  }
  std::vector<std::array<double, 3>> r(n);
  for (int a = 0; a < n; ++a)
    r[a] = {c.x[a] - centre[0] / total, c.y[a] - centre[1] / total, c.z[a] - centre[2] / total};

  for (int axis = 0; axis < 3; ++axis) {
    std::vector<double> t(c.nat3, 0.0);
    for (int a = 0; a < n; ++a) t[3 * a + axis] = std::sqrt(c.amass[3 * a] / total);
    basis.vectors.push_back(std::move(t));
  }

  // Inertia tensor about the centre of mass; its principal axes make the rotations mutually
  // orthogonal, and each rotation's squared norm is its principal moment.
  double inertia[9] = {};
  for (int a = 0; a < n; ++a) {
    const double m = c.amass[3 * a];
    const double r2 = r[a][0] * r[a][0] + r[a][1] * r[a][1] + r[a][2] * r[a][2];
    for (int k = 0; k < 3; ++k)
      for (int l = 0; l < 3; ++l) inertia[k + 3 * l] += m * ((k == l ? r2 : 0.0) - r[a][k] * r[a][l]);
  }
  double moments[3], scratch[3];
  int ierr = 0;
  eisrs1(3, 3, moments, inertia, ierr, scratch);
  if (ierr != 0) throw numerical_error("the principal axes of inertia did not converge");
  const double largest = moments[2];
  int rotations = 0;
  for (int k = 0; k < 3; ++k) {
    if (!(largest > 0) || moments[k] <= linear_inertia_ratio * largest) continue;
    const double* e = inertia + 3 * k;
    const double norm = std::sqrt(moments[k]);
    std::vector<double> v(c.nat3);
    for (int a = 0; a < n; ++a) {
      const double s = std::sqrt(c.amass[3 * a]) / norm;
      v[3 * a + 0] = s * (e[1] * r[a][2] - e[2] * r[a][1]);
      v[3 * a + 1] = s * (e[2] * r[a][0] - e[0] * r[a][2]);
      v[3 * a + 2] = s * (e[0] * r[a][1] - e[1] * r[a][0]);
    }
    basis.vectors.push_back(std::move(v));
    ++rotations;
  }
  basis.linear = rotations == 2;
  return basis;
}

}  // namespace tbrelax
