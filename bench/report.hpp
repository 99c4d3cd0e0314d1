#pragma once
// The benchmark's results: a table on the screen and a JSON file.

#include <iosfwd>
#include <string>
#include <vector>

#include "bench/measure.hpp"
#include "bench/options.hpp"

namespace tbrelax::bench {

// An exponent p of t ~ n^p, fitted by least squares of log t on log n.
struct exponent_fit {
  std::string family, solver, part;
  double exponent = 0;
  int points = 0;
};

struct results {
  std::vector<evaluation_figures> sweep;
  std::vector<reference_figures> references;  // dsygvd alone, per molecule of the sweep
  std::vector<evaluation_figures> scaling;  // pairs: one thread, then all
  std::vector<exponent_fit> exponents;
  std::vector<relaxation_figures> relaxations;
  std::string load_before, load_after;  // the system's load averages around the run
};

// Fits every part of every (family, solver) series over the points with n >= fit_from.
std::vector<exponent_fit> fit_exponents(const std::vector<evaluation_figures>& sweep, int fit_from);

// A one-line description of the machine: processor, cores, compiler, BLAS where linked.
std::string machine_description();

// The system's 1, 5 and 15 minute load averages: figures taken with a load above zero on a
// machine with few cores are disturbed by other processes.
std::string load_average();

void print_evaluation_header(std::ostream& out);
void print_evaluation(std::ostream& out, const evaluation_figures& f);
void print_reference(std::ostream& out, const reference_figures& f);
void print_summary(std::ostream& out, const results& r, const options& o);

void write_json(const std::string& path, const results& r, const options& o);

}  // namespace tbrelax::bench
