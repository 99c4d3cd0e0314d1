#include <cmath>
#include <cstring>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <ostream>

#include "cell_relax.hpp"
#include "driver/cell_relaxation.hpp"
#include "driver/evaluation.hpp"
#include "tb/kpoint_grid.hpp"
#include "io/text_file.hpp"
#include "io/xyz_trajectory.hpp"
#include "periodic_report.hpp"
#include "state/element.hpp"

namespace tbrelax::tbcalc {
namespace {

using vec3 = std::array<double, 3>;

const char* const component_names[6] = {"xx", "yy", "zz", "yz", "xz", "xy"};

// The full tensor, row by row, as ASE's extended XYZ carries a stress.
std::string stress_value(const voigt& s) {
  const double full[9] = {s[0], s[5], s[4], s[5], s[1], s[3], s[4], s[3], s[2]};
  std::string text = "\"";
  for (int k = 0; k < 9; ++k) text += (k ? " " : "") + full_precision(full[k]);
  return text + "\"";
}

double largest_free(const voigt& s, const std::array<bool, 6>& free, double pressure) {
  double largest = 0;
  for (int v = 0; v < 6; ++v)
    if (free[v]) largest = std::max(largest, std::abs(s[v] + (v < 3 ? pressure : 0)));
  return largest;
}

// Progress lines and trajectory frames with the cell and its stress.
class cell_progress final : public cell_step_listener {
 public:
  cell_progress(const std::string& path, std::ostream& err, xyz_trajectory* trajectory,
                const cell_relaxation_settings& s)
      : path_(path), err_(err), trajectory_(trajectory), s_(s) {}
  void point(int step, const common_var& c, const periodic_cell& cell, double F, double H,
             const voigt& stress) override {
    if (step > 0) {
      char line[256];
      std::snprintf(line, sizeof line, ": step %d: F = %.10f eV, largest force = %.3e eV/Å, largest stress = %.3e GPa\n",
                    step, F, find_largest_force(c).magnitude,
                    largest_free(stress, s_.free, s_.pressure) * gpa_per_ev_per_cubic_angstrom);
      err_ << path_ << line << std::flush;
    }
    if (!trajectory_ || step == last_frame_) return;
    xyz_info info{{"free_energy", full_precision(F)}, {"enthalpy", full_precision(H)},
                  {"stress", stress_value(stress)}, {"step", std::to_string(step)}};
    if (const std::string title = quoted_title(c); !title.empty()) info.emplace_back("title", title);
    trajectory_->append(xyz_frame(c, info, cell));
    last_frame_ = step;
  }

