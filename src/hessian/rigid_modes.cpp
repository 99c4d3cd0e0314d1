#include "hessian/rigid_modes.hpp"

#include <array>
#include <cmath>

#include "hessian/inertia.hpp"

namespace tbrelax {

rigid_basis rigid_modes(const common_var& c) {
  const int n = c.at_count;
  rigid_basis basis;
  const principal_axes p = inertia_of(c);
  std::vector<std::array<double, 3>> r(n);
  for (int a = 0; a < n; ++a) r[a] = {c.x[a] - p.centre[0], c.y[a] - p.centre[1], c.z[a] - p.centre[2]};

  for (int axis = 0; axis < 3; ++axis) {
    std::vector<double> t(c.nat3, 0.0);
    for (int a = 0; a < n; ++a) t[3 * a + axis] = std::sqrt(c.amass[3 * a] / p.total_mass);
    basis.vectors.push_back(std::move(t));
  }

  // Rotations about the principal axes are mutually orthogonal, and each rotation's squared
  // norm is its principal moment.
  const double largest = p.moments[2];
  int rotations = 0;
  for (int k = 0; k < 3; ++k) {
    if (!(largest > 0) || p.moments[k] <= linear_inertia_ratio * largest) continue;
    const double* e = p.axes.data() + 3 * k;
    const double norm = std::sqrt(p.moments[k]);
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
