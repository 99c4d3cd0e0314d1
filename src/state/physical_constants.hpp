#pragma once
// Physical constants shared by the parts of the model (exact SI values of the 2019 definition).

namespace tbrelax {

// Boltzmann's constant (eV/K).
inline constexpr double boltzmann_ev = 1.380649e-23 / 1.602176634e-19;

}  // namespace tbrelax
