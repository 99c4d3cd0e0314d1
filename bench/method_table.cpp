#include "bench/method_table.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include "bench/complexes.hpp"
#include "driver/batch_input.hpp"
#include "driver/evaluation.hpp"
#include "driver/model_session.hpp"
#include "optimize/optimiser_run.hpp"

namespace tbrelax::bench {
namespace {

using clock_type = std::chrono::steady_clock;

molecule_spec example(const std::filesystem::path& dir) {
  common_var c;
  param par;
  drive drv;
  std::ostringstream warnings;
  read_structure(c, par, drv, (dir / "input.xyz").string(), warnings);
  molecule_spec m;
  m.family = "example";
  m.formula = dir.filename().string();
  for (int a = 0; a < c.at_count; ++a) add_atom(m, c.at_type[a], {c.x[a], c.y[a], c.z[a]});
  return m;
}

method_figures relax_by(const molecule_spec& m, const std::string& method, double fmax) {
  model_session s;
  load_molecule(s.c, m.types, m.positions, m.formula);
  silent_observer quiet;
  method_figures f;
  const auto start = clock_type::now();
  double E = 0;
  if (method == "sd") {
    const relaxation_result r = relax(s.c, s.drv, s.model, quiet);
    f.evaluations = r.evaluations;
    f.steps = moves_per_block * r.blocks;
    E = evaluate_finite(s.c, s.model);  // the end point itself, which the loop never evaluates
  } else {
    const optimiser_result r = run_optimiser(s.c, s.model, {method, {fmax, 1000}, {}, {.enabled = false}}, quiet);
    f.evaluations = r.evaluations;
    f.steps = r.steps;
    f.converged = r.reason == stop_reason::converged;
    E = r.E;
  }
  f.seconds = std::chrono::duration<double>(clock_type::now() - start).count();
  f.energy_per_atom = E / s.c.at_count;
  f.largest_force = find_largest_force(s.c).magnitude;
  return f;
}

template <class... Args>
std::string format(const char* pattern, Args... args) {
  char buffer[512];
  std::snprintf(buffer, sizeof buffer, pattern, args...);
  return buffer;
}

// Evaluations against steepest descent's, the energy per atom above its end point, the force left.
std::string versus(const method_figures& m, const method_figures& sd) {
  return format(" | %5lld %6.3f %9.1e %8.1e %7.2f%s", static_cast<long long>(m.evaluations),
                static_cast<double>(m.evaluations) / static_cast<double>(sd.evaluations),
                m.energy_per_atom - sd.energy_per_atom, m.largest_force, m.seconds, m.converged ? "" : "*");
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  const std::size_t h = v.size() / 2;
  return v.size() % 2 ? v[h] : 0.5 * (v[h - 1] + v[h]);
}

}  // namespace

std::vector<molecule_spec> table_molecules(const std::vector<std::string>& sets, const std::string& examples_dir,
                                           const std::vector<int>& flake_sizes) {
  std::vector<molecule_spec> list;
  for (const std::string& set : sets) {
    if (set == "examples") {
      std::vector<std::filesystem::path> dirs;
      for (const auto& entry : std::filesystem::directory_iterator(examples_dir))
        if (std::filesystem::exists(entry.path() / "input.xyz")) dirs.push_back(entry.path());
      std::sort(dirs.begin(), dirs.end());
      for (const auto& dir : dirs) list.push_back(example(dir));
    } else if (set == "complexes") {
      for (molecule_spec& m : complexes()) list.push_back(std::move(m));
    } else if (set == "flakes") {
      for (int n : flake_sizes) list.push_back(molecule_near("flake", n));
    } else {
      throw std::invalid_argument("unknown molecule set '" + set + "' (examples, complexes, flakes)");
    }
  }
  return list;
}

std::vector<method_row> run_method_table(const std::vector<molecule_spec>& molecules, double fmax, std::ostream& out) {
  out << "Relaxations: steepest descent (tbrelax's loop) against L-BFGS and FIRE to fmax " << fmax
      << " eV/Å.\nPer method: evaluations, their ratio to steepest descent's, energy per atom minus steepest "
         "descent's (eV), largest force left (eV/Å), seconds; * not converged.\n\n"
      << format("%-7s %-18s %5s %5s | %5s %9s %8s %7s", "family", "molecule", "atoms", "n", "sd", "E/atom", "fmax", "s")
      << format(" | %5s %6s %9s %8s %7s", "lbfgs", "ratio", "dE/atom", "fmax", "s")
      << format(" | %5s %6s %9s %8s %7s\n", "fire", "ratio", "dE/atom", "fmax", "s");
  std::vector<method_row> rows;
  for (const molecule_spec& m : molecules) {
    method_row r{m.family, m.formula, static_cast<int>(m.types.size()), m.basis_size,
                 relax_by(m, "sd", fmax), relax_by(m, "lbfgs", fmax), relax_by(m, "fire", fmax)};
    out << format("%-7s %-18s %5d %5d | %5lld %9.5f %8.1e %7.2f", r.family.c_str(), r.name.c_str(), r.atoms,
                  r.basis_size, static_cast<long long>(r.sd.evaluations), r.sd.energy_per_atom, r.sd.largest_force,
                  r.sd.seconds)
        << versus(r.lbfgs, r.sd) << versus(r.fire, r.sd) << '\n'
        << std::flush;
    rows.push_back(std::move(r));
  }
  return rows;
}

void print_method_summary(std::ostream& out, const std::vector<method_row>& rows) {
  if (rows.empty()) return;
  for (auto [name, member] : {std::pair{"L-BFGS", &method_row::lbfgs}, std::pair{"FIRE", &method_row::fire}}) {
    std::vector<double> ratios, rises;
    for (const method_row& r : rows) {
      ratios.push_back(static_cast<double>((r.*member).evaluations) / static_cast<double>(r.sd.evaluations));
      rises.push_back((r.*member).energy_per_atom - r.sd.energy_per_atom);
    }
    out << format("%-6s evaluations / steepest descent's: median %.3f, largest %.3f; energy per atom above steepest "
                  "descent's end: largest %.1e eV\n",
                  name, median(ratios), *std::max_element(ratios.begin(), ratios.end()),
                  *std::max_element(rises.begin(), rises.end()));
  }
}

}  // namespace tbrelax::bench