 private:
  const std::string& path_;
  std::ostream& err_;
  xyz_trajectory* trajectory_;
  const cell_relaxation_settings& s_;
  int last_frame_ = -1;
};

std::string default_output(const std::string& input) {
  const std::filesystem::path p(input);
  return (p.parent_path() / (p.stem().string() + ".relaxed.xyz")).string();
}

// The free components: those the periodic axes span, narrowed by --cell-mask.
std::array<bool, 6> free_components(const periodic_cell& cell, const cell_request& r, const periodic_setup& setup) {
  const std::array<bool, 6> spanned = periodic_components(cell);
  if (!r.mask) return spanned;
  std::array<bool, 6> free{};
  for (int v : *r.mask) {
    if (!spanned[v])
      throw usage_fault("--cell-mask: " + std::string(component_names[v]) +
                        " involves a direction that does not repeat (" + cell_text(setup) + ")");
    free[v] = true;
  }
  return free;
}

const char* measure_name(const periodic_cell& cell) {
  static const char* names[] = {"", "length", "area", "volume"};
  return names[cell.periodic_axes()];
}

const char* measure_unit(const periodic_cell& cell) {
  static const char* units[] = {"", "Å", "Å^2", "Å^3"};
  return units[cell.periodic_axes()];
}

// A stress-strain curve: the cell stretched along one axis point by point from the input,
// each point relaxed with the stretched row of the deformation held.
void strain_ramp(calculation& calc, const std::string& path, const options& o, std::ostream& progress,
                 std::ostream& text, json_writer& json, periodic_setup setup, cell_relaxation_settings s,
                 const std::string& output) {
  common_var& c = calc.c;
  const cell_request::ramp& ramp = *o.cell.strain;
  const int axis = ramp.component;
  if (!s.free[axis])
    throw usage_fault("--strain: " + std::string(component_names[axis]) + " involves a direction that does not repeat (" +
                      cell_text(setup) + ")");
  // The stretched direction stays a unit vector of the relaxation's deformation: its normal
  // and shear components are held, the others relax.
  for (int v = 0; v < 6; ++v)
    if (v == axis || (v >= 3 && (v == 3 ? axis != 0 : v == 4 ? axis != 1 : axis != 2))) s.free[v] = false;
  std::optional<xyz_trajectory> trajectory;
  if (!o.trajectory.empty() && o.writes_files) trajectory.emplace(o.trajectory);
  struct point {
    double strain;
    cell_relaxation_result run;
  };
  std::vector<point> points;
  double stretched = 1;  // the input's length along the axis times this
  bool collapsed = false;
  for (int k = 0; k < ramp.count && !collapsed; ++k) {
    const double strain = ramp.from + (ramp.to - ramp.from) * k / (ramp.count - 1);
    const double factor = (1 + strain) / stretched;
    stretched = 1 + strain;
    std::vector<double>& q = axis == 0 ? c.x : axis == 1 ? c.y : c.z;
    for (double& r : q) r *= factor;
    for (int i = 0; i < 3; ++i)
      if (setup.settings.cell.pbc[i]) setup.settings.cell.a[i][axis] *= factor;
    setup.settings.kpoints = kpoint_grid(setup.settings.cell, setup.grid, setup.shift);
    const periodic_model model{calc.par, *calc.solver, setup.settings, signals::check_interruption};
    cell_relaxation_result r = relax_with_cell(c, model, s);
    setup.settings.cell = r.cell;
    collapsed = r.collapsed;
    char line[200];
    std::snprintf(line, sizeof line, ": strain %.6g: F = %.10f eV, stress %s = %.6f GPa (%lld evaluations)\n", strain,
                  r.last.free_energy, component_names[axis], r.stress[axis] * gpa_per_ev_per_cubic_angstrom,
                  (long long)r.evaluations);
    progress << path << line << std::flush;
    if (trajectory) {
      xyz_info info{{"free_energy", full_precision(r.last.free_energy)}, {"stress", stress_value(r.stress)},
                    {"strain", full_precision(strain)}};
      if (const std::string title = quoted_title(c); !title.empty()) info.emplace_back("title", title);
      trajectory->append(xyz_frame(c, info, r.cell));
    }
    points.push_back({strain, std::move(r)});
  }
  const cell_relaxation_result& last = points.back().run;
  xyz_info info{{"energy", full_precision(last.last.energy_zero)}, {"free_energy", full_precision(last.last.free_energy)},
                {"stress", stress_value(last.stress)}, {"strain", full_precision(points.back().strain)}};
  if (const std::string title = quoted_title(c); !title.empty()) info.emplace_back("title", title);
  if (o.writes_files) replace_file(output, xyz_frame(c, info, last.cell));
  if (collapsed)
    throw numerical_error("the cell shrank below a tenth of its starting size at strain " +
                          full_precision(points.back().strain) + "; the last structure before is in " + output);

  const periodic_cell& cell = setup.settings.cell;
  const double thickness = cell_volume(cell) / periodic_measure(cell);
  const int axes = cell.periodic_axes();
  const char* reduced_unit = axes == 2 ? "N/m" : axes == 1 ? "nN" : nullptr;
  const double reduced_factor = axes == 2 ? newton_per_metre_per_ev_per_square_angstrom : nanonewton_per_ev_per_angstrom;
  if (o.json) {
    json_structure(json, path, c);
    json.key("output").value(output);
    json.key("component").value(component_names[axis]);
    json.key("ramp").begin_array();
    for (const point& p : points) {
      json.begin_object();
      json.key("strain").value(p.strain);
      json.key("converged").value(p.run.reason == stop_reason::converged);
      json.key("evaluations").value(p.run.evaluations);
      json.key("free_energy").value(p.run.last.free_energy);
      json.key("stress").numbers({p.run.stress.begin(), p.run.stress.end()});
      json.end_object();
    }
    json.end_array();
    return;
  }
  text << path << ": stress-strain curve along " << component_names[axis] << ", " << points.size()
       << " points, the last written to " << output << '\n';
  text << "  cell                    " << cell_text(setup) << '\n'
       << "  k-points                " << grid_text(setup) << '\n'
       << "  electronic temperature  " << setup.settings.electronic_temperature << " K\n";
  char row[200];
  const std::string stress_head = std::string("stress ") + component_names[axis] + " (GPa)";
  std::string reduced_head;
  if (reduced_unit) {
    char head[32];
    std::snprintf(head, sizeof head, "%*s", int(std::strlen(reduced_unit)) + 12, (std::string("(") + reduced_unit + ")").c_str());
    reduced_head = head;
  }
  std::snprintf(row, sizeof row, "%12s %18s%s %17s %12s\n", "strain", stress_head.c_str(), reduced_head.c_str(), "F (eV)",
                "evaluations");
  text << row;
  for (const point& p : points) {
    const double sigma = p.run.stress[axis];
    std::string reduced;
    if (reduced_unit) {
      char number[32];
      std::snprintf(number, sizeof number, "%*.6f", int(std::strlen(reduced_unit)) + 12, sigma * thickness * reduced_factor);
      reduced = number;
    }
    std::snprintf(row, sizeof row, "%12.6f %18.6f%s %17.10f %12lld%s\n", p.strain, sigma * gpa_per_ev_per_cubic_angstrom,
                  reduced.c_str(), p.run.last.free_energy, (long long)p.run.evaluations,
                  p.run.reason == stop_reason::converged ? "" : "  (not converged)");
    text << row;
  }
}

}  // namespace

void relax_cell_file(calculation& calc, const std::string& path, const options& o, std::ostream& progress,
                     std::ostream& text, json_writer& json) {
  common_var& c = calc.c;
  const std::optional<periodic_setup> found = periodic_setup_for(calc.comment, o.periodic, c, calc.par);
  if (!found || !found->periodic)
    throw usage_fault("--cell needs a periodic structure (a Lattice with pbc=\"T ...\" on its comment line)");
  periodic_setup setup = *found;
  if (const std::string fault = constraint_fault(o.optimiser.limits, c.at_count); !fault.empty()) throw usage_fault(fault);

  cell_relaxation_settings s;
  s.method = o.optimiser.method;
  s.fmax = o.optimiser.stop.fmax;
  s.max_steps = o.optimiser.stop.max_steps;
  if (o.cell.smax) s.smax = *o.cell.smax / gpa_per_ev_per_cubic_angstrom;
  s.pressure = o.cell.pressure.value_or(0) / gpa_per_ev_per_cubic_angstrom;
  s.free = free_components(setup.settings.cell, o.cell, setup);
  s.isotropic = o.cell.isotropic;
  s.fixed = o.optimiser.limits.fixed;

  const std::string output = o.output.empty() ? default_output(path) : o.output;
  if (o.cell.strain) return strain_ramp(calc, path, o, progress, text, json, setup, s, output);
  std::optional<xyz_trajectory> trajectory;
  if (!o.trajectory.empty() && o.writes_files) trajectory.emplace(o.trajectory);
  cell_progress listener(path, progress, trajectory ? &*trajectory : nullptr, s);
  const periodic_model model{calc.par, *calc.solver, setup.settings, signals::check_interruption};
  const cell_relaxation_result r = relax_with_cell(c, model, s, &listener);

  // The settings at the end: the relaxed cell with the k-points the relaxation used there.
  const periodic_cell start = setup.settings.cell;
  setup.settings.cell = r.cell;
  setup.settings.kpoints = kpoint_grid(r.cell, setup.grid, setup.shift);
  xyz_info info{{"energy", full_precision(r.last.energy_zero)},
                {"free_energy", full_precision(r.last.free_energy)},
                {"stress", stress_value(r.stress)}};
  if (const std::string title = quoted_title(c); !title.empty()) info.emplace_back("title", title);
  if (o.writes_files) replace_file(output, xyz_frame(c, info, r.cell));
  if (r.collapsed)
    throw numerical_error("the cell shrank below a tenth of its starting " + std::string(measure_name(start)) +
                          "; the last structure before is in " + output);

  const bool converged = r.reason == stop_reason::converged;
  const largest_force largest = find_largest_force(c);
  const double measure = periodic_measure(r.cell), V = cell_volume(r.cell);
  if (o.json) {
    json_structure(json, path, c);
    json.key("output").value(output);
    if (o.trajectory.empty())
      json.key("trajectory").null();
    else
      json.key("trajectory").value(o.trajectory);
    json.key("method").value(o.method);
    json.key("steps").value(r.steps);
    json.key("evaluations").value(r.evaluations);
    json.key("converged").value(converged);
    periodic_energy_members(json, c, setup, r.last);
    json.key("pressure").value(s.pressure);
    json.key("enthalpy").value(r.enthalpy);
    json.key("volume").value(V);
    if (r.cell.periodic_axes() < 3) json.key(measure_name(r.cell)).value(measure);
    json_stress(json, setup, r.last);
    json.key("largest_force").begin_object();
    json.key("atom").value(largest.atom + 1);
    json.key("magnitude").value(largest.magnitude);
    json.end_object();
    return;
  }
  text << path << ": ";
  if (converged)
    text << "cell relaxed by " << o.method << " in " << r.steps << " step" << (r.steps == 1 ? "" : "s");
  else
    text << o.method << " stopped after " << r.steps << " step" << (r.steps == 1 ? "" : "s")
         << " above fmax or smax";
  text << " (" << r.evaluations << " evaluation" << (r.evaluations == 1 ? "" : "s") << "), written to " << output
       << '\n';
  char buffer[160];
  text << "  cell                    " << cell_text(setup) << '\n';
  for (int i = 0; i < 3; ++i)
    if (r.cell.pbc[i]) {
      vec3 a = r.cell.a[i];
      for (double& q : a) q = std::abs(q) < 5e-11 ? 0.0 : q;  // never -0.0000000000
      std::snprintf(buffer, sizeof buffer, "  a%d                      %.10f %.10f %.10f  (|a%d| = %.10f Å)\n", i + 1,
                    a[0], a[1], a[2], i + 1, std::hypot(a[0], a[1], a[2]));
      text << buffer;
    }
  std::snprintf(buffer, sizeof buffer, "  %-24s%.10f %s\n", measure_name(r.cell), measure, measure_unit(r.cell));
  text << buffer;
  text << "  k-points                " << grid_text(setup) << " (" << setup.settings.kpoints.size() << ")\n"
       << "  electronic temperature  " << setup.settings.electronic_temperature << " K\n"
       << "  pressure                " << o.cell.pressure.value_or(0) << " GPa\n"
       << "  energy E                " << energy_text(r.last.energy) << " eV\n"
       << "  free energy F           " << energy_text(r.last.free_energy) << " eV\n"
       << "  enthalpy F + pV         " << energy_text(r.enthalpy) << " eV\n";
  std::snprintf(buffer, sizeof buffer, "%.3e eV/Å on atom %d (%c)", largest.magnitude, largest.atom + 1,
                data_of(c.at_type[largest.atom]).symbol);
  text << "  largest force            " << buffer << '\n';
  if (r.last.degenerate_edge) text << "  warning: " << degenerate_edge_warning << '\n';
  stress_lines(text, setup, r.last);
  text << std::flush;
}

}  // namespace tbrelax::tbcalc
