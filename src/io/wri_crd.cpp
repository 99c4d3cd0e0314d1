#include "io/wri_crd.hpp"

#include "io/free_format.hpp"
#include "io/text_file.hpp"
#include "state/element.hpp"

namespace tbrelax {

double binding_energy_per_atom(double E, std::int32_t at_count) { return -E / at_count - 0.05671; }

std::string report_text(const common_var& c, double E) {
  std::string text = free_format(c.at_count) + "\n" + free_format(c.sssss) + "\n";
  for (std::int32_t a = 0; a < c.at_count; ++a) {
    text += ' ';
    text += data_of(c.at_type[a]).symbol;
    text += fixed_field(c.x[a], 20, 8) + fixed_field(c.y[a], 20, 8) + fixed_field(c.z[a], 20, 8) + "\n";
  }
  text += free_format("") + "\n";
  text += free_format("Optimized molecular geometry is listed above") + "\n";
  text += "Calculated binding energy is" + fixed_field(binding_energy_per_atom(E, c.at_count), 6, 3) + " eV per atom\n";
  return text;
}

void wri_crd(const common_var& c, double E, const std::string& path) { replace_file(path, report_text(c, E)); }

}  // namespace tbrelax
