// The compiled core of the tbrelax package: evaluations, Hessians, relaxations and structure
// files on plain lists and numpy arrays. The model calls are methods of a pool of sessions
// (`Sessions`) that keeps the model's storage between calls. The package's Python layer wraps
// the results in named tuples, turns the model's screen messages into warnings and holds the
// ASE calculator.
//
// Every call converts its arguments while holding the GIL, then releases it for the work, so
// that other Python threads (and other evaluations) run meanwhile. A Ctrl-C stops a call on
// the main thread at its next evaluation with KeyboardInterrupt.

#include <cmath>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <exception>
#include <optional>
#include <tuple>

#include "keyboard_interrupt.hpp"
#include "model_calls.hpp"
#include "path_bindings.hpp"
#include "periodic_calls.hpp"
#include "state/element.hpp"
#include "state/errors.hpp"
#include "tb/charges.hpp"

namespace py = pybind11;

namespace tbrelax::python {
namespace {

using positions_array = py::array_t<double, py::array::c_style | py::array::forcecast>;

position_list to_positions(const positions_array& r) {
  if (r.ndim() != 2 || r.shape(1) != 3) throw input_rejected("positions must be an n x 3 array (angstrom)");
  position_list out(static_cast<std::size_t>(r.shape(0)));
  auto view = r.unchecked<2>();
  for (py::ssize_t a = 0; a < r.shape(0); ++a) out[a] = {view(a, 0), view(a, 1), view(a, 2)};
  return out;
}

py::array_t<double> to_array(const std::vector<double>& v, py::ssize_t rows, py::ssize_t columns) {
  py::array_t<double> out({rows, columns});
  std::copy(v.begin(), v.end(), out.mutable_data());
  return out;
}

py::array_t<double> to_array(const std::vector<double>& v) {
  py::array_t<double> out(static_cast<py::ssize_t>(v.size()));
  std::copy(v.begin(), v.end(), out.mutable_data());
  return out;
}

py::tuple evaluate_py(session_pool& pool, const std::vector<std::string>& symbols, const positions_array& positions) {
  const position_list r = to_positions(positions);
  auto check = keyboard_interrupt_check();
  evaluation_result e;
  {
    py::gil_scoped_release unlocked;
    e = evaluate(pool, symbols, r, std::move(check));
  }
  const auto n = static_cast<py::ssize_t>(r.size());
  return py::make_tuple(e.energy, to_array(e.forces, n, 3), to_array(e.orbital_energies), e.messages,
                        to_array(e.charges), to_array(std::vector<double>(e.dipole.begin(), e.dipole.end())));
}

thermo_conditions conditions_of(double temperature, double pressure, std::optional<int> symmetry_number,
                                double soft_mode_cutoff) {
  if (!(soft_mode_cutoff >= 0)) throw input_rejected("soft_mode_cutoff must be a wavenumber from 0 up (cm^-1)");
  return {temperature, pressure, symmetry_number, soft_mode_cutoff};
}

py::dict thermo_dict(const thermochemistry& t) {
  py::dict d;
  d["temperature"] = t.conditions.temperature;
  d["pressure"] = t.conditions.pressure;
  d["symmetry_number"] = t.symmetry_number;
  d["symmetry_number_detected"] = t.symmetry_detected;
  d["multiplicity"] = t.multiplicity;
  d["soft_mode_cutoff"] = t.conditions.soft_mode_cutoff;
  d["soft_modes"] = t.soft_modes;
  d["imaginary_modes"] = t.imaginary_modes;
  d["zero_point_energy"] = t.zero_point_energy;
  d["enthalpy"] = t.enthalpy;
  d["entropy"] = t.entropy;
  d["gibbs_energy"] = t.gibbs_energy;
  py::dict terms;
  const std::pair<const char*, const thermo_term*> rows[] = {
      {"translational", &t.translational}, {"rotational", &t.rotational},
      {"vibrational", &t.vibrational}, {"electronic", &t.electronic}};
  for (const auto& [name, term] : rows) terms[name] = py::make_tuple(term->enthalpy, term->entropy);
  d["contributions"] = terms;
  return d;
}

py::tuple vibrations_py(session_pool& pool, const std::vector<std::string>& symbols, const positions_array& positions,
                        double temperature, double pressure, std::optional<int> symmetry_number,
                        double soft_mode_cutoff) {
  const position_list r = to_positions(positions);
  const thermo_conditions at = conditions_of(temperature, pressure, symmetry_number, soft_mode_cutoff);
  auto check = keyboard_interrupt_check();
  vibration_result v;
  {
    py::gil_scoped_release unlocked;
    v = vibrations(pool, symbols, r, at, std::move(check));
  }
  const auto n3 = static_cast<py::ssize_t>(3 * r.size());
  const vibrational_analysis& a = v.study.modes;
  const auto m = static_cast<py::ssize_t>(a.modes.size());
  std::vector<double> modes;
  for (const auto& mode : a.modes) modes.insert(modes.end(), mode.begin(), mode.end());
  return py::make_tuple(v.study.energy, to_array(a.frequencies), to_array(a.intensities), to_array(modes, m, n3),
                        to_array(a.rigid_frequencies), a.linear, a.zero_point_energy, thermo_dict(v.study.thermo),
                        v.messages);
}

py::dict thermochemistry_py(const std::vector<std::string>& symbols, const positions_array& positions,
                            const std::vector<double>& frequencies, double energy, double temperature, double pressure,
                            std::optional<int> symmetry_number, double soft_mode_cutoff) {
  const position_list r = to_positions(positions);
  return thermo_dict(thermochemistry_of(symbols, r, frequencies, energy,
                                        conditions_of(temperature, pressure, symmetry_number, soft_mode_cutoff)));
}

py::tuple hessian_py(session_pool& pool, const std::vector<std::string>& symbols, const positions_array& positions) {
  const position_list r = to_positions(positions);
  auto check = keyboard_interrupt_check();
  hessian_result h;
  {
    py::gil_scoped_release unlocked;
    h = hessian(pool, symbols, r, std::move(check));
  }
  const auto n3 = static_cast<py::ssize_t>(3 * r.size());
  return py::make_tuple(to_array(h.hessian, n3, n3), h.messages);
}

// fix: atoms from 0; pull: (a, b, F) with atoms from 0.
py::tuple relax_py(session_pool& pool, const std::vector<std::string>& symbols, const positions_array& positions,
                   const std::string& method, double fmax, int max_steps, const std::vector<int>& fix,
                   const std::vector<std::tuple<int, int, double>>& pull, bool verify) {
  const position_list r = to_positions(positions);
  optimiser_settings settings;
  settings.method = method;
  settings.stop = {fmax, max_steps};
  settings.limits.fixed = fix;
  for (const auto& [a, b, F] : pull) settings.limits.pulls.push_back({a + 1, b + 1, F});
  settings.check.enabled = verify;
  auto check = keyboard_interrupt_check();
  relaxed_molecule x;
  {
    py::gil_scoped_release unlocked;
    x = relax(pool, symbols, r, settings, std::move(check));
  }
  const auto n = static_cast<py::ssize_t>(r.size());
  std::vector<double> flat;
  for (const auto& p : x.positions) flat.insert(flat.end(), p.begin(), p.end());
  const minimum_check_outcome& k = x.check;
  const py::object none = py::none();
  const bool estimated = k.performed && std::isfinite(k.curvature);
  const py::tuple verified = py::make_tuple(k.performed ? py::object(py::bool_(k.verified)) : none,
                                            estimated ? py::object(py::float_(k.curvature)) : none,
                                            estimated ? py::object(py::float_(k.wavenumber)) : none, k.escapes,
                                            k.evaluations);
  return py::make_tuple(to_array(flat, n, 3), x.energy, to_array(x.forces, n, 3), x.steps, x.evaluations,
                        x.converged, x.messages, verified);
}

// cell: 3 x 3 rows a1, a2, a3 or None; pbc: three flags; grid: three counts or None.
periodic_request periodic_request_of(const std::optional<positions_array>& cell, const std::array<bool, 3>& pbc,
                                     const std::optional<std::array<int, 3>>& grid, const std::array<double, 3>& shift,
                                     std::optional<double> temperature) {
  periodic_request r;
  if (cell) {
    const position_list rows = to_positions(*cell);
    if (rows.size() != 3) throw input_rejected("cell must be a 3 x 3 array of lattice vectors (angstrom)");
    periodic_cell pc;
    for (int i = 0; i < 3; ++i) pc.a[i] = rows[i];
    pc.pbc = pbc;
    r.cell = pc;
  }
  r.grid = grid;
  r.shift = shift;
  r.temperature = temperature;
  return r;
}

py::dict periodic_dict(const periodic_result& x, py::ssize_t n) {
  const periodic_evaluation& p = x.p;
  py::dict d;
  d["energy"] = p.energy;
  d["free_energy"] = p.free_energy;
  d["energy_zero"] = p.energy_zero;
  d["entropy"] = p.entropy;
  d["fermi_level"] = p.fermi_level;
  d["band_gap"] = p.band_gap ? py::cast(*p.band_gap) : py::none();
  d["degenerate_edge"] = p.degenerate_edge;
  d["forces"] = to_array(x.forces, n, 3);
  d["charges"] = to_array(p.charges);
  std::vector<double> bands;
  for (const auto& e : p.eps) bands.insert(bands.end(), e.begin(), e.end());
  d["band_energies"] = to_array(bands, static_cast<py::ssize_t>(p.eps.size()),
                                p.eps.empty() ? 0 : static_cast<py::ssize_t>(p.eps[0].size()));
  d["kpoint_grid"] = py::make_tuple(x.grid[0], x.grid[1], x.grid[2]);
  d["kpoints"] = x.kpoint_count;
  d["electronic_temperature"] = x.temperature;
  d["stress"] = x.stress ? py::object(to_array(std::vector<double>(x.stress->begin(), x.stress->end())))
                         : py::object(py::none());
  return d;
}

// The relaxation's result with the positions and the optimiser's counts.
void add_relaxation(py::dict& d, const periodic_result& x, py::ssize_t n) {
  std::vector<double> flat;
  for (const auto& p : x.positions) flat.insert(flat.end(), p.begin(), p.end());
  d["positions"] = to_array(flat, n, 3);
  d["steps"] = x.steps;
  d["evaluations"] = x.evaluations;
  d["converged"] = x.converged;
}

py::dict evaluate_periodic_py(session_pool& pool, const std::vector<std::string>& symbols,
                              const positions_array& positions, const std::optional<positions_array>& cell,
                              const std::array<bool, 3>& pbc, const std::optional<std::array<int, 3>>& grid,
                              const std::array<double, 3>& shift, std::optional<double> temperature) {
  const position_list r = to_positions(positions);
  const periodic_request request = periodic_request_of(cell, pbc, grid, shift, temperature);
  auto check = keyboard_interrupt_check();
  periodic_result x;
  {
    py::gil_scoped_release unlocked;
    x = evaluate_periodic_call(pool, symbols, r, request, std::move(check));
  }
  return periodic_dict(x, static_cast<py::ssize_t>(r.size()));
}

py::dict relax_periodic_py(session_pool& pool, const std::vector<std::string>& symbols,
                           const positions_array& positions, const std::optional<positions_array>& cell,
                           const std::array<bool, 3>& pbc, const std::optional<std::array<int, 3>>& grid,
                           const std::array<double, 3>& shift, std::optional<double> temperature,
                           const std::string& method, double fmax, int max_steps, const std::vector<int>& fix,
                           const std::vector<std::tuple<int, int, double>>& pull) {
  const position_list r = to_positions(positions);
  const periodic_request request = periodic_request_of(cell, pbc, grid, shift, temperature);
  optimiser_settings settings;
  settings.method = method;
  settings.stop = {fmax, max_steps};
  settings.limits.fixed = fix;
  for (const auto& [a, b, F] : pull) settings.limits.pulls.push_back({a + 1, b + 1, F});
  auto check = keyboard_interrupt_check();
  periodic_result x;
  {
    py::gil_scoped_release unlocked;
    x = relax_periodic_call(pool, symbols, r, request, settings, std::move(check));
  }
  const auto n = static_cast<py::ssize_t>(r.size());
  py::dict d = periodic_dict(x, n);
  add_relaxation(d, x, n);
  return d;
}

// smax and pressure in eV/angstrom^3; mask: six flags in Voigt order, or None for every
// component the periodic axes span.
py::dict relax_cell_py(session_pool& pool, const std::vector<std::string>& symbols, const positions_array& positions,
                       const positions_array& cell, const std::array<bool, 3>& pbc,
                       const std::optional<std::array<int, 3>>& grid, const std::array<double, 3>& shift,
                       std::optional<double> temperature, const std::string& method, double fmax, int max_steps,
                       const std::vector<int>& fix, double smax, double pressure,
                       const std::optional<std::array<bool, 6>>& mask, bool isotropic) {
  const position_list r = to_positions(positions);
  const periodic_request request = periodic_request_of(cell, pbc, grid, shift, temperature);
  optimiser_settings settings;
  settings.method = method;
  settings.stop = {fmax, max_steps};
  settings.limits.fixed = fix;
  const cell_request cell_options{smax, pressure, mask, isotropic};
  auto check = keyboard_interrupt_check();
  periodic_result x;
  {
    py::gil_scoped_release unlocked;
    x = relax_cell_call(pool, symbols, r, request, settings, cell_options, std::move(check));
  }
  const auto n = static_cast<py::ssize_t>(r.size());
  py::dict d = periodic_dict(x, n);
  add_relaxation(d, x, n);
  std::vector<double> rows;
  for (const auto& a : x.cell->a) rows.insert(rows.end(), a.begin(), a.end());
  d["cell"] = to_array(rows, 3, 3);
  d["volume"] = x.volume;
  d["enthalpy"] = x.enthalpy;
  return d;
}

py::dict phonons_py(session_pool& pool, const std::vector<std::string>& symbols, const positions_array& positions,
                     const positions_array& cell, const std::array<bool, 3>& pbc,
                     const std::optional<std::array<int, 3>>& grid, const std::array<double, 3>& shift,
                     std::optional<double> electronic_temperature, double temperature) {
  const position_list r = to_positions(positions);
  const periodic_request request = periodic_request_of(cell, pbc, grid, shift, electronic_temperature);
  auto check = keyboard_interrupt_check();
  phonon_result x;
  {
    py::gil_scoped_release unlocked;
    x = phonons_call(pool, symbols, r, request, temperature, std::move(check));
  }
  const gamma_phonons& g = x.modes;
  std::vector<double> modes;
  for (const auto& mode : g.modes) modes.insert(modes.end(), mode.begin(), mode.end());
  py::dict d;
  d["free_energy"] = g.free_energy;
  d["frequencies"] = to_array(g.frequencies);
  d["modes"] = to_array(modes, static_cast<py::ssize_t>(g.modes.size()), static_cast<py::ssize_t>(3 * r.size()));
  d["translations"] = to_array(std::vector<double>(g.translations.begin(), g.translations.end()));
  d["temperature"] = temperature;
  d["zero_point_energy"] = x.thermo.zero_point_energy;
  d["vibrational_energy"] = x.thermo.internal_energy;
  d["vibrational_entropy"] = x.thermo.entropy;
  d["vibrational_free_energy"] = x.thermo.free_energy;
  d["imaginary_modes"] = x.thermo.imaginary_modes;
  d["kpoint_grid"] = py::make_tuple(x.grid[0], x.grid[1], x.grid[2]);
  d["electronic_temperature"] = x.electronic_temperature;
  return d;
}

py::tuple read_xyz_py(const std::string& path, bool tbrelax_symbols) {
  structure st;
  {
    py::gil_scoped_release unlocked;
    st = read_structure(path, tbrelax_symbols);
  }
  py::array_t<double> r({static_cast<py::ssize_t>(st.positions.size()), py::ssize_t{3}});
  auto view = r.mutable_unchecked<2>();
  for (std::size_t a = 0; a < st.positions.size(); ++a)
    for (int k = 0; k < 3; ++k) view(a, k) = st.positions[a][k];
  return py::make_tuple(st.symbols, r, st.title, st.messages);
}

// Raises the package's exception class `name` (from tbrelax.errors) carrying the fault's place.
void raise_as(const char* name, const tb_error& e) {
  const source_location& at = e.where();
  py::object type = py::module_::import("tbrelax.errors").attr(name);
  py::object error = type(e.what(), py::arg("file") = at.file, py::arg("line") = at.line,
                          py::arg("column") = at.column, py::arg("length") = at.length,
                          py::arg("line_text") = at.line_text);
  PyErr_SetObject(type.ptr(), error.ptr());
}

void translate_faults(std::exception_ptr p) {
  try {
    if (p) std::rethrow_exception(p);
  } catch (const input_rejected& e) {
    raise_as("InputRejected", e);
  } catch (const io_error& e) {
    raise_as("FileError", e);
  } catch (const numerical_error& e) {
    raise_as("NumericalError", e);
  } catch (const out_of_memory& e) {
    raise_as("OutOfMemory", e);
  } catch (const interrupted&) {
    // The interruption check left the exception of Python's signal handler set.
    if (!PyErr_Occurred()) PyErr_SetNone(PyExc_KeyboardInterrupt);
  }
}

}  // namespace
}  // namespace tbrelax::python

