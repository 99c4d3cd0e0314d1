#pragma once
// A relaxation that ends at a verified minimum: once the optimiser has converged, the lowest
// curvature (mass-weighted, rigid motions and frozen coordinates left out) is estimated from
// Hessian-vector products; a curvature more negative than the threshold means a saddle point,
// which is left along its mode towards the lower side and relaxed again, a bounded number of
// times.

#include <cstdint>
#include <functional>
#include <memory>

#include "optimize/minimise.hpp"

namespace tbrelax {

struct minimum_check_settings {
  bool enabled = true;
  // A mode more imaginary than this (cm^-1) marks a saddle point: -50 cm^-1 is a curvature of
  // -9.2e-3 eV/(angstrom^2 amu), -0.15 eV/angstrom^2 along an oxygen atom. The products'
  // noise is far below it; the loosely bound fragments of a dissociated molecule show about
  // -40 cm^-1 in the check where the full Hessian finds a flat -5 cm^-1.
  double threshold = 50.0;
  double escape_step = 0.1;  // largest move of an atom off the saddle point (angstrom)
  int max_escapes = 5;
  int max_products = 30;     // Hessian-vector products of one check
};

struct minimum_check_outcome {
  bool performed = false;  // the check ran (the optimiser converged and the check was asked for)
  bool verified = false;   // no curvature below the threshold is left at the end point
  // Lowest curvature found at the end point (eV / (angstrom^2 amu)): an upper bound of the
  // lowest, its sign against the threshold settled. NaN with no free direction, and where the
  // relaxation after an escape stopped short of convergence.
  double curvature = 0;
  double wavenumber = 0;   // its wavenumber (cm^-1, negative for an imaginary mode)
  int escapes = 0;         // saddle points left
  std::int64_t evaluations = 0;  // the checks' products and the escapes' probes
};

// The curvature (eV / (angstrom^2 amu)) of a mode of wavenumber nu (cm^-1), negative for nu < 0.
double curvature_of_wavenumber(double nu);

struct verified_minimisation {
  minimisation run;  // the last relaxation's end, with the steps of all relaxations
  minimum_check_outcome check;
};

// Minimises from the evaluated point `start` with strategies made by `make` (a fresh one after
// every escape), numbering the steps of all relaxations in one sequence for the listener and
// sharing stop.max_steps among them.
verified_minimisation minimise_verified(objective& f, const std::function<std::unique_ptr<step_strategy>()>& make,
                                        search_point start, const stop_criteria& stop,
                                        const minimum_check_settings& check, step_listener* listener = nullptr);

}  // namespace tbrelax
