// tbcalc energy: one evaluation and everything it yields.
#include <cmath>
#include <cstdio>
#include <ostream>

#include "batch.hpp"
#include "commands.hpp"
#include "common.hpp"
#include "driver/evaluation.hpp"
#include "driver/periodic_relaxation.hpp"
#include "io/wri_crd.hpp"
#include "periodic_report.hpp"
#include "state/element.hpp"
#include "tb/charges.hpp"

namespace tbrelax::tbcalc {
namespace {

struct energy_result {
  double E = 0;
  evaluation_details details;
  frontier_orbitals frontier;
  largest_force largest;
  std::vector<double> charges;        // Mulliken (e)
  std::array<double, 3> dipole{};     // D
  double dipole_magnitude = 0;        // D
};

using force_arrays = const std::vector<double>* [3];

// A value that rounds to zero in ten decimals is shown as 0, never as -0.
double shown(double v) { return std::abs(v) < 5e-11 ? 0.0 : v; }

std::string force_line(const char* label, const force_arrays& f, int a) {
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "%-11s%16.10f%16.10f%16.10f\n", label, (*f[0])[a], (*f[1])[a], (*f[2])[a]);
  return buffer;
}

void human_report(std::ostream& out, const std::string& path, const common_var& c, const energy_result& r) {
  const auto& eps = r.details.eps;
  auto line = [&](const std::string& label, const std::string& value) {
    out << label << std::string(label.size() < 26 ? 26 - label.size() : 1, ' ') << value << '\n';
  };
  out << header_line(path, c) << '\n';
  line("Total energy E", energy_text(r.E) + " eV");
  line("Binding energy per atom", energy_text(binding_energy_per_atom(r.E, c.at_count)) + " eV");
  line("HOMO (orbital " + std::to_string(r.frontier.homo + 1) + ")", energy_text(eps[r.frontier.homo]) + " eV");
  if (r.frontier.lumo) {
    line("LUMO (orbital " + std::to_string(*r.frontier.lumo + 1) + ")", energy_text(eps[*r.frontier.lumo]) + " eV");
    line("HOMO-LUMO gap", energy_text(eps[*r.frontier.lumo] - eps[r.frontier.homo]) + " eV");
  } else {
    line("LUMO", "none (no unoccupied orbital)");
  }
  out << "\nForces (eV/Å)                   x               y               z\n";
  const force_arrays total{&c.fx, &c.fy, &c.fz}, electronic{&c.felx, &c.fely, &c.felz},
      repulsive{&c.frepx, &c.frepy, &c.frepz};
  for (int a = 0; a < c.at_count; ++a) {
    char atom[16];
    std::snprintf(atom, sizeof atom, "%4d %-2c ", a + 1, data_of(c.at_type[a]).symbol);
    out << atom << force_line("total", total, a) << "        " << force_line("electronic", electronic, a)
        << "        " << force_line("repulsive", repulsive, a);
  }
  char largest[96];
  std::snprintf(largest, sizeof largest, "%.10f eV/Å on atom %d (%c)", r.largest.magnitude, r.largest.atom + 1,
                data_of(c.at_type[r.largest.atom]).symbol);
  line("Largest force", largest);

  out << "\nMulliken charges (e)\n";
  for (int a = 0; a < c.at_count; ++a) {
    char charge[64];
    std::snprintf(charge, sizeof charge, "%4d %-2c %16.10f\n", a + 1, data_of(c.at_type[a]).symbol, shown(r.charges[a]));
    out << charge;
  }
  char dipole[160];
  std::snprintf(dipole, sizeof dipole, "%.10f D  (x %.10f, y %.10f, z %.10f)", r.dipole_magnitude, shown(r.dipole[0]),
                shown(r.dipole[1]), shown(r.dipole[2]));
  line("Dipole moment", dipole);
}

void json_forces(json_writer& json, const char* name, const force_arrays& f, int n) {
  json.key(name).begin_array();
  for (int a = 0; a < n; ++a) json.numbers({(*f[0])[a], (*f[1])[a], (*f[2])[a]});
  json.end_array();
}

void json_report(json_writer& json, const std::string& path, const common_var& c, const energy_result& r) {
  const auto& eps = r.details.eps;
  json_structure(json, path, c);
  json.key("energy").value(r.E);
  json.key("binding_energy").value(binding_energy_per_atom(r.E, c.at_count));
  json.key("repulsive_energy").value(r.details.repulsive_energy);
  json.key("electrons").value(c.el_count);
  json.key("orbital_energies").numbers(eps);
  json.key("homo_orbital").value(r.frontier.homo + 1);
  json.key("homo").value(eps[r.frontier.homo]);
  if (r.frontier.lumo) {
    json.key("lumo").value(eps[*r.frontier.lumo]);
    json.key("gap").value(eps[*r.frontier.lumo] - eps[r.frontier.homo]);
  } else {
    json.key("lumo").null();
    json.key("gap").null();
  }
  json.key("forces").begin_object();
  json_forces(json, "total", {&c.fx, &c.fy, &c.fz}, c.at_count);
  json_forces(json, "electronic", {&c.felx, &c.fely, &c.felz}, c.at_count);
  json_forces(json, "repulsive", {&c.frepx, &c.frepy, &c.frepz}, c.at_count);
  json.end_object();
  json.key("largest_force").begin_object();
  json.key("atom").value(r.largest.atom + 1);
  json.key("magnitude").value(r.largest.magnitude);
  json.end_object();
  json.key("charges").numbers(r.charges);
  json.key("stress").null();  // a molecule has no cell to strain
  json.key("dipole").numbers({r.dipole[0], r.dipole[1], r.dipole[2]});
  json.key("dipole_magnitude").value(r.dipole_magnitude);
  json.key("electronic_route").value(route_name(r.details.route));
}

}  // namespace

int run_energy(const options& o, work_sharing& group, std::ostream& out, std::ostream& err) {
  const auto distributed = distributed_step_for(o, group);
  const file_work one_file = [&](const std::string& path, std::ostream& warnings, std::ostream& text, json_writer& json) {
    calculation calc(warnings);
    calc.model.distributed = distributed.get();
    calc.read(path, o.tbrelax_symbols);
    common_var& c = calc.c;
    if (const std::optional<periodic_setup> setup = periodic_setup_for(calc.comment, o.periodic, calc.c, calc.par)) {
      if (calc.model.interruption_check) calc.model.interruption_check();
      const periodic_evaluation p = evaluate_periodic_finite(c, calc.par, setup->settings, *calc.solver);
      if (o.json)
        periodic_json_report(json, path, c, *setup, p);
      else
        periodic_human_report(text, path, c, *setup, p);
      return;
    }
    energy_result r;
    r.E = evaluate_finite(c, calc.model, &r.details);
    r.frontier = find_frontier_orbitals(c.el_count, c.wfunc_count);
    r.largest = find_largest_force(c);
    r.charges = mulliken_charges(c, calc.workspace);
    const std::array<double, 3> mu = dipole_moment(c, r.charges);
    for (int k = 0; k < 3; ++k) r.dipole[k] = mu[k] * debye_per_e_angstrom;
    r.dipole_magnitude = std::hypot(r.dipole[0], r.dipole[1], r.dipole[2]);
    if (o.json)
      json_report(json, path, c, r);
    else
      human_report(text, path, c, r);
  };
  // A distributed run is one calculation that every process makes together.
  single_process together;
  return run_batch(o, distributed ? together : group, out, err, one_file, {"\n", /*own_document=*/true});
}

}  // namespace tbrelax::tbcalc