PYBIND11_MODULE(_core, m) {
  using namespace tbrelax::python;
  m.doc() = "Compiled core of tbrelax: the tight-binding energy model of H, C, N, O molecules.";
  py::register_exception_translator(translate_faults);

  py::class_<session_pool> sessions(m, "Sessions", "Model sessions kept between calls; safe to share between threads.");
  bind_path_calls(sessions);
  sessions.def(py::init<>())
      .def("evaluate", &evaluate_py, py::arg("symbols"), py::arg("positions"),
           "(energy eV, forces n x 3 eV/angstrom, orbital energies eV, model messages, Mulliken charges e, dipole D)")
      .def("hessian", &hessian_py, py::arg("symbols"), py::arg("positions"),
           "(Hessian 3n x 3n eV/angstrom^2, model messages)")
      .def("vibrations", &vibrations_py, py::arg("symbols"), py::arg("positions"), py::arg("temperature"),
           py::arg("pressure"), py::arg("symmetry_number"), py::arg("soft_mode_cutoff"),
           "(energy, frequencies, IR intensities, modes, rigid frequencies, linear, ZPE, thermochemistry, messages)")
      .def("relax", &relax_py, py::arg("symbols"), py::arg("positions"), py::arg("method"), py::arg("fmax"),
           py::arg("max_steps"), py::arg("fix"), py::arg("pull"), py::arg("verify"),
           "(positions n x 3 angstrom, energy eV, forces n x 3 eV/angstrom, steps, evaluations, converged, "
           "model messages, (minimum verified, lowest curvature, its wavenumber, escapes, check evaluations))")
      .def("evaluate_periodic", &evaluate_periodic_py, py::arg("symbols"), py::arg("positions"), py::arg("cell"),
           py::arg("pbc"), py::arg("kpoints"), py::arg("kpoint_shift"), py::arg("electronic_temperature"),
           "one evaluation through the periodic model (dict)")
      .def("relax_periodic", &relax_periodic_py, py::arg("symbols"), py::arg("positions"), py::arg("cell"),
           py::arg("pbc"), py::arg("kpoints"), py::arg("kpoint_shift"), py::arg("electronic_temperature"),
           py::arg("method"), py::arg("fmax"), py::arg("max_steps"), py::arg("fix"), py::arg("pull"),
           "a relaxation in a fixed cell through the periodic model, minimising F (dict)")
      .def("relax_cell", &relax_cell_py, py::arg("symbols"), py::arg("positions"), py::arg("cell"), py::arg("pbc"),
           py::arg("kpoints"), py::arg("kpoint_shift"), py::arg("electronic_temperature"), py::arg("method"),
           py::arg("fmax"), py::arg("max_steps"), py::arg("fix"), py::arg("smax"), py::arg("pressure"),
           py::arg("mask"), py::arg("isotropic"),
           "atoms and cell relaxed together to zero forces and stress -pressure, minimising F + p V (dict)")
      .def("phonons", &phonons_py, py::arg("symbols"), py::arg("positions"), py::arg("cell"), py::arg("pbc"),
           py::arg("kpoints"), py::arg("kpoint_shift"), py::arg("electronic_temperature"), py::arg("temperature"),
           "phonons at Gamma of a periodic cell and their harmonic thermochemistry per cell (dict)");
  m.def("thermochemistry", &thermochemistry_py, py::arg("symbols"), py::arg("positions"), py::arg("frequencies"),
        py::arg("energy"), py::arg("temperature"), py::arg("pressure"), py::arg("symmetry_number"),
        py::arg("soft_mode_cutoff"), "thermochemistry of given wavenumbers (dict)");
  m.def("read_xyz", &read_xyz_py, py::arg("path"), py::arg("tbrelax_symbols"),
        "(symbols, positions n x 3 angstrom, title, reader report)");
  m.attr("version") = TBRELAX_VERSION;
  m.attr("debye_per_e_angstrom") = tbrelax::debye_per_e_angstrom;

  py::dict masses;
  for (const auto& e : tbrelax::element_table) masses[py::str(std::string(1, e.symbol))] = e.mass;
  m.attr("masses") = masses;
}
