// tbcalc freq: harmonic vibrations at the file's geometry.
#include <cstdio>
#include <ostream>

#include "commands.hpp"
#include "common.hpp"
#include "driver/evaluation.hpp"
#include "hessian/hessian.hpp"
#include "hessian/vibrations.hpp"
#include "io/molden.hpp"

namespace tbrelax::tbcalc {
namespace {

void numbered(std::ostream& out, const std::vector<double>& values) {
  if (values.empty()) out << "  none\n";
  for (std::size_t k = 0; k < values.size(); ++k) {
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%6zu %14.4f\n", k + 1, values[k]);
    out << buffer;
  }
}

std::string shape_of(const common_var& c, const vibrational_analysis& v) {
  if (c.at_count == 1) return "a single atom";
  return v.linear ? "linear" : "non-linear";
}

void human_report(std::ostream& out, const std::string& path, const common_var& c, const vibrational_analysis& v,
                  const std::string& molden) {
  out << header_line(path, c) << ", " << shape_of(c, v) << '\n';
  out << "Vibrational modes (cm^-1; imaginary ones negative):\n";
  numbered(out, v.frequencies);
  out << "Translations and rotations (cm^-1):\n";
  numbered(out, v.rigid_frequencies);
  out << "Zero-point energy         " << energy_text(v.zero_point_energy) << " eV\n";
  if (!molden.empty()) out << "Normal modes written to " << molden << '\n';
}

void json_report(std::ostream& out, const std::string& path, const common_var& c, double E,
                 const vibrational_analysis& v) {
  json_writer json;
  json.begin_object();
  json_structure(json, path, c);
  json.key("energy").value(E);
  json.key("linear").value(v.linear);
  json.key("frequencies").numbers(v.frequencies);
  json.key("rigid_modes").numbers(v.rigid_frequencies);
  json.key("zero_point_energy").value(v.zero_point_energy);
  json.key("normal_modes").begin_array();
  for (const auto& mode : v.modes) {
    json.begin_array();
    for (int a = 0; a < c.at_count; ++a) json.numbers({mode[3 * a], mode[3 * a + 1], mode[3 * a + 2]});
    json.end_array();
  }
  json.end_array();
  json.end_object();
  out << json.str() << std::flush;
}

}  // namespace

int run_freq(const options& o, std::ostream& out, std::ostream& err) {
  const std::string& path = o.files.front();
  calculation calc(err);
  return guarded(path, err, [&] {
    calc.read(path);
    common_var& c = calc.c;
    // The evaluation at the geometry itself rejects a non-finite energy before the Hessian's
    // displaced ones, and gives the energy the modes belong to.
    const double E = evaluate_finite(c, calc.model);
    hess_cre(c, calc.model);
    // The displacements put the coordinates back only up to rounding: report the file's own.
    c.x = c.x0;
    c.y = c.y0;
    c.z = c.z0;
    const vibrational_analysis v = analyse_vibrations(c);
    if (!o.molden.empty()) write_molden(o.molden, c, v);
    if (o.json)
      json_report(out, path, c, E, v);
    else
      human_report(out, path, c, v, o.molden);
  });
}

}  // namespace tbrelax::tbcalc
