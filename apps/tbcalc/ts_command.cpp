// tbcalc ts: a first-order saddle point from a guess, by P-RFO, checked by its vibrations.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <ostream>

#include "batch.hpp"
#include "commands.hpp"
#include "common.hpp"
#include "driver/evaluation.hpp"
#include "driver/vibration_study.hpp"
#include "io/text_file.hpp"
#include "io/wri_crd.hpp"
#include "io/xyz_trajectory.hpp"
#include "optimize/constraints.hpp"
#include "optimize/saddle_search.hpp"
#include "state/element.hpp"

namespace tbrelax::tbcalc {
namespace {

// A mode more imaginary than this (cm^-1) counts; the finite-difference Hessian leaves the
// modes of a true stationary point within a few tens of cm^-1 of their values, and soft ones
// near zero may come out slightly imaginary.
constexpr double imaginary_threshold = 50;

std::string default_output(const std::string& input) {
  const std::filesystem::path p(input);
  return (p.parent_path() / (p.stem().string() + ".ts.xyz")).string();
}

struct saddle_found {
  std::string output;
  common_var input;
  saddle_result search;
  vibration_study check;
  std::int64_t check_evaluations = 0;
  std::vector<double> imaginary;  // wavenumbers below -imaginary_threshold, ascending
  std::vector<double> transition_mode;  // Cartesian, of the most imaginary mode
  largest_force largest;
  bool verified() const { return search.converged && imaginary.size() == 1; }
};

saddle_found search_file(calculation& calc, const std::string& path, const options& o) {
  calc.read(path, o.tbrelax_symbols, /*hessian=*/true);
  common_var& c = calc.c;
  saddle_found r;
  r.input = c;
  r.output = o.output.empty() ? default_output(path) : o.output;
  molecule_objective f(c, calc.model, {});
  r.search = find_saddle(f, f.positions(), o.saddle);
  f.publish(r.search.end);
  r.largest = find_largest_force(c);
  // The check: the vibrations of the end point, as tbcalc freq finds them.
  r.check = study_vibrations(c, calc.model, thermo_conditions{});
  r.check_evaluations = 6 * static_cast<std::int64_t>(c.at_count) + 1;
  const vibrational_analysis& v = r.check.modes;
  for (std::size_t k = 0; k < v.frequencies.size(); ++k)
    if (v.frequencies[k] < -imaginary_threshold) r.imaginary.push_back(v.frequencies[k]);
  if (!r.imaginary.empty()) r.transition_mode = v.modes.front();
  f.publish(r.search.end);
  if (o.writes_files) {
    xyz_info info{{"energy", full_precision(r.search.end.energy)},
                  {"binding_energy", full_precision(binding_energy_per_atom(r.search.end.energy, c.at_count))},
                  {"imaginary_modes", std::to_string(r.imaginary.size())}};
    if (!r.imaginary.empty()) info.emplace_back("imaginary_wavenumber", full_precision(r.imaginary.front()));
    if (const std::string title = quoted_title(c); !title.empty()) info.emplace_back("title", title);
    replace_file(r.output, xyz_frame(c, info));
  }
  return r;
}

// What the imaginary modes make of the end point, in words.
std::string verdict(const saddle_found& r) {
  const std::size_t n = r.imaginary.size();
  std::string text = !r.search.converged ? "not converged; " : "";
  if (n == 1) return text + "a first-order saddle point: exactly one imaginary mode";
  if (n == 0) return text + "no imaginary mode: a minimum (or a shoulder), not a saddle point";
  return text + std::to_string(n) + " imaginary modes: a saddle point of order " + std::to_string(n) + ", not a transition state";
}

void human_report(std::ostream& out, const std::string& path, const common_var& c, const saddle_found& r,
                  const options& o) {
  const saddle_result& s = r.search;
  char line[160];
  out << header_line(path, r.input) << '\n';
  if (s.converged)
    out << "saddle point by P-RFO in " << s.steps << (s.steps == 1 ? " step" : " steps");
  else
    out << "P-RFO stopped after " << s.steps << (s.steps == 1 ? " step" : " steps") << " above fmax " << o.saddle.fmax
        << " eV/Å";
  out << " (" << s.evaluations << " evaluations, " << s.hessian_evaluations << " of them for the first Hessian), written to "
      << r.output << '\n'
      << "  energy E                " << energy_text(s.end.energy) << " eV\n"
      << "  binding energy per atom " << energy_text(binding_energy_per_atom(s.end.energy, c.at_count)) << " eV\n";
  std::snprintf(line, sizeof line, "%.3e eV/Å on atom %d (%c)", r.largest.magnitude, r.largest.atom + 1,
                data_of(c.at_type[r.largest.atom]).symbol);
  out << "  largest force            " << line << '\n';
  out << "  imaginary modes          " << r.imaginary.size();
  for (std::size_t k = 0; k < r.imaginary.size(); ++k) {
    std::snprintf(line, sizeof line, "%s%.1f", k == 0 ? ": " : ", ", r.imaginary[k]);
    out << line;
  }
  out << (r.imaginary.empty() ? "" : " cm^-1") << " (" << r.check_evaluations << " evaluations for the check)\n"
      << "  verdict                  " << verdict(r) << '\n'
      << std::flush;
}

void json_result(json_writer& json, const std::string& path, const common_var& c, const saddle_found& r) {
  const saddle_result& s = r.search;
  json_structure(json, path, r.input);
  json.key("output").value(r.output);
  json.key("method").value("prfo");
  json.key("steps").value(s.steps);
  json.key("evaluations").value(s.evaluations);
  json.key("hessian_evaluations").value(s.hessian_evaluations);
  json.key("converged").value(s.converged);
  json.key("energy").value(s.end.energy);
  json.key("binding_energy").value(binding_energy_per_atom(s.end.energy, c.at_count));
  json.key("largest_force").begin_object();
  json.key("atom").value(r.largest.atom + 1);
  json.key("magnitude").value(r.largest.magnitude);
  json.end_object();
  json.key("check_evaluations").value(r.check_evaluations);
  json.key("imaginary_wavenumbers").numbers(r.imaginary);
  json.key("verified").value(r.verified());
  json.key("verdict").value(verdict(r));
  json.key("saddle_positions").begin_array();
  for (int a = 0; a < c.at_count; ++a) json.numbers({c.x[a], c.y[a], c.z[a]});
  json.end_array();
  if (r.transition_mode.empty()) {
    json.key("transition_mode").null();
  } else {
    json.key("transition_mode").begin_array();
    for (int a = 0; a < c.at_count; ++a)
      json.numbers({r.transition_mode[3 * a], r.transition_mode[3 * a + 1], r.transition_mode[3 * a + 2]});
    json.end_array();
  }
}

}  // namespace

int run_ts(const options& o, work_sharing& group, std::ostream& out, std::ostream& err) {
  const file_work one_file = [&](const std::string& path, std::ostream& progress, std::ostream& text, json_writer& json) {
    calculation calc(progress);
    const saddle_found r = search_file(calc, path, o);
    if (o.json)
      json_result(json, path, calc.c, r);
    else
      human_report(text, path, calc.c, r, o);
  };
  return run_batch(o, group, out, err, one_file, {"", /*own_document=*/true});
}

}  // namespace tbrelax::tbcalc
