#include "phonon_report.hpp"

#include <cmath>
#include <cstdio>
#include <ostream>

#include "hessian/gamma_phonons.hpp"
#include "periodic_report.hpp"

namespace tbrelax::tbcalc {

void phonon_file(calculation& calc, const std::string& path, const options& o, const periodic_setup& setup,
                 std::ostream& text, json_writer& json) {
  common_var& c = calc.c;
  const gamma_phonons g = phonons_at_gamma(c, calc.par, setup.settings, *calc.solver);
  const double T = o.thermo.temperature;
  const vibrational_thermo t = harmonic_thermo(g.frequencies, T);
  if (o.json) {
    json_structure(json, path, c);
    periodic_energy_members(json, c, setup, evaluate_periodic(c, calc.par, setup.settings, *calc.solver));
    json.key("frequencies").numbers(g.frequencies);
    json.key("translations").numbers({g.translations[0], g.translations[1], g.translations[2]});
    json.key("zero_point_energy").value(t.zero_point_energy);
    json.key("thermochemistry").begin_object();
    json.key("temperature").value(T);
    json.key("imaginary_modes").value(t.imaginary_modes);
    json.key("vibrational_energy").value(t.internal_energy);
    json.key("vibrational_entropy").value(t.entropy);
    json.key("vibrational_free_energy").value(t.free_energy);
    json.end_object();
    json.key("normal_modes").begin_array();
    for (const auto& mode : g.modes) {
      json.begin_array();
      for (int a = 0; a < c.at_count; ++a) json.numbers({mode[3 * a], mode[3 * a + 1], mode[3 * a + 2]});
      json.end_array();
    }
    json.end_array();
    return;
  }
  char buffer[160];
  text << header_line(path, c) << '\n';
  text << "Cell                      " << cell_text(setup) << '\n'
       << "k-points                  " << grid_text(setup) << " (" << setup.settings.kpoints.size() << ")\n";
  std::snprintf(buffer, sizeof buffer, "%g K", setup.settings.electronic_temperature);
  text << "Electronic temperature    " << buffer << '\n';
  text << "Phonons at Gamma of this cell (imaginary ones negative):\n"
          "  mode   wavenumber (cm^-1)\n";
  for (std::size_t k = 0; k < g.frequencies.size(); ++k) {
    std::snprintf(buffer, sizeof buffer, "%6zu %20.4f\n", k + 1, g.frequencies[k]);
    text << buffer;
  }
  text << "Rigid translations, set apart (cm^-1):\n";
  const char* axes[] = {"x", "y", "z"};
  for (int k = 0; k < 3; ++k) {
    const double nu = std::abs(g.translations[k]) < 5e-5 ? 0.0 : g.translations[k];  // never -0.0000
    std::snprintf(buffer, sizeof buffer, "%6s %20.4f\n", axes[k], nu);
    text << buffer;
  }
  std::snprintf(buffer, sizeof buffer, "\nHarmonic vibrations per cell at %.2f K (no translation or rotation of a gas)\n", T);
  text << buffer;
  if (t.imaginary_modes > 0)
    text << "  " << t.imaginary_modes << " imaginary mode" << (t.imaginary_modes == 1 ? "" : "s") << " left out\n";
  text << "Zero-point energy         " << energy_text(t.zero_point_energy) << " eV\n"
       << "Vibrational energy U      " << energy_text(t.internal_energy) << " eV\n"
       << "Vibrational entropy S     " << energy_text(t.entropy) << " eV/K\n"
       << "Vibrational F = U - T S   " << energy_text(t.free_energy) << " eV\n";
}

}  // namespace tbrelax::tbcalc
