// Ideal-gas thermochemistry: textbook values, the soft-mode interpolation, symmetry numbers.
#include "hessian/thermochemistry.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "hessian/symmetry_number.hpp"
#include "hessian/vibrations.hpp"
#include "support/molecules.hpp"

namespace tbrelax {
namespace {

using testing::atom;
using testing::molecule;

constexpr double T = 298.15;
constexpr double kT = boltzmann_ev * T;

TEST(Thermochemistry, RotorEnthalpyAndModeBookkeeping) {
  // H - E: 5/2 kT of translation plus kT (linear) or 3/2 kT (non-linear) of rotation, the
  // zero-point energy and the thermal energy of the real modes; an imaginary mode counts nowhere.
  const common_var hcn = molecule(testing::hcn_atoms());
  const common_var water = molecule(testing::water_atoms());
  thermo_conditions harmonic;
  harmonic.soft_mode_cutoff = 0;
  for (const bool linear : {true, false}) {
    const thermochemistry t = compute_thermochemistry(linear ? hcn : water, 0.0, {-300.0, 1000.0}, linear, harmonic);
    const double quantum = planck_times_light_speed * 1000.0;
    EXPECT_EQ(t.imaginary_modes, 1);
    EXPECT_NEAR(t.zero_point_energy, 0.5 * quantum, 1e-15);
    EXPECT_NEAR(t.rotational.enthalpy, (linear ? 1.0 : 1.5) * kT, 1e-15);
    EXPECT_NEAR(t.vibrational.enthalpy, 0.5 * quantum + quantum / std::expm1(quantum / kT), 1e-12);
    // Harmonic entropy of a 1000 cm^-1 mode: k (x / (e^x - 1) - ln(1 - e^-x)), x = 4.8257.
    EXPECT_NEAR(t.vibrational.entropy, 4.056491e-6, 1e-12);
    EXPECT_EQ(t.symmetry_number, linear ? 1 : 2);
  }
}

TEST(Thermochemistry, SoftModesLeanTowardsAFreeRotor) {
  // At the cutoff the weight is one half: the mean of the oscillator's 1.73828 k and the
  // rotor's 1.43654 k at 100 cm^-1.
  EXPECT_NEAR(mode_entropy(100.0, T, 100.0) / boltzmann_ev, 0.5 * (1.7382800 + 1.4365416), 1e-6);
  EXPECT_NEAR(mode_entropy(100.0, T, 0.0) / boltzmann_ev, 1.7382800, 1e-6);
  // Far above the cutoff the oscillator stands; far below, the entropy tends to that of a rotor
  // with the average moment, 5.52717 k, where the oscillator's grows as -k ln nu.
  EXPECT_NEAR(mode_entropy(2000.0, T, 100.0) / mode_entropy(2000.0, T, 0.0), 1.0, 1e-3);
  for (const double nu : {1e-7, 1e-8}) EXPECT_NEAR(mode_entropy(nu, T, 100.0) / boltzmann_ev, 5.52717, 1e-5);
  EXPECT_GT(mode_entropy(1e-7, T, 0.0) / boltzmann_ev, 20.0);
}

TEST(SymmetryNumber, FoundFromTheGeometry) {
  std::vector<atom> bent = testing::water_atoms();
  bent[1].r[1] += 0.05;  // one O-H bond longer: no symmetry left
  std::vector<atom> nearly = testing::water_atoms();
  nearly[1].r[2] += 0.003;  // within the tolerance
  const struct {
    const char* name;
    std::vector<atom> atoms;
    bool linear;
    int sigma;
  } cases[] = {
      {"water", testing::water_atoms(), false, 2},
      {"ammonia", testing::ammonia_atoms(), false, 3},
      {"methane", testing::methane_atoms(), false, 12},
      {"benzene", testing::benzene_atoms(), false, 12},
      {"formaldehyde", testing::formaldehyde_atoms(), false, 2},
      {"bent N2O", testing::bent_n2o_atoms(), false, 1},
      {"distorted water", bent, false, 1},
      {"water off by 0.003 A", nearly, false, 2},
      {"HCN", testing::hcn_atoms(), true, 1},
      {"CO2", {{'O', {0, 0, -1.16}}, {'C', {0, 0, 0}}, {'O', {0, 0, 1.16}}}, true, 2},
      {"ethylene", {{'C', {0, 0, 0.67}}, {'C', {0, 0, -0.67}}, {'H', {0, 0.92, 1.23}}, {'H', {0, -0.92, 1.23}},
                    {'H', {0, 0.92, -1.23}}, {'H', {0, -0.92, -1.23}}}, false, 4},
      {"single atom", {{'O', {1, 1, 1}}}, false, 1},
  };
  for (const auto& k : cases) EXPECT_EQ(symmetry_number(molecule(k.atoms), k.linear), k.sigma) << k.name;
}

}  // namespace
}  // namespace tbrelax
