// tbcalc elastic: the elastic constants of each periodic FILE from stress and strain.
#include <cmath>
#include <cstdio>
#include <ostream>

#include "batch.hpp"
#include "commands.hpp"
#include "common.hpp"
#include "driver/elastic_constants.hpp"
#include "periodic_report.hpp"

namespace tbrelax::tbcalc {
namespace {

const char* const component_names[6] = {"xx", "yy", "zz", "yz", "xz", "xy"};
const char* const axis_names[3] = {"x", "y", "z"};

// The report's unit: GPa of a crystal, N/m of a sheet (sigma times the cell's thickness), nN
// of a chain (sigma times its cross-section); the factor from eV/A^3 of the whole cell.
struct unit_choice {
  const char* name;
  double factor;
};

unit_choice unit_of(const periodic_cell& cell) {
  const double thickness = cell_volume(cell) / periodic_measure(cell);
  switch (cell.periodic_axes()) {
    case 2: return {"N/m", thickness * newton_per_metre_per_ev_per_square_angstrom};
    case 1: return {"nN", thickness * nanonewton_per_ev_per_angstrom};
    default: return {"GPa", gpa_per_ev_per_cubic_angstrom};
  }
}

int first_free_axis(const elastic_result& r) {
  for (int v = 0; v < 3; ++v)
    if (r.free[v]) return v;
  return 0;
}

void human_report(std::ostream& out, const std::string& path, const common_var& c, const periodic_setup& s,
                  const elastic_result& r, const options& o) {
  const periodic_cell& cell = s.settings.cell;
  const unit_choice unit = unit_of(cell);
  const elastic_moduli m = derived_moduli(r.C, r.free, cell.periodic_axes());
  char text[200];
  out << header_line(path, c) << '\n';
  const auto line = [&out](const std::string& label, const std::string& value) {
    out << label << std::string(label.size() < 26 ? 26 - label.size() : 1, ' ') << value << '\n';
  };
  line("Cell", cell_text(s));
  line("k-points", grid_text(s) + " (" + std::to_string(s.settings.kpoints.size()) + ")");
  std::snprintf(text, sizeof text, "%g K", s.settings.electronic_temperature);
  line("Electronic temperature", text);
  std::snprintf(text, sizeof text, "+-%g, central differences, atoms relaxed to %g eV/Å (%lld evaluations)",
                o.elastic_strain, o.elastic_fmax, (long long)r.evaluations);
  line("Strain", text);
  if (!r.converged) out << "Warning: an ionic relaxation stopped above --fmax: the constants are less certain\n";
  out << "\nElastic constants (" << unit.name << ")";
  for (int j = 0; j < 6; ++j)
    if (r.free[j]) out << std::string(12, ' ') << component_names[j];
  out << '\n';
  for (int i = 0; i < 6; ++i) {
    if (!r.free[i]) continue;
    out << "  " << component_names[i] << std::string(std::string("Elastic constants (").size() + std::string(unit.name).size() - 3, ' ');
    for (int j = 0; j < 6; ++j)
      if (r.free[j]) {
        const double v = r.C[i][j] * unit.factor;
        std::snprintf(text, sizeof text, "%14.4f", std::abs(v) < 5e-5 ? 0.0 : v);  // never -0.0000
        out << text;
      }
    out << '\n';
  }
  out << '\n';
  const auto value = [&](double v, const char* u) {
    std::snprintf(text, sizeof text, *u ? "%.4f %s" : "%.4f%s", v, u);
    return std::string(text);
  };
  switch (cell.periodic_axes()) {
    case 3:
      line("Bulk modulus (Voigt)", value(m.bulk * unit.factor, unit.name));
      line("Shear modulus (Voigt)", value(m.shear * unit.factor, unit.name));
      line("Young's modulus", value(m.young * unit.factor, unit.name));
      line("Poisson's ratio", value(m.poisson, ""));
      break;
    case 2:
      line(std::string("Young's modulus along ") + axis_names[first_free_axis(r)], value(m.young * unit.factor, unit.name));
      line("Poisson's ratio", value(m.poisson, ""));
      line("Shear modulus", value(m.shear * unit.factor, unit.name));
      line("Area modulus", value(m.bulk * unit.factor, unit.name));
      break;
    default:
      line("Axial stiffness", value(m.young * unit.factor, unit.name));
  }
}

void json_report(json_writer& json, const std::string& path, const common_var& c, const periodic_setup& s,
                 const elastic_result& r, const options& o) {
  const periodic_cell& cell = s.settings.cell;
  const unit_choice unit = unit_of(cell);
  const elastic_moduli m = derived_moduli(r.C, r.free, cell.periodic_axes());
  json_structure(json, path, c);
  json.key("strain").value(o.elastic_strain);
  json.key("evaluations").value(r.evaluations);
  json.key("converged").value(r.converged);
  json.key("unit").value(unit.name);
  json.key("elastic_constants").begin_array();
  for (int i = 0; i < 6; ++i) {
    std::vector<double> row;
    for (int j = 0; j < 6; ++j) row.push_back(r.C[i][j] * unit.factor);
    json.numbers(row);
  }
  json.end_array();
  const int axes = cell.periodic_axes();
  const auto member = [&](const char* name, bool defined, double v) {
    if (defined)
      json.key(name).value(v);
    else
      json.key(name).null();
  };
  member("bulk_modulus", axes >= 2, m.bulk * unit.factor);
  member("shear_modulus", axes >= 2, m.shear * unit.factor);
  member("youngs_modulus", true, m.young * unit.factor);
  member("poisson_ratio", axes >= 2, m.poisson);
}

}  // namespace

int run_elastic(const options& o, work_sharing& group, std::ostream& out, std::ostream& err) {
  const file_work one_file = [&](const std::string& path, std::ostream& warnings, std::ostream& text, json_writer& json) {
    calculation calc(warnings);
    calc.read(path, o.tbrelax_symbols);
    const std::optional<periodic_setup> setup = periodic_setup_for(calc.comment, o.periodic, calc.c, calc.par);
    if (!setup || !setup->periodic)
      throw usage_fault("elastic needs a periodic structure (a Lattice with pbc=\"T ...\" on its comment line)");
    const periodic_model model{calc.par, *calc.solver, setup->settings, signals::check_interruption};
    const elastic_result r = elastic_constants(calc.c, model, o.elastic_strain, o.elastic_fmax);
    if (o.json)
      json_report(json, path, calc.c, *setup, r, o);
    else
      human_report(text, path, calc.c, *setup, r, o);
  };
  return run_batch(o, group, out, err, one_file, {"\n", /*own_document=*/true});
}

}  // namespace tbrelax::tbcalc
