#include "periodic_report.hpp"

#include <cmath>
#include <cstdio>
#include <ostream>

#include "common.hpp"
#include "driver/evaluation.hpp"
#include "io/wri_crd.hpp"
#include "state/element.hpp"
#include "tb/charges.hpp"
#include "tb/stress.hpp"

namespace tbrelax::tbcalc {
namespace {

// A value that rounds to zero in ten decimals is shown as 0, never as -0.
double shown(double v) { return std::abs(v) < 5e-11 ? 0.0 : v; }

void line(std::ostream& out, const std::string& label, const std::string& value) {
  out << label << std::string(label.size() < 26 ? 26 - label.size() : 1, ' ') << value << '\n';
}

std::string kelvin_text(double T) {
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%g K", T);
  return buffer;
}

std::string force_line(const char* label, double x, double y, double z) {
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "%-11s%16.10f%16.10f%16.10f\n", label, x, y, z);
  return buffer;
}

void json_forces(json_writer& json, const char* name, const std::vector<double>& x, const std::vector<double>& y,
                 const std::vector<double>& z) {
  json.key(name).begin_array();
  for (std::size_t a = 0; a < x.size(); ++a) json.numbers({x[a], y[a], z[a]});
  json.end_array();
}

std::string voigt_line(const char* label, const voigt& v, double unit) {
  std::string text = label;
  text.resize(26, ' ');
  char number[32];
  for (double x : v) {
    const double v = x * unit;
    std::snprintf(number, sizeof number, "%14.6f", std::abs(v) < 5e-7 ? 0.0 : v);  // never -0.000000
    text += number;
  }
  return text + '\n';
}

}  // namespace

const char* const degenerate_edge_warning =
    "a degenerate level at the Fermi edge is only partly filled: the forces depend on which of its orbitals the "
    "solver returns; an electronic temperature above 0 (--electronic-temperature 300) makes them well defined";

std::string cell_text(const periodic_setup& s) {
  if (!s.periodic) return "none (a molecule)";
  static const char* kinds[] = {"", "a chain", "a sheet", "a crystal"};
  std::string axes;
  for (int i = 0; i < 3; ++i)
    if (s.settings.cell.pbc[i]) axes += std::string(axes.empty() ? "" : " ") + "a" + std::to_string(i + 1);
  return std::string(kinds[s.settings.cell.periodic_axes()]) + ", periodic along " + axes;
}

void periodic_energy_lines(std::ostream& out, const periodic_setup& s, const periodic_evaluation& p) {
  line(out, "Cell", cell_text(s));
  line(out, "k-points", grid_text(s) + " (" + std::to_string(s.settings.kpoints.size()) + " after merging k and -k)");
  line(out, "Electronic temperature", kelvin_text(s.settings.electronic_temperature));
  line(out, "Energy E", energy_text(p.energy) + " eV");
  line(out, "Free energy F = E - TS", energy_text(p.free_energy) + " eV");
  line(out, "Energy E0 = (E + F)/2", energy_text(p.energy_zero) + " eV");
}

void periodic_human_report(std::ostream& out, const std::string& path, const common_var& c, const periodic_setup& s,
                           const periodic_evaluation& p) {
  out << header_line(path, c) << '\n';
  periodic_energy_lines(out, s, p);
  line(out, "Binding energy per atom", energy_text(binding_energy_per_atom(p.energy, c.at_count)) + " eV");
  line(out, "Fermi level", energy_text(p.fermi_level) + " eV");
  if (p.molecular_filling) {
    line(out, "HOMO", energy_text(p.homo) + " eV");
    if (p.lumo) line(out, "LUMO", energy_text(*p.lumo) + " eV");
  }
  line(out, "Band gap", p.band_gap ? energy_text(*p.band_gap) + " eV" : "none (levels at the Fermi edge)");
  if (p.degenerate_edge) out << "Warning: " << degenerate_edge_warning << '\n';

  out << "\nForces (eV/Å)                   x               y               z\n";
  for (int a = 0; a < c.at_count; ++a) {
    char atom[16];
    std::snprintf(atom, sizeof atom, "%4d %-2c ", a + 1, data_of(c.at_type[a]).symbol);
    out << atom << force_line("total", c.fx[a], c.fy[a], c.fz[a]) << "        "
        << force_line("electronic", c.felx[a], c.fely[a], c.felz[a]) << "        "
        << force_line("repulsive", c.frepx[a], c.frepy[a], c.frepz[a]);
  }
  const largest_force largest = find_largest_force(c);
  char text[96];
  std::snprintf(text, sizeof text, "%.10f eV/Å on atom %d (%c)", largest.magnitude, largest.atom + 1,
                data_of(c.at_type[largest.atom]).symbol);
  line(out, "Largest force", text);
  if (s.periodic) stress_lines(out, s, p);

  out << "\nMulliken charges (e)\n";
  for (int a = 0; a < c.at_count; ++a) {
    std::snprintf(text, sizeof text, "%4d %-2c %16.10f\n", a + 1, data_of(c.at_type[a]).symbol, shown(p.charges[a]));
    out << text;
  }
  if (s.periodic) {
    line(out, "Dipole moment", "not defined for a periodic cell");
    return;
  }
  std::array<double, 3> mu = dipole_moment(c, p.charges);
  for (double& m : mu) m *= debye_per_e_angstrom;
  char dipole[160];
  std::snprintf(dipole, sizeof dipole, "%.10f D  (x %.10f, y %.10f, z %.10f)", std::hypot(mu[0], mu[1], mu[2]),
                shown(mu[0]), shown(mu[1]), shown(mu[2]));
  line(out, "Dipole moment", dipole);
}

