#pragma once
// Timing of the energy model on one molecule: evaluations split into their parts, and a whole
// relaxation.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bench/molecules.hpp"

namespace tbrelax::bench {

// Seconds of one evaluation and of its parts; `other` is what the parts leave of the total
// (the repulsion, the band energy, copies).
struct part_times {
  double total = 0;
  double assembly = 0;      // S and H
  double eigen = 0;         // both eigendecompositions
  double products = 0;      // H X, X^T (H X), X C'
  double densities = 0;     // P and W (occupy's sums)
  double displacement = 0;  // finite-difference electronic forces
  double other = 0;
};

struct evaluation_figures {
  std::string family, formula, solver;
  std::string route;         // the way the electronic step went ("cholesky", "canonical")
  int atoms = 0, basis_size = 0, threads = 0, repeats = 0;
  part_times median;         // median of each part over the repeats
  double first = 0;          // seconds of the first evaluation, on a session's fresh storage
  double energy = 0;         // eV, of the last evaluation
  std::size_t peak_heap = 0;  // bytes above the level before the evaluation, largest over the repeats
};

// `repeats` calls of force on the molecule with the named solver and `threads` OpenMP threads
// (0: leave the thread count as it is).
evaluation_figures time_evaluations(const molecule_spec& m, const std::string& solver, int threads, int repeats);

// LAPACK's generalised eigensolver alone (dsygvd, every eigenpair of H c = eps S c) on the
// molecule's matrices: the yardstick of the whole evaluations.
struct reference_figures {
  std::string family, formula;
  int basis_size = 0, threads = 0, repeats = 0;
  double seconds = 0;  // median
};

// The median over `repeats` runs; nothing in a build without LAPACK.
std::optional<reference_figures> time_dsygvd_alone(const molecule_spec& m, int threads, int repeats);

struct relaxation_figures {
  std::string formula, solver;
  int atoms = 0, basis_size = 0, threads = 0, blocks = 0;
  std::int64_t evaluations = 0;
  double seconds = 0, energy = 0;
};

relaxation_figures time_relaxation(const molecule_spec& m, const std::string& solver, int threads);

// Threads an OpenMP parallel region gets by default (1 without OpenMP).
int default_threads();

}  // namespace tbrelax::bench
