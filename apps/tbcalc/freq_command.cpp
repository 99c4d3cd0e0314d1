// tbcalc freq: harmonic vibrations, infrared intensities and thermochemistry at the file's
// geometry.
#include <cstdio>
#include <ostream>

#include "batch.hpp"
#include "commands.hpp"
#include "common.hpp"
#include "driver/evaluation.hpp"
#include "driver/vibration_study.hpp"
#include "io/molden.hpp"
#include "io/text_file.hpp"
#include "io/wri_crd.hpp"
#include "io/xyz_trajectory.hpp"
#include "optimize/objective.hpp"
#include "phonon_report.hpp"

namespace tbrelax::tbcalc {
namespace {

// Whether the geometry is a minimum: the modes more imaginary than the threshold, and where
// asked for, the geometry displaced along the lowest of them.
struct saddle_report {
  double threshold = 0;  // cm^-1
  int modes = 0;         // below -threshold
  std::string output;    // the displaced geometry's file, "" when none was written
  double E = 0;          // its energy
};

saddle_report check_minimum(calculation& calc, const vibrational_analysis& v, const options& o) {
  saddle_report s{o.optimiser.check.threshold, 0, "", 0};
  for (double nu : v.frequencies) s.modes += nu < -s.threshold ? 1 : 0;
  if (s.modes == 0 || o.displace_imaginary.empty()) return s;
  // Along the lowest mode, the largest atom move being the escape step, to the lower side.
  const std::vector<double>& mode = v.modes.front();
  const double scale = o.optimiser.check.escape_step / largest_atom_norm(mode);
  common_var best;
  for (double sign : {1.0, -1.0}) {
    common_var moved = calc.c;
    for (int a = 0; a < moved.at_count; ++a) {
      moved.x[a] += sign * scale * mode[3 * a];
      moved.y[a] += sign * scale * mode[3 * a + 1];
      moved.z[a] += sign * scale * mode[3 * a + 2];
    }
    const double E = evaluate_finite(moved, calc.model);
    if (s.output.empty() || E < s.E) {
      best = std::move(moved);
      s.E = E;
      s.output = o.displace_imaginary;
    }
  }
  xyz_info info{{"energy", full_precision(s.E)},
                {"binding_energy", full_precision(binding_energy_per_atom(s.E, best.at_count))}};
  if (const std::string title = quoted_title(best); !title.empty()) info.emplace_back("title", title);
  replace_file(s.output, xyz_frame(best, info));
  return s;
}

void saddle_lines(std::ostream& out, const vibrational_analysis& v, const saddle_report& s, const options& o) {
  char buffer[200];
  if (s.modes > 0) {
    std::snprintf(buffer, sizeof buffer, "Not a minimum: %d imaginary mode%s beyond -%.6g cm^-1 (lowest %.4f cm^-1)\n",
                  s.modes, s.modes == 1 ? "" : "s", s.threshold, v.frequencies.front());
    out << buffer;
  }
  if (!s.output.empty()) {
    out << "Displaced along the lowest mode to " << s.output << " (E = " << energy_text(s.E) << " eV)\n";
  } else if (!o.displace_imaginary.empty()) {
    std::snprintf(buffer, sizeof buffer, "No imaginary mode beyond -%.6g cm^-1: nothing written to ", s.threshold);
    out << buffer << o.displace_imaginary << '\n';
  }
}

std::string shape_of(const common_var& c, const vibrational_analysis& v) {
  if (c.at_count == 1) return "a single atom";
  return v.linear ? "linear" : "non-linear";
}

void vibration_table(std::ostream& out, const vibrational_analysis& v) {
  out << "Vibrational modes (imaginary ones negative):\n"
         "  mode   wavenumber (cm^-1)   IR intensity (km/mol)\n";
  if (v.frequencies.empty()) out << "  none\n";
  for (std::size_t k = 0; k < v.frequencies.size(); ++k) {
    char buffer[80];
    std::snprintf(buffer, sizeof buffer, "%6zu %20.4f %23.4f\n", k + 1, v.frequencies[k], v.intensities[k]);
    out << buffer;
  }
}

void thermo_table(std::ostream& out, const thermochemistry& t) {
  char buffer[160];
  const thermo_conditions& at = t.conditions;
  std::snprintf(buffer, sizeof buffer, "\nThermochemistry at %.2f K and %.6g Pa (ideal gas, rigid rotor, harmonic oscillator)\n",
                at.temperature, at.pressure);
  out << buffer;
  out << "  symmetry number " << t.symmetry_number << (t.symmetry_detected ? " (from the geometry)" : " (given)")
      << ", spin multiplicity " << t.multiplicity << '\n';
  if (at.soft_mode_cutoff > 0) {
    std::snprintf(buffer, sizeof buffer,
                  "  soft-mode cutoff %.6g cm^-1 (entropy interpolated towards a free rotor): %d mode%s below it\n",
                  at.soft_mode_cutoff, t.soft_modes, t.soft_modes == 1 ? "" : "s");
    out << buffer;
  }
  if (t.imaginary_modes > 0)
    out << "  " << t.imaginary_modes << " imaginary mode" << (t.imaginary_modes == 1 ? "" : "s") << " left out\n";
  out << "                    H - E (eV)        S (meV/K)       T S (eV)\n";
  const std::pair<const char*, const thermo_term*> rows[] = {{"translational", &t.translational},
                                                             {"rotational", &t.rotational},
                                                             {"vibrational", &t.vibrational},
                                                             {"electronic", &t.electronic}};
  for (const auto& [name, term] : rows) {
    std::snprintf(buffer, sizeof buffer, "  %-14s %13.6f %16.6f %14.6f\n", name, term->enthalpy, 1e3 * term->entropy,
                  at.temperature * term->entropy);
    out << buffer;
  }
  out << "Zero-point energy         " << energy_text(t.zero_point_energy) << " eV\n"
      << "Enthalpy H                " << energy_text(t.enthalpy) << " eV\n"
      << "Entropy S                 " << energy_text(t.entropy) << " eV/K\n"
      << "Gibbs energy G = H - T S  " << energy_text(t.gibbs_energy) << " eV\n";
}

void human_report(std::ostream& out, const std::string& path, const common_var& c, const vibrational_analysis& v,
                  const thermochemistry& t, const std::string& molden, const saddle_report& saddle, const options& o) {
  out << header_line(path, c) << ", " << shape_of(c, v) << '\n';
  vibration_table(out, v);
  out << "Translations and rotations (cm^-1):\n";
  if (v.rigid_frequencies.empty()) out << "  none\n";
  for (std::size_t k = 0; k < v.rigid_frequencies.size(); ++k) {
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%6zu %20.4f\n", k + 1, v.rigid_frequencies[k]);
    out << buffer;
  }
  thermo_table(out, t);
  if (!molden.empty()) out << "Normal modes written to " << molden << '\n';
  saddle_lines(out, v, saddle, o);
}

void json_term(json_writer& json, const char* name, const thermo_term& term) {
  json.key(name).begin_object();
  json.key("enthalpy").value(term.enthalpy);
  json.key("entropy").value(term.entropy);
  json.end_object();
}

void json_thermo(json_writer& json, const thermochemistry& t) {
  json.key("thermochemistry").begin_object();
  json.key("temperature").value(t.conditions.temperature);
  json.key("pressure").value(t.conditions.pressure);
  json.key("symmetry_number").value(t.symmetry_number);
  json.key("symmetry_number_detected").value(t.symmetry_detected);
  json.key("multiplicity").value(t.multiplicity);
  json.key("soft_mode_cutoff").value(t.conditions.soft_mode_cutoff);
  json.key("soft_modes").value(t.soft_modes);
  json.key("imaginary_modes").value(t.imaginary_modes);
  json.key("zero_point_energy").value(t.zero_point_energy);
  json.key("enthalpy").value(t.enthalpy);
  json.key("entropy").value(t.entropy);
  json.key("gibbs_energy").value(t.gibbs_energy);
  json.key("contributions").begin_object();
  json_term(json, "translational", t.translational);
  json_term(json, "rotational", t.rotational);
  json_term(json, "vibrational", t.vibrational);
  json_term(json, "electronic", t.electronic);
  json.end_object();
  json.end_object();
}

void json_report(json_writer& json, const std::string& path, const common_var& c, double E,
                 const vibrational_analysis& v, const thermochemistry& t, const saddle_report& saddle) {
  json_structure(json, path, c);
  json.key("energy").value(E);
  json.key("linear").value(v.linear);
  json.key("frequencies").numbers(v.frequencies);
  json.key("ir_intensities").numbers(v.intensities);
  json.key("rigid_modes").numbers(v.rigid_frequencies);
  json.key("minimum").value(saddle.modes == 0);
  json.key("imaginary_threshold").value(saddle.threshold);
  json.key("imaginary_beyond_threshold").value(saddle.modes);
  if (saddle.output.empty())
    json.key("displaced_output").null();
  else
    json.key("displaced_output").value(saddle.output);
  json.key("zero_point_energy").value(v.zero_point_energy);
  json_thermo(json, t);
  json.key("normal_modes").begin_array();
  for (const auto& mode : v.modes) {
    json.begin_array();
    for (int a = 0; a < c.at_count; ++a) json.numbers({mode[3 * a], mode[3 * a + 1], mode[3 * a + 2]});
    json.end_array();
  }
  json.end_array();
}

}  // namespace

int run_freq(const options& o, work_sharing& group, std::ostream& out, std::ostream& err) {
  // Several files are shared among the processes, each file's Hessian computed by one; the
  // rows of one file's Hessian are shared among them all.
  const bool shared_hessian = o.files.size() == 1 && group.ranks() > 1;
  single_process alone;
  work_sharing& hessian_group = shared_hessian ? group : alone;
  const file_work one_file = [&](const std::string& path, std::ostream& warnings, std::ostream& text, json_writer& json) {
    calculation calc(warnings);
    // A periodic structure: its phonons at Gamma, on one process.
    std::optional<periodic_setup> periodic;
    const auto read = [&] {
      calc.read(path, o.tbrelax_symbols, /*hessian=*/true);
      periodic = periodic_setup_for(calc.comment, o.periodic, calc.c, calc.par);
      if (periodic && !periodic->periodic)
        throw usage_fault("--kpoints, --kpoint-shift and --electronic-temperature work with periodic structures in freq");
      if (periodic && shared_hessian) throw usage_fault("freq of a periodic structure runs on one process");
      if (periodic && !o.molden.empty()) throw usage_fault("--molden works with molecules only");
    };
    if (!shared_hessian) {
      read();
      if (periodic) return phonon_file(calc, path, o, *periodic, text, json);
    }
    const auto study = study_vibrations(calc.c, calc.model, o.thermo, hessian_group,
                                        shared_hessian ? std::function<void()>(read) : [] {});
    if (!study) return;  // a rank that computed rows only
    const common_var& c = calc.c;
    const vibrational_analysis& modes = study->modes;
    if (!o.molden.empty()) write_molden(o.molden, c, {modes.frequencies, modes.intensities, modes.modes});
    const saddle_report saddle = check_minimum(calc, study->modes, o);
    if (o.json)
      json_report(json, path, c, study->energy, study->modes, study->thermo, saddle);
    else
      human_report(text, path, c, study->modes, study->thermo, o.molden, saddle, o);
  };
  const batch_layout layout{"\n", /*own_document=*/true};
  if (!shared_hessian) return run_batch(o, group, out, err, one_file, layout);
  // Every process runs the one file; rank 0 alone reads, writes and reports it.
  const int status = run_batch(o, alone, out, err, one_file, layout);
  return group.rank() == 0 ? status : 0;
}

}  // namespace tbrelax::tbcalc
