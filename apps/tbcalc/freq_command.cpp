// tbcalc freq: harmonic vibrations, infrared intensities and thermochemistry at the file's
// geometry.
#include <cstdio>
#include <ostream>

#include "batch.hpp"
#include "commands.hpp"
#include "common.hpp"
#include "driver/vibration_study.hpp"
#include "io/molden.hpp"
#include "phonon_report.hpp"

namespace tbrelax::tbcalc {
namespace {

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
                  const thermochemistry& t, const std::string& molden) {
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
                 const vibrational_analysis& v, const thermochemistry& t) {
  json_structure(json, path, c);
  json.key("energy").value(E);
  json.key("linear").value(v.linear);
  json.key("frequencies").numbers(v.frequencies);
  json.key("ir_intensities").numbers(v.intensities);
  json.key("rigid_modes").numbers(v.rigid_frequencies);
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
    if (!o.molden.empty()) write_molden(o.molden, c, study->modes);
    if (o.json)
      json_report(json, path, c, study->energy, study->modes, study->thermo);
    else
      human_report(text, path, c, study->modes, study->thermo, o.molden);
  };
  const batch_layout layout{"\n", /*own_document=*/true};
  if (!shared_hessian) return run_batch(o, group, out, err, one_file, layout);
  // Every process runs the one file; rank 0 alone reads, writes and reports it.
  const int status = run_batch(o, alone, out, err, one_file, layout);
  return group.rank() == 0 ? status : 0;
}

}  // namespace tbrelax::tbcalc
