#include "hessian/inertia.hpp"

#include "linalg/eigensolver.hpp"
#include "state/errors.hpp"

namespace tbrelax {

principal_axes inertia_of(const common_var& c) {
  principal_axes p;
  for (int a = 0; a < c.at_count; ++a) {
    const double m = c.amass[3 * a];
    p.total_mass += m;
    p.centre[0] += m * c.x[a];
    p.centre[1] += m * c.y[a];
    p.centre[2] += m * c.z[a];
  }
  for (double& q : p.centre) q /= p.total_mass;

  double inertia[9] = {};
  for (int a = 0; a < c.at_count; ++a) {
    const double m = c.amass[3 * a];
    const double r[3] = {c.x[a] - p.centre[0], c.y[a] - p.centre[1], c.z[a] - p.centre[2]};
    const double r2 = r[0] * r[0] + r[1] * r[1] + r[2] * r[2];
    for (int k = 0; k < 3; ++k)
      for (int l = 0; l < 3; ++l) inertia[k + 3 * l] += m * ((k == l ? r2 : 0.0) - r[k] * r[l]);
  }
  double scratch[3];
  int ierr = 0;
  eisrs1(3, 3, p.moments.data(), inertia, ierr, scratch);
  if (ierr != 0) throw numerical_error("the principal axes of inertia did not converge");
  for (int k = 0; k < 9; ++k) p.axes[k] = inertia[k];
  return p;
}

}  // namespace tbrelax