// The stress in GPa over the whole cell, and for a sheet or a chain the 2D stress or tension.
void stress_lines(std::ostream& out, const periodic_setup& s, const periodic_evaluation& p) {
  const periodic_cell& cell = s.settings.cell;
  const voigt sigma = stress_of(p, cell);
  out << "\nStress" << std::string(20, ' ');
  for (const char* axis : {"xx", "yy", "zz", "yz", "xz", "xy"}) out << std::string(12, ' ') << axis;
  out << '\n';
  out << voigt_line("  GPa (whole cell)", sigma, gpa_per_ev_per_cubic_angstrom);
  const voigt reduced = reduced_stress(sigma, cell);
  if (cell.periodic_axes() == 2) out << voigt_line("  N/m (2D stress)", reduced, newton_per_metre_per_ev_per_square_angstrom);
  if (cell.periodic_axes() == 1) out << voigt_line("  nN (chain tension)", reduced, nanonewton_per_ev_per_angstrom);
  if (cell.periodic_axes() == 3) {
    char text[64];
    const double p = -(sigma[0] + sigma[1] + sigma[2]) / 3 * gpa_per_ev_per_cubic_angstrom;
    std::snprintf(text, sizeof text, "%.6f GPa", std::abs(p) < 5e-7 ? 0.0 : p);
    line(out, "  Pressure -tr(sigma)/3", text);
  }
}

void json_stress(json_writer& json, const periodic_setup& s, const periodic_evaluation& p) {
  if (!s.periodic) {
    json.key("stress").null();
    return;
  }
  const periodic_cell& cell = s.settings.cell;
  const voigt sigma = stress_of(p, cell);
  json.key("stress").numbers({sigma.begin(), sigma.end()});
  const voigt reduced = reduced_stress(sigma, cell);
  if (cell.periodic_axes() == 2) json.key("stress_2d").numbers({reduced.begin(), reduced.end()});
  if (cell.periodic_axes() == 1) json.key("stress_1d").numbers({reduced.begin(), reduced.end()});
}

void periodic_energy_members(json_writer& json, const common_var& c, const periodic_setup& s,
                             const periodic_evaluation& p) {
  json.key("cell");
  if (s.periodic) {
    json.begin_object();
    json.key("lattice").begin_array();
    for (const auto& v : s.settings.cell.a) json.numbers({v[0], v[1], v[2]});
    json.end_array();
    json.key("pbc").begin_array(true);
    for (bool b : s.settings.cell.pbc) json.value(b);
    json.end_array();
    json.end_object();
  } else {
    json.null();
  }
  json.key("kpoints").begin_object();
  json.key("count").value(s.settings.kpoints.size());
  json.key("grid").begin_array(true);
  for (int n : s.grid) json.value(n);
  json.end_array();
  json.key("shift").numbers({s.shift[0], s.shift[1], s.shift[2]});
  json.end_object();
  json.key("electronic_temperature").value(s.settings.electronic_temperature);
  json.key("energy").value(p.energy);
  json.key("free_energy").value(p.free_energy);
  json.key("energy_zero").value(p.energy_zero);
  json.key("binding_energy").value(binding_energy_per_atom(p.energy, c.at_count));
  json.key("electronic_entropy").value(p.entropy);
  json.key("fermi_level").value(p.fermi_level);
  if (p.band_gap)
    json.key("band_gap").value(*p.band_gap);
  else
    json.key("band_gap").null();
  json.key("warnings").begin_array();
  if (p.degenerate_edge) json.value(degenerate_edge_warning);
  json.end_array();
}

void periodic_json_report(json_writer& json, const std::string& path, const common_var& c, const periodic_setup& s,
                          const periodic_evaluation& p) {
  json_structure(json, path, c);
  periodic_energy_members(json, c, s, p);
  json.key("repulsive_energy").value(p.repulsive_energy);
  json.key("electrons").value(c.el_count);
  if (p.molecular_filling) {
    json.key("orbital_energies").numbers(p.eps[0]);
    json.key("homo").value(p.homo);
    if (p.lumo)
      json.key("lumo").value(*p.lumo);
    else
      json.key("lumo").null();
  }
  json.key("forces").begin_object();
  json_forces(json, "total", c.fx, c.fy, c.fz);
  json_forces(json, "electronic", c.felx, c.fely, c.felz);
  json_forces(json, "repulsive", c.frepx, c.frepy, c.frepz);
  json.end_object();
  const largest_force largest = find_largest_force(c);
  json.key("largest_force").begin_object();
  json.key("atom").value(largest.atom + 1);
  json.key("magnitude").value(largest.magnitude);
  json.end_object();
  json.key("charges").numbers(p.charges);
  json_stress(json, s, p);
  if (s.periodic) {
    json.key("dipole").null();
    json.key("dipole_magnitude").null();
  } else {
    std::array<double, 3> mu = dipole_moment(c, p.charges);
    for (double& m : mu) m *= debye_per_e_angstrom;
    json.key("dipole").numbers({mu[0], mu[1], mu[2]});
    json.key("dipole_magnitude").value(std::hypot(mu[0], mu[1], mu[2]));
  }
}

}  // namespace tbrelax::tbcalc
