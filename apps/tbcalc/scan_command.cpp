// tbcalc scan: a relaxed scan of distances, bond angles or dihedral angles held exactly.
#include <cstdio>
#include <filesystem>
#include <optional>
#include <ostream>

#include "batch.hpp"
#include "commands.hpp"
#include "common.hpp"
#include "driver/evaluation.hpp"
#include "io/wri_crd.hpp"
#include "io/xyz_trajectory.hpp"
#include "optimize/constraints.hpp"
#include "scan_options.hpp"

namespace tbrelax::tbcalc {
namespace {

// An angle closer than this to a line (its sine) in the input is refused: the scan would
// start from a coordinate without a direction.
constexpr double least_sine = 1e-3;

std::string default_output(const std::string& input) {
  const std::filesystem::path p(input);
  return (p.parent_path() / (p.stem().string() + ".scan.xyz")).string();
}

// "d_1_2" for d(1,2): the key of a coordinate on an extended-XYZ comment line.
std::string info_key(const internal_coordinate& q) {
  std::string key = q.label();
  for (char& ch : key)
    if (ch == '(' || ch == ',') ch = '_';
  key.pop_back();
  return key;
}

// The dE/dq of a coordinate in eV/Å or eV/rad, and the unit.
const char* force_unit(coordinate_kind kind) { return kind == coordinate_kind::distance ? "eV/Å" : "eV/rad"; }

struct scanned {
  std::string output;
  common_var input;  // the molecule as read
  std::vector<scan_point> points;
  std::int64_t evaluations = 0;
};

scanned scan_file(calculation& calc, const std::string& path, const options& o, std::ostream& err) {
  calc.read(path, o.tbrelax_symbols);
  common_var& c = calc.c;
  if (const std::string fault = scan_atom_fault(o.scan, c.at_count); !fault.empty()) throw usage_fault(fault);
  scanned r;
  r.input = c;
  r.output = o.output.empty() ? default_output(path) : o.output;
  molecule_objective f(c, calc.model, {});
  const std::vector<double> start = f.positions();
  for (const scanned_coordinate& s : o.scan.coordinates)
    if (!(s.q.definiteness(start) > least_sine))
      throw input_rejected("the atoms of " + s.q.label() + " lie in a line in this geometry, which leaves the " +
                               (s.q.kind == coordinate_kind::angle ? "angle" : "dihedral") + " without a direction",
                           in_file(path));
  std::optional<xyz_trajectory> trajectory;
  if (o.writes_files) trajectory.emplace(r.output);
  const std::size_t points = static_cast<std::size_t>(o.scan.steps) + 1;
  auto point_done = [&](const scan_point& p, int k) {
    f.publish(p.relaxed);
    char line[256];
    err << path << ": point " << k + 1 << " of " << points << ":";
    for (std::size_t i = 0; i < p.values.size(); ++i) {
      const coordinate_kind kind = o.scan.coordinates[i].q.kind;
      std::snprintf(line, sizeof line, " %s = %.6f %s,", o.scan.coordinates[i].q.label().c_str(),
                    in_user_unit(kind, p.values[i]), user_unit(kind));
      err << line;
    }
    std::snprintf(line, sizeof line, " E = %.10f eV, largest force = %.3e eV/Å, %d step%s%s\n", p.relaxed.energy,
                  largest_atom_norm(p.relaxed.force), p.steps, p.steps == 1 ? "" : "s", p.converged ? "" : ", not converged");
    err << line << std::flush;
    if (!trajectory) return;
    xyz_info info{{"energy", full_precision(p.relaxed.energy)},
                  {"binding_energy", full_precision(binding_energy_per_atom(p.relaxed.energy, c.at_count))},
                  {"point", std::to_string(k)}};
    for (std::size_t i = 0; i < p.values.size(); ++i) {
      const internal_coordinate& q = o.scan.coordinates[i].q;
      info.emplace_back(info_key(q), full_precision(in_user_unit(q.kind, p.values[i])));
      info.emplace_back(info_key(q) + "_force", full_precision(p.constraint_forces[i]));
    }
    info.emplace_back("converged", p.converged ? "T" : "F");
    if (const std::string title = quoted_title(c); !title.empty()) info.emplace_back("title", title);
    trajectory->append(xyz_frame(c, info));
  };
  r.points = relaxed_scan(f, start, o.scan, point_done);
  r.evaluations = f.evaluations();
  return r;
}

void human_report(std::ostream& out, const std::string& path, const scanned& r, const options& o) {
  const auto& coords = o.scan.coordinates;
  bool all_converged = true;
  for (const scan_point& p : r.points) all_converged = all_converged && p.converged;
  out << header_line(path, r.input) << '\n'
      << "relaxed scan in " << r.points.size() << " points (" << r.evaluations << " evaluations), "
      << (all_converged ? "every point converged" : "NOT every point converged") << ", written to " << r.output << '\n';
  char cell[128];
  out << " point";
  for (const scanned_coordinate& s : coords) {
    std::snprintf(cell, sizeof cell, " %13s", (s.q.label() + "/" + user_unit(s.q.kind)).c_str());
    out << cell;
  }
  out << "         energy/eV  largest force/(eV/Å)";
  for (const scanned_coordinate& s : coords) {
    std::snprintf(cell, sizeof cell, "  dE/d[%s]/(%s)", s.q.label().c_str(), force_unit(s.q.kind));
    out << cell;
  }
  out << '\n';
  for (std::size_t k = 0; k < r.points.size(); ++k) {
    const scan_point& p = r.points[k];
    std::snprintf(cell, sizeof cell, "%6zu", k);
    out << cell;
    for (std::size_t i = 0; i < coords.size(); ++i) {
      std::snprintf(cell, sizeof cell, " %13.6f", in_user_unit(coords[i].q.kind, p.values[i]));
      out << cell;
    }
    std::snprintf(cell, sizeof cell, "  %16.10f  %20.3e", p.relaxed.energy, largest_atom_norm(p.relaxed.force));
    out << cell;
    for (std::size_t i = 0; i < coords.size(); ++i) {
      std::snprintf(cell, sizeof cell, "  %*.6f", static_cast<int>(coords[i].q.label().size()) + 14, p.constraint_forces[i]);
      out << cell;
    }
    out << (p.converged ? "" : "  not converged") << '\n';
  }
  out << std::flush;
}

void json_result(json_writer& json, const std::string& path, const scanned& r, const options& o) {
  json_structure(json, path, r.input);
  json.key("output").value(r.output);
  json.key("coordinates").begin_array();
  for (const scanned_coordinate& s : o.scan.coordinates) {
    json.begin_object();
    json.key("label").value(s.q.label());
    json.key("kind").value(s.q.kind == coordinate_kind::distance ? "distance"
                           : s.q.kind == coordinate_kind::angle  ? "angle"
                                                                 : "dihedral");
    json.key("atoms").begin_array(true);
    for (int k = 0; k < s.q.atom_count(); ++k) json.value(s.q.atoms[k] + 1);
    json.end_array();
    json.key("unit").value(s.q.kind == coordinate_kind::distance ? "angstrom" : "degree");
    json.key("force_unit").value(s.q.kind == coordinate_kind::distance ? "eV/angstrom" : "eV/radian");
    json.end_object();
  }
  json.end_array();
  json.key("evaluations").value(r.evaluations);
  bool all_converged = true;
  for (const scan_point& p : r.points) all_converged = all_converged && p.converged;
  json.key("converged").value(all_converged);
  json.key("points").begin_array();
  for (const scan_point& p : r.points) {
    json.begin_object();
    std::vector<double> values;
    for (std::size_t i = 0; i < p.values.size(); ++i) values.push_back(in_user_unit(o.scan.coordinates[i].q.kind, p.values[i]));
    json.key("values").numbers(values);
    json.key("energy").value(p.relaxed.energy);
    json.key("binding_energy").value(binding_energy_per_atom(p.relaxed.energy, r.input.at_count));
    json.key("largest_force").value(largest_atom_norm(p.relaxed.force));
    json.key("constraint_forces").numbers(p.constraint_forces);
    json.key("steps").value(p.steps);
    json.key("evaluations").value(p.evaluations);
    json.key("converged").value(p.converged);
    json.end_object();
  }
  json.end_array();
}

}  // namespace

int run_scan(const options& o, work_sharing& group, std::ostream& out, std::ostream& err) {
  const file_work one_file = [&](const std::string& path, std::ostream& progress, std::ostream& text, json_writer& json) {
    calculation calc(progress);
    const scanned r = scan_file(calc, path, o, progress);
    if (o.json)
      json_result(json, path, r, o);
    else
      human_report(text, path, r, o);
  };
  return run_batch(o, group, out, err, one_file, {"", /*own_document=*/true});
}

}  // namespace tbrelax::tbcalc
