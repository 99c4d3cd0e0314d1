#pragma once
// Occupations of the bands of several k-points at an electronic temperature: Fermi-Dirac with
// the chemical potential that holds the electron count, and its zero-temperature limit.

#include <vector>

namespace tbrelax {

// Boltzmann's constant in eV/K, as the thermochemistry takes it.
inline constexpr double boltzmann_ev_per_k = 1.380649e-23 / 1.602176634e-19;

// Levels closer than this (eV) count as one degenerate level at zero temperature.
inline constexpr double degeneracy_tolerance = 1e-8;

struct band_occupations {
  double fermi_level = 0;                // mu (eV)
  std::vector<std::vector<double>> f;    // per k, per band: 0..2
  double band_energy = 0;                // sum_k w_k sum_n f eps (eV)
  double entropy = 0;                    // S_el (eV/K)
  bool degenerate_edge = false;          // T = 0: a partly filled level at the edge is degenerate
};

// eps per k-point, ascending; weights summing to 1; `electrons` per cell. T > 0:
// f = 2 / (1 + exp((eps - mu) / kT)) with mu found by bisection to the last bit. T = 0: levels
// below the edge filled, the levels of the edge (within degeneracy_tolerance of its lowest)
// sharing what is left equally; mu is the edge level when it is partly filled, else the middle
// of the gap above the last filled level.
band_occupations occupy_bands(const std::vector<std::vector<double>>& eps, const std::vector<double>& weights,
                              int electrons, double temperature_K);

}  // namespace tbrelax
