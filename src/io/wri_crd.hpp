#pragma once
// The result writer: the current structure and its binding energy per atom, as the report
// file output.xyz.

#include <string>

#include "state/common_var.hpp"

namespace tbrelax {

// Binding energy per atom reported for the total energy E (eV): minus the energy per atom,
// less the writer's fixed constant 0.05671 eV.
double binding_energy_per_atom(double E, std::int32_t at_count);

// The report's text: atom count, title, one fixed-format line per atom, a blank line, the
// sentence "Optimized molecular geometry is listed above" and the binding-energy line.
std::string report_text(const common_var& c, double E);

// Rewrites the report file from its beginning (io_error when it cannot be written).
void wri_crd(const common_var& c, double E, const std::string& path = "output.xyz");

}  // namespace tbrelax
