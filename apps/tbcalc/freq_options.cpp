#include "freq_options.hpp"

#include <cmath>
#include <cstdlib>

namespace tbrelax::tbcalc {
namespace {

// A finite number filling all of `text` up to an optional unit suffix; nothing otherwise.
std::optional<double> number_before(const std::string& text, std::string& unit) {
  const char* start = text.c_str();
  char* end = nullptr;
  const double v = std::strtod(start, &end);
  if (end == start || !std::isfinite(v)) return std::nullopt;
  unit = std::string(end);
  return v;
}

}  // namespace

bool is_freq_number_option(const std::string& name) {
  return name == "--temperature" || name == "--pressure" || name == "--symmetry-number" ||
         name == "--soft-mode-cutoff";
}

std::optional<std::string> set_freq_option(const std::string& name, const std::string& value, thermo_conditions& t) {
  std::string unit;
  const std::optional<double> v = number_before(value, unit);
  if (name == "--temperature") {
    if (!v || !unit.empty() || !(*v > 0)) return "--temperature needs a positive number of kelvin, not '" + value + "'";
    t.temperature = *v;
  } else if (name == "--pressure") {
    const double scale = unit.empty() || unit == "Pa" ? 1.0 : unit == "bar" ? 1e5 : unit == "atm" ? 101325.0 : 0.0;
    if (!v || !(scale > 0) || !(*v > 0))
      return "--pressure needs a positive number of Pa, bar or atm (101325, 1bar, 1atm), not '" + value + "'";
    t.pressure = *v * scale;
  } else if (name == "--symmetry-number") {
    if (!v || !unit.empty() || *v < 1 || *v > 1000 || *v != std::floor(*v))
      return "--symmetry-number needs a whole number from 1 up, not '" + value + "'";
    t.symmetry_number = static_cast<int>(*v);
  } else {
    if (!v || !unit.empty() || *v < 0) return "--soft-mode-cutoff needs a wavenumber from 0 up (cm^-1), not '" + value + "'";
    t.soft_mode_cutoff = *v;
  }
  return std::nullopt;
}

}  // namespace tbrelax::tbcalc
