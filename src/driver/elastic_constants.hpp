#pragma once
// Elastic constants of a periodic structure from stress and strain: each free strain component
// applied at +h and -h to the cell and the atoms, the atoms relaxed in the strained cell, and
// C_ij = (sigma_i(+h) - sigma_i(-h)) / 2h by central differences (relaxed-ion constants).

#include <array>
#include <cstdint>

#include "driver/cell_relaxation.hpp"

namespace tbrelax {

using voigt_matrix = std::array<std::array<double, 6>, 6>;

inline constexpr double default_elastic_strain = 0.005;

struct elastic_result {
  voigt_matrix C{};               // eV/angstrom^3 over the whole cell; engineering shear strains
  std::array<bool, 6> free{};     // the components between periodic axes; the others stay 0
  std::int64_t evaluations = 0;
  bool converged = true;          // every ionic relaxation reached fmax
};

// The constants of c in model.settings.cell (the structure as given, best relaxed first with
// its cell). Throws input_rejected where periodic_components does.
elastic_result elastic_constants(const common_var& c, const periodic_model& model, double strain = default_elastic_strain,
                                 double fmax = 1e-3);

// Moduli derived from C (any unit): for a crystal the Voigt averages of the bulk and shear
// moduli with Young's modulus and Poisson's ratio of the isotropic solid they make; for a
// sheet (periodic along Cartesian axes p, q) Young's modulus along p, (C_pp C_qq - C_pq^2) / C_qq,
// Poisson's ratio C_pq / C_qq, the in-plane shear C_66 and the area modulus (C_pp + C_pq) / 2 of a
// biaxial stretch; for a chain the axial stiffness C along the axis.
struct elastic_moduli {
  double bulk = 0, young = 0, shear = 0, poisson = 0;
};
elastic_moduli derived_moduli(const voigt_matrix& C, const std::array<bool, 6>& free, int periodic_axes);

}  // namespace tbrelax
