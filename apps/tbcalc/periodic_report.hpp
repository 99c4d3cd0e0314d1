#pragma once
// tbcalc's reports of an evaluation through the periodic model: a periodic structure, or a
// molecule at an electronic temperature above zero.

#include <iosfwd>
#include <string>

#include "io/json_writer.hpp"
#include "periodic_options.hpp"
#include "state/common_var.hpp"
#include "tb/periodic_evaluation.hpp"

namespace tbrelax::tbcalc {

// The sentence of the warning for a partly filled degenerate level at zero temperature.
extern const char* const degenerate_edge_warning;

// "a sheet, periodic along a1 a2" and the like.
std::string cell_text(const periodic_setup& s);

// The k-points, occupations and energies: the lines the energy and relax reports share.
void periodic_energy_lines(std::ostream& out, const periodic_setup& s, const periodic_evaluation& p);
void periodic_energy_members(json_writer& json, const common_var& c, const periodic_setup& s,
                             const periodic_evaluation& p);

// The stress in GPa over the whole cell, with a sheet's 2D stress (N/m), a chain's tension (nN)
// or a crystal's pressure; in JSON "stress" (eV/A^3, null for a molecule), "stress_2d" (eV/A^2)
// or "stress_1d" (eV/A).
void stress_lines(std::ostream& out, const periodic_setup& s, const periodic_evaluation& p);
void json_stress(json_writer& json, const periodic_setup& s, const periodic_evaluation& p);

void periodic_human_report(std::ostream& out, const std::string& path, const common_var& c, const periodic_setup& s,
                           const periodic_evaluation& p);
void periodic_json_report(json_writer& json, const std::string& path, const common_var& c, const periodic_setup& s,
                          const periodic_evaluation& p);

}  // namespace tbrelax::tbcalc
