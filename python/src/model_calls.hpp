#pragma once
// The calls the Python package offers, in plain C++: one evaluation, the Hessian, a relaxation
// and the structure reader. The model calls run on a session of their own taken from a pool,
// so that calls on different threads share nothing. Faults are the library's own
// (input_rejected, io_error, numerical_error, out_of_memory); the interruption check, where
// given, runs before every evaluation and may throw `interrupted`.

#include <functional>
#include <string>
#include <vector>

#include "driver/vibration_study.hpp"
#include "molecule_input.hpp"
#include "optimize/optimiser_run.hpp"
#include "session_pool.hpp"

namespace tbrelax::python {

struct evaluation_result {
  double energy = 0;                      // binding energy (eV)
  std::vector<double> forces;             // n x 3, row-major (eV/angstrom)
  std::vector<double> orbital_energies;   // ascending (eV)
  std::vector<double> charges;            // Mulliken (e)
  std::array<double, 3> dipole{};         // of the charges (D)
  std::string messages;                   // what the model printed, usually nothing
};

// Throws numerical_error when the energy or a force is not finite.
evaluation_result evaluate(session_pool& pool, const std::vector<std::string>& symbols, const position_list& positions,
                           std::function<void()> interruption_check = {});

struct hessian_result {
  std::vector<double> hessian;  // 3n x 3n, symmetric (eV/angstrom^2), coordinate 3a + axis
  std::string messages;
};

// Throws numerical_error when an entry is not finite.
hessian_result hessian(session_pool& pool, const std::vector<std::string>& symbols, const position_list& positions,
                       std::function<void()> interruption_check = {});

struct relaxed_molecule {
  position_list positions;      // angstrom
  double energy = 0;            // binding energy at those positions (eV)
  std::vector<double> forces;   // n x 3, row-major, pulling pairs included, zero on fixed atoms
  int steps = 0;
  std::int64_t evaluations = 0;
  bool converged = false;       // the largest force on a free atom fell below fmax
  minimum_check_outcome check;  // of the end point, when asked for and converged
  std::string messages;
};

// Throws std::invalid_argument for an unknown method or faulty constraints, numerical_error
// when an evaluation is not finite.
relaxed_molecule relax(session_pool& pool, const std::vector<std::string>& symbols, const position_list& positions,
                        const optimiser_settings& settings, std::function<void()> interruption_check = {});

struct vibration_result {
  vibration_study study;
  std::string messages;
};

// The vibrations, IR intensities and thermochemistry, as tbcalc freq reports them. Throws as
// hessian does, and input_rejected for bad conditions.
vibration_result vibrations(session_pool& pool, const std::vector<std::string>& symbols,
                            const position_list& positions, const thermo_conditions& conditions,
                            std::function<void()> interruption_check = {});

// The thermochemistry of given wavenumbers (cm^-1) at the geometry, with the model's masses;
// linear or not from the geometry.
thermochemistry thermochemistry_of(const std::vector<std::string>& symbols, const position_list& positions,
                                   const std::vector<double>& frequencies, double energy,
                                   const thermo_conditions& conditions);

struct structure {
  std::vector<std::string> symbols;  // "H", "C", "N" or "O"
  position_list positions;           // angstrom
  std::string title;                 // trailing blanks removed
  std::string messages;              // the reader's report and warnings
};

// Reads a structure file; never waits for a key. Element symbols count whole, or with
// `tbrelax_symbols` by their first character as the tbrelax program reads them.
structure read_structure(const std::string& path, bool tbrelax_symbols);

}  // namespace tbrelax::python
