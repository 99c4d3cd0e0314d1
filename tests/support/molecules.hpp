#pragma once
// Molecules built in code for the tests, and an energy model on string streams.

#include <array>
#include <string>
#include <vector>

#include "driver/model_session.hpp"
#include "state/common_var.hpp"

namespace tbrelax::testing {

struct atom {
  char symbol;
  std::array<double, 3> r;
};

// A state holding these atoms, as if read from a file.
common_var molecule(const std::vector<atom>& atoms);

// Atoms listed in the order of the model's reference geometries.
std::vector<atom> water_atoms();    // O, H, H at the reference geometry
std::vector<atom> methane_atoms();
std::vector<atom> ammonia_atoms();
std::vector<atom> formaldehyde_atoms();
std::vector<atom> hcn_atoms();
std::vector<atom> bent_n2o_atoms();
std::vector<atom> benzene_atoms();

// Tests evaluate through a session whose console pauses on the keys they give.
using test_model = model_session;

// Minus the central-difference gradient of the energy (step h, angstrom) for coordinate axis of atom a.
double numerical_force(common_var c, test_model& m, int a, int axis, double h = 1e-5);

}  // namespace tbrelax::testing
