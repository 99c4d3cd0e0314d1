#include "io/molden.hpp"

#include <cmath>
#include <cstdio>

#include "io/text_file.hpp"
#include "state/element.hpp"

namespace tbrelax {
namespace {

// Atomic numbers of H, C, N, O, as the [Atoms] lines give them.
constexpr int atomic_number[] = {1, 6, 7, 8};

std::string coordinates_line(char symbol, double x, double y, double z) {
  char buffer[256];
  std::snprintf(buffer, sizeof buffer, "%-2c %18.10f %18.10f %18.10f\n", symbol, x, y, z);
  return buffer;
}

// A component that rounds to zero in six decimals is written as 0, never as -0.
double tidy(double v) { return std::abs(v) < 5e-7 ? 0.0 : v; }

}  // namespace

std::string molden_text(const common_var& c, const molden_modes& v) {
  std::string atoms, coordinates;
  for (int a = 0; a < c.at_count; ++a) {
    const char symbol = data_of(c.at_type[a]).symbol;
    const double x = c.x[a] / bohr_in_angstrom, y = c.y[a] / bohr_in_angstrom, z = c.z[a] / bohr_in_angstrom;
    char numbers[16];
    std::snprintf(numbers, sizeof numbers, " %5d %3d", a + 1, atomic_number[c.at_type[a] - 1]);
    const std::string xyz = coordinates_line(symbol, x, y, z);
    atoms += xyz.substr(0, 2) + numbers + xyz.substr(2);
    coordinates += xyz;
  }
  std::string text = "[Molden Format]\n[Atoms] AU\n" + atoms + "[FREQ]\n";
  char buffer[64];
  for (double nu : v.frequencies) {
    std::snprintf(buffer, sizeof buffer, "%14.4f\n", nu);
    text += buffer;
  }
  if (!v.intensities.empty()) text += "[INT]\n";
  for (double intensity : v.intensities) {
    std::snprintf(buffer, sizeof buffer, "%14.4f\n", intensity);
    text += buffer;
  }
  text += "[FR-COORD]\n" + coordinates + "[FR-NORM-COORD]\n";
  for (std::size_t m = 0; m < v.displacements.size(); ++m) {
    text += "vibration " + std::to_string(m + 1) + "\n";
    for (int a = 0; a < c.at_count; ++a) {
      std::snprintf(buffer, sizeof buffer, "%12.6f %12.6f %12.6f\n", tidy(v.displacements[m][3 * a]),
                    tidy(v.displacements[m][3 * a + 1]), tidy(v.displacements[m][3 * a + 2]));
      text += buffer;
    }
  }
  return text;
}

void write_molden(const std::string& path, const common_var& c, const molden_modes& v) {
  replace_file(path, molden_text(c, v));
}

}  // namespace tbrelax
