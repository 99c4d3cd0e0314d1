#pragma once
// The thermochemistry options of tbcalc freq: --temperature, --pressure, --symmetry-number and
// --soft-mode-cutoff.

#include <optional>
#include <string>

#include "hessian/thermochemistry.hpp"

namespace tbrelax::tbcalc {

bool is_freq_number_option(const std::string& name);

// Sets the option `name` from `value`; the fault, worded for the user, when the value does not
// fit.
std::optional<std::string> set_freq_option(const std::string& name, const std::string& value, thermo_conditions& t);

}  // namespace tbrelax::tbcalc
