#pragma once
// The benchmark's command line.

#include <string>
#include <vector>

namespace tbrelax::bench {

struct options {
  std::vector<int> sizes{100, 200, 400, 800, 1600};  // basis sizes aimed at
  std::vector<std::string> families{"flake", "alkane"};
  std::vector<std::string> solvers;  // empty: every solver the build offers
  int threads = 0;                   // threads of the size sweep; 0: all OpenMP offers
  int scaling_size = 800;            // one- against all-thread comparison; 0: none
  int repeats = 5;                   // evaluations per point; the median is reported
  int fit_from = 400;                // smallest basis size in the fitted exponent
  std::string relax = "coronene";    // whole relaxation: "coronene", "flake:N" or "none"
  std::string json = "tbrelax_bench.json";
  std::string write_batch;  // a directory: write the MPI throughput batch there and stop
  // The optimiser comparison instead of the sweep: molecule sets, flake sizes, force criterion.
  std::vector<std::string> table;
  std::vector<int> table_flakes{400, 800, 1600};
  double table_fmax = 0.01;
  std::string examples = TBRELAX_EXAMPLES_DIR;
  std::string write_xyz;  // a molecule to print as a structure file instead of measuring
  bool help = false;
};

// Throws std::invalid_argument with a message for a malformed command line.
options parse_options(int argc, char** argv);

std::string usage();

}  // namespace tbrelax::bench
