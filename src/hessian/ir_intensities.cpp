#include "hessian/ir_intensities.hpp"

#include <cmath>

namespace tbrelax {

std::vector<double> ir_intensities(const vibrational_analysis& v, const std::vector<double>& amass,
                                   const std::vector<double>& dipole_derivatives) {
  std::vector<double> intensities;
  for (const std::vector<double>& d : v.modes) {
    // The stored mode d is a unit Cartesian displacement; the unit step along Q moves the atoms
    // by d / |sqrt(m) d|.
    double weighted = 0;
    for (std::size_t k = 0; k < d.size(); ++k) weighted += amass[k] * d[k] * d[k];
    const double scale = 1.0 / std::sqrt(weighted);
    double slope[3] = {0, 0, 0};
    for (std::size_t k = 0; k < d.size(); ++k)
      for (int i = 0; i < 3; ++i) slope[i] += dipole_derivatives[i + 3 * k] * d[k] * scale;
    intensities.push_back(ir_intensity_unit * (slope[0] * slope[0] + slope[1] * slope[1] + slope[2] * slope[2]));
  }
  return intensities;
}

}  // namespace tbrelax
