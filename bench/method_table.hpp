#pragma once
// Steepest descent against L-BFGS and FIRE on the same molecules: evaluations, the energy per
// atom each reaches, the largest force left and the time, side by side in one run.

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "bench/molecules.hpp"

namespace tbrelax::bench {

struct method_figures {
  std::int64_t evaluations = 0;  // steepest descent: its 20 per block + 1
  int steps = 0;
  bool converged = true;
  double energy_per_atom = 0;   // eV, at the end point
  double largest_force = 0;     // eV/angstrom, at the end point
  double seconds = 0;
};

struct method_row {
  std::string family, name;
  int atoms = 0, basis_size = 0;
  method_figures sd, lbfgs, fire;
};

// The molecules of the sets named ("examples", "complexes", "flakes"): the examples are read
// from examples_dir, the flakes are those nearest the basis sizes given.
std::vector<molecule_spec> table_molecules(const std::vector<std::string>& sets, const std::string& examples_dir,
                                           const std::vector<int>& flake_sizes);

// Relaxes each molecule by the three methods (L-BFGS and FIRE to fmax), one row printed as it is done.
std::vector<method_row> run_method_table(const std::vector<molecule_spec>& molecules, double fmax, std::ostream& out);

// The median and largest ratio of evaluations to steepest descent's, per method.
void print_method_summary(std::ostream& out, const std::vector<method_row>& rows);

}  // namespace tbrelax::bench
