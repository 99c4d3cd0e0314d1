// tbrelax_bench: how the time of one evaluation of the energy model grows with the basis size,
// part by part and solver by solver, and the time of a whole relaxation.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>

#include "bench/batch_molecules.hpp"
#include "bench/complexes.hpp"
#include "bench/measure.hpp"
#include "bench/method_table.hpp"
#include "bench/molecules.hpp"
#include "bench/options.hpp"
#include "bench/report.hpp"
#include "linalg/electronic_solver.hpp"

using namespace tbrelax;
using namespace tbrelax::bench;

namespace {

results run(const options& o) {
  // Solvers the build names but this machine cannot run (a GPU one without a device) are left out.
  std::vector<std::string> solvers;
  for (const std::string& name : o.solvers.empty() ? available_solvers() : o.solvers) {
    if (make_solver(name)) solvers.push_back(name);
    else std::cout << "Solver '" << name << "' is not available here: left out.\n";
  }
  if (solvers.empty()) throw std::invalid_argument("no solver to measure");
  const int threads = o.threads > 0 ? o.threads : default_threads();
  results r;
  r.load_before = load_average();
  std::cout << "Machine: " << machine_description() << "\nLoad average (1, 5, 15 min): " << r.load_before
            << "\n\nMedian seconds per evaluation over " << o.repeats
            << " evaluations; rest% is the share outside the eigendecompositions and the products;\n"
            << "heap/n2 is the peak working storage of an evaluation in units of n^2 doubles; first is the\n"
            << "first evaluation of a fresh session (its storage not yet mapped) against the median; route is\n"
            << "the way the electronic step went. A LAPACK build also times dsygvd alone on the same H and S.\n\n";
  print_evaluation_header(std::cout);
  for (const std::string& family : o.families)
    for (int size : o.sizes) {
      const molecule_spec m = molecule_near(family, size);
      for (const std::string& solver : solvers) {
        r.sweep.push_back(time_evaluations(m, solver, threads, o.repeats));
        print_evaluation(std::cout, r.sweep.back());
      }
      if (const auto reference = time_dsygvd_alone(m, threads, o.repeats)) {
        r.references.push_back(*reference);
        print_reference(std::cout, *reference);
      }
    }
  r.exponents = fit_exponents(r.sweep, o.fit_from);
  if (o.scaling_size > 0 && default_threads() > 1) {
    std::cout << "\nOne thread against " << default_threads() << ":\n";
    const molecule_spec m = molecule_near(o.families.front(), o.scaling_size);
    for (const std::string& solver : solvers)
      for (int t : {1, default_threads()}) {
        r.scaling.push_back(time_evaluations(m, solver, t, o.repeats));
        print_evaluation(std::cout, r.scaling.back());
      }
  }
  if (o.relax != "none") {
    const molecule_spec m = o.relax == "coronene" ? coronene() : molecule_near("flake", std::stoi(o.relax.substr(6)));
    for (const std::string& solver : solvers) r.relaxations.push_back(time_relaxation(m, solver, threads));
  }
  r.load_after = load_average();
  return r;
}

// A molecule of the benchmark as a structure file that tbcalc and tbrelax read.
void write_xyz(const std::string& name) {
  molecule_spec m;
  if (name.starts_with("flake:") || name.starts_with("alkane:")) {
    const auto colon = name.find(':');
    m = molecule_near(name.substr(0, colon), std::stoi(name.substr(colon + 1)));
  } else if (name == "coronene") {
    m = coronene();
  } else {
    for (molecule_spec& c : complexes())
      if (c.formula == name) m = std::move(c);
    if (m.types.empty()) throw std::invalid_argument("no molecule '" + name + "'");
  }
  std::cout << m.types.size() << '\n' << m.formula << '\n';
  char line[128];
  for (std::size_t a = 0; a < m.types.size(); ++a) {
    std::snprintf(line, sizeof line, "%c %.17g %.17g %.17g\n", "HCNO"[m.types[a] - 1], m.positions[a][0],
                  m.positions[a][1], m.positions[a][2]);
    std::cout << line;
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const options o = parse_options(argc, argv);
    if (o.help) {
      std::cout << usage();
      return 0;
    }
    if (!o.write_batch.empty()) {
      for (const std::string& path : write_batch(o.write_batch)) std::cout << path << '\n';
      return 0;
    }
    if (!o.write_xyz.empty()) {
      write_xyz(o.write_xyz);
      return 0;
    }
    if (!o.table.empty()) {
      std::cout << "Machine: " << machine_description() << "\nLoad average (1, 5, 15 min): " << load_average() << "\n\n";
      const auto rows = run_method_table(table_molecules(o.table, o.examples, o.table_flakes), o.table_fmax, std::cout);
      print_method_summary(std::cout, rows);
      std::cout << "Load average after: " << load_average() << '\n';
      return 0;
    }
    const results r = run(o);
    print_summary(std::cout, r, o);
    if (!o.json.empty()) {
      write_json(o.json, r, o);
      std::cout << "Results written to " << o.json << '\n';
    }
    return 0;
  } catch (const std::invalid_argument& e) {
    std::cerr << "tbrelax_bench: " << e.what() << '\n' << usage();
    return 2;
  } catch (const std::exception& e) {
    std::cerr << "tbrelax_bench: " << e.what() << '\n';
    return 1;
  }
}
