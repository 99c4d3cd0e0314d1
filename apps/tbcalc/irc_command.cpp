// tbcalc irc: the reaction coordinate from a saddle point down to the minimum on each side,
// and whether those minima are the structures the user expects.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <ostream>

#include "batch.hpp"
#include "commands.hpp"
#include "common.hpp"
#include "driver/evaluation.hpp"
#include "driver/vibration_study.hpp"
#include "io/wri_crd.hpp"
#include "io/xyz_trajectory.hpp"
#include "optimize/alignment.hpp"
#include "optimize/constraints.hpp"
#include "optimize/reaction_coordinate.hpp"

namespace tbrelax::tbcalc {
namespace {

// Two structures are the same minimum when their atoms lie this close after alignment (angstrom).
constexpr double same_structure = 0.05;
// A mode more imaginary than this (cm^-1) is the transition mode; as for tbcalc ts.
constexpr double imaginary_threshold = 50;

std::string default_output(const std::string& input) {
  const std::filesystem::path p(input);
  return (p.parent_path() / (p.stem().string() + ".irc.xyz")).string();
}

struct given_end {
  std::string path;
  std::vector<double> x;
};

struct followed {
  std::string output;
  common_var saddle_molecule;
  search_point saddle;
  double wavenumber = 0;
  irc_result irc;
  std::int64_t evaluations = 0;
  std::vector<given_end> given;          // --start, --end as read
  std::vector<double> rmsd_backward, rmsd_forward;  // of each side's end against each given one
};

std::vector<double> positions_of(const common_var& c) {
  std::vector<double> x;
  for (int a = 0; a < c.at_count; ++a) x.insert(x.end(), {c.x[a], c.y[a], c.z[a]});
  return x;
}

followed follow_file(calculation& calc, const std::string& path, const options& o, std::ostream& err) {
  calc.read(path, o.tbrelax_symbols, /*hessian=*/true);
  common_var& c = calc.c;
  followed r;
  r.saddle_molecule = c;
  r.output = o.output.empty() ? default_output(path) : o.output;
  for (const std::string& end : {o.irc_start, o.irc_end}) {
    if (end.empty()) continue;
    calculation other(err);
    other.read(end, o.tbrelax_symbols);
    if (other.c.at_type != c.at_type)
      throw input_rejected("the atoms of " + end + " are not those of the saddle point in the same order", in_file(end));
    r.given.push_back({end, positions_of(other.c)});
  }
  const vibration_study modes = study_vibrations(c, calc.model, thermo_conditions{});
  r.evaluations = 6 * static_cast<std::int64_t>(c.at_count) + 1;
  const auto& v = modes.modes;
  int imaginary = 0;
  for (double nu : v.frequencies) imaginary += nu < -imaginary_threshold;
  if (imaginary != 1)
    throw input_rejected("the structure has " + std::to_string(imaginary) +
                             " imaginary modes, not one: it is no transition state (converge it with tbcalc ts first)",
                         in_file(path));
  r.wavenumber = v.frequencies.front();
  molecule_objective f(c, calc.model, {});
  r.saddle = f.evaluate(positions_of(r.saddle_molecule));
  r.irc = follow_irc(f, r.saddle, v.modes.front(), o.irc);
  r.evaluations += f.evaluations();
  for (const given_end& g : r.given) {
    r.rmsd_backward.push_back(aligned_rmsd(r.irc.backward.path.back().x, g.x));
    r.rmsd_forward.push_back(aligned_rmsd(r.irc.forward.path.back().x, g.x));
  }
  if (o.writes_files) {
    // One minimum, up to the saddle point, down to the other, with signed path lengths.
    xyz_trajectory trajectory(r.output);
    auto frame = [&](const search_point& p, double length, const char* part) {
      f.publish(p);
      xyz_info info{{"energy", full_precision(p.energy)},
                    {"binding_energy", full_precision(binding_energy_per_atom(p.energy, c.at_count))},
                    {"path_length", full_precision(length)}, {"part", part}};
      trajectory.append(xyz_frame(c, info));
    };
    const irc_side& b = r.irc.backward;
    for (std::size_t k = b.path.size(); k-- > 0;) frame(b.path[k], -b.length[k], k + 1 == b.path.size() ? "minimum" : "path");
    frame(r.saddle, 0, "saddle");
    const irc_side& fw = r.irc.forward;
    for (std::size_t k = 0; k < fw.path.size(); ++k) frame(fw.path[k], fw.length[k], k + 1 == fw.path.size() ? "minimum" : "path");
  }
  return r;
}

// Which given end each side's minimum matches, in words: "START (0.0012 Å)" or "neither".
std::string match_text(const followed& r, const std::vector<double>& rmsd) {
  std::string text;
  char number[64];
  for (std::size_t i = 0; i < rmsd.size(); ++i) {
    std::snprintf(number, sizeof number, " %.4f Å", rmsd[i]);
    text += (text.empty() ? "" : ", ") + r.given[i].path + number + (rmsd[i] < same_structure ? " (match)" : "");
  }
  return text;
}

void human_report(std::ostream& out, const std::string& path, const followed& r) {
  char line[200];
  out << header_line(path, r.saddle_molecule) << '\n';
  std::snprintf(line, sizeof line, "reaction coordinate from the saddle point (imaginary mode %.1f cm^-1) in %lld evaluations, written to ",
                r.wavenumber, static_cast<long long>(r.evaluations));
  out << line << r.output << '\n'
      << "  saddle point E          " << energy_text(r.saddle.energy) << " eV\n";
  const std::pair<const char*, const irc_side*> sides[] = {{"backward", &r.irc.backward}, {"forward", &r.irc.forward}};
  for (const auto& [name, side] : sides) {
    const search_point& end = side->path.back();
    std::snprintf(line, sizeof line, "  %-8s minimum E       %s eV, %.6f eV below the saddle point, path length %.4f amu^1/2 Å%s\n", name,
                  energy_text(end.energy).c_str(), r.saddle.energy - end.energy, side->length.back(),
                  side->relaxed ? "" : " (relaxation not converged)");
    out << line;
    if (!r.given.empty())
      out << "           RMSD after alignment to " << match_text(r, side == &r.irc.backward ? r.rmsd_backward : r.rmsd_forward) << '\n';
  }
  out << std::flush;
}

void json_side(json_writer& json, const irc_side& side, const std::vector<double>& rmsd, const followed& r) {
  json.begin_object();
  const search_point& end = side.path.back();
  json.key("energy").value(end.energy);
  json.key("relaxed").value(side.relaxed);
  json.key("path_length").value(side.length.back());
  json.key("positions").begin_array();
  for (std::size_t k = 0; k + 2 < end.x.size(); k += 3) json.numbers({end.x[k], end.x[k + 1], end.x[k + 2]});
  json.end_array();
  json.key("matches").begin_array();
  for (std::size_t i = 0; i < rmsd.size(); ++i) {
    json.begin_object();
    json.key("file").value(r.given[i].path);
    json.key("rmsd").value(rmsd[i]);
    json.key("same").value(rmsd[i] < same_structure);
    json.end_object();
  }
  json.end_array();
  json.key("profile").begin_array();
  for (std::size_t k = 0; k < side.path.size(); ++k) json.numbers({side.length[k], side.path[k].energy});
  json.end_array();
  json.end_object();
}

void json_result(json_writer& json, const std::string& path, const followed& r) {
  json_structure(json, path, r.saddle_molecule);
  json.key("output").value(r.output);
  json.key("evaluations").value(r.evaluations);
  json.key("saddle_energy").value(r.saddle.energy);
  json.key("imaginary_wavenumber").value(r.wavenumber);
  json.key("backward");
  json_side(json, r.irc.backward, r.rmsd_backward, r);
  json.key("forward");
  json_side(json, r.irc.forward, r.rmsd_forward, r);
}

}  // namespace

int run_irc(const options& o, work_sharing& group, std::ostream& out, std::ostream& err) {
  const file_work one_file = [&](const std::string& path, std::ostream& progress, std::ostream& text, json_writer& json) {
    calculation calc(progress);
    const followed r = follow_file(calc, path, o, progress);
    if (o.json)
      json_result(json, path, r);
    else
      human_report(text, path, r);
  };
  return run_batch(o, group, out, err, one_file, {"", /*own_document=*/true});
}

}  // namespace tbrelax::tbcalc
