#include "path_bindings.hpp"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <memory>
#include <numbers>

#include "driver/vibration_study.hpp"
#include "keyboard_interrupt.hpp"
#include "molecule_input.hpp"
#include "optimize/alignment.hpp"
#include "optimize/constraints.hpp"
#include "optimize/elastic_band.hpp"
#include "optimize/reaction_coordinate.hpp"
#include "optimize/relaxed_scan.hpp"
#include "optimize/saddle_search.hpp"
#include "state/errors.hpp"

namespace py = pybind11;

namespace tbrelax::python {
namespace {

using positions_array = py::array_t<double, py::array::c_style | py::array::forcecast>;
constexpr double degree = std::numbers::pi / 180;
// As tbcalc ts: a mode more imaginary than this (cm^-1) counts.
constexpr double imaginary_threshold = 50;

position_list positions_of(const positions_array& r) {
  if (r.ndim() != 2 || r.shape(1) != 3) throw input_rejected("positions must be an n x 3 array (angstrom)");
  position_list out(static_cast<std::size_t>(r.shape(0)));
  auto view = r.unchecked<2>();
  for (py::ssize_t a = 0; a < r.shape(0); ++a) out[a] = {view(a, 0), view(a, 1), view(a, 2)};
  return out;
}

py::array_t<double> frames(const std::vector<std::vector<double>>& xs) {
  const auto m = static_cast<py::ssize_t>(xs.size()), n = m ? static_cast<py::ssize_t>(xs[0].size() / 3) : 0;
  py::array_t<double> out({m, n, py::ssize_t{3}});
  double* d = out.mutable_data();
  for (const auto& x : xs) d = std::copy(x.begin(), x.end(), d);
  return out;
}

py::array_t<double> vector_of(const std::vector<double>& v) {
  py::array_t<double> out(static_cast<py::ssize_t>(v.size()));
  std::copy(v.begin(), v.end(), out.mutable_data());
  return out;
}

std::vector<double> flat(const position_list& r) {
  std::vector<double> x;
  for (const auto& p : r) x.insert(x.end(), p.begin(), p.end());
  return x;
}

// ((kind, atoms, from, to), ...) with kind "distance", "angle" or "dihedral", atoms from 0,
// values in angstrom or degrees.
scan_settings scan_of(const py::list& coordinates, int steps, double fmax, int atom_count) {
  scan_settings s;
  s.steps = steps;
  s.stop.fmax = fmax;
  for (const py::handle item : coordinates) {
    const auto [kind, atoms, from, to] = item.cast<std::tuple<std::string, std::vector<int>, double, double>>();
    scanned_coordinate c;
    c.q.kind = kind == "distance" ? coordinate_kind::distance
               : kind == "angle"  ? coordinate_kind::angle
               : kind == "dihedral" ? coordinate_kind::dihedral
                                    : throw input_rejected("a coordinate is a distance, an angle or a dihedral, not '" + kind + "'");
    if (static_cast<int>(atoms.size()) != c.q.atom_count())
      throw input_rejected("a " + kind + " needs " + std::to_string(c.q.atom_count()) + " atoms");
    for (std::size_t k = 0; k < atoms.size(); ++k) {
      if (atoms[k] < 0 || atoms[k] >= atom_count)
        throw input_rejected("atom " + std::to_string(atoms[k]) + " is not an atom of this molecule (0 to " +
                             std::to_string(atom_count - 1) + ")");
      if (std::count(atoms.begin(), atoms.end(), atoms[k]) > 1) throw input_rejected("an atom appears twice in a " + kind);
      c.q.atoms[k] = atoms[k];
    }
    const double unit = c.q.kind == coordinate_kind::distance ? 1.0 : degree;
    c.from = from * unit;
    c.to = to * unit;
    s.coordinates.push_back(c);
  }
  if (s.coordinates.empty()) throw input_rejected("a scan needs at least one coordinate");
  return s;
}

py::tuple scan_py(session_pool& pool, const std::vector<std::string>& symbols, const positions_array& positions,
                  const py::list& coordinates, int steps, double fmax) {
  const position_list r = positions_of(positions);
  const scan_settings s = scan_of(coordinates, steps, fmax, static_cast<int>(r.size()));
  auto check = keyboard_interrupt_check();
  std::vector<scan_point> points;
  {
    py::gil_scoped_release unlocked;
    const session_pool::lease session = pool.take(symbols, std::move(check));
    load_checked(*session, symbols, r);
    molecule_objective f(session->c, session->model, {});
    for (const scanned_coordinate& c : s.coordinates)
      if (!(c.q.definiteness(flat(r)) > 1e-3)) throw input_rejected("the atoms of " + c.q.label() + " lie in a line");
    points = relaxed_scan(f, flat(r), s);
  }
  std::vector<std::vector<double>> xs;
  std::vector<double> values, energies, largest, constraint;
  bool converged = true;
  for (const scan_point& p : points) {
    xs.push_back(p.relaxed.x);
    for (std::size_t i = 0; i < p.values.size(); ++i) {
      values.push_back(p.values[i] / (s.coordinates[i].q.kind == coordinate_kind::distance ? 1.0 : degree));
      constraint.push_back(p.constraint_forces[i]);
    }
    energies.push_back(p.relaxed.energy);
    largest.push_back(largest_atom_norm(p.relaxed.force));
    converged = converged && p.converged;
  }
  const auto k = static_cast<py::ssize_t>(points.size()), m = static_cast<py::ssize_t>(s.coordinates.size());
  return py::make_tuple(vector_of(values).reshape({k, m}), vector_of(energies), vector_of(largest),
                        vector_of(constraint).reshape({k, m}), frames(xs), converged);
}

// Imaginary wavenumbers (below -threshold) and the Cartesian mode of the lowest, at x.
std::pair<std::vector<double>, std::vector<double>> imaginary_modes(model_session& s, const std::vector<double>& x) {
  for (int a = 0; a < s.c.at_count; ++a) {
    s.c.x[a] = x[3 * a];
    s.c.y[a] = x[3 * a + 1];
    s.c.z[a] = x[3 * a + 2];
  }
  const vibration_study v = study_vibrations(s.c, s.model, thermo_conditions{});
  std::vector<double> imaginary;
  for (double nu : v.modes.frequencies)
    if (nu < -imaginary_threshold) imaginary.push_back(nu);
  return {imaginary, imaginary.empty() ? std::vector<double>() : v.modes.modes.front()};
}

py::tuple ts_py(session_pool& pool, const std::vector<std::string>& symbols, const positions_array& positions, double fmax,
                int max_steps) {
  const position_list r = positions_of(positions);
  auto check = keyboard_interrupt_check();
  saddle_result found;
  std::pair<std::vector<double>, std::vector<double>> modes;
  {
    py::gil_scoped_release unlocked;
    const session_pool::lease session = pool.take(symbols, std::move(check));
    load_checked(*session, symbols, r);
    molecule_objective f(session->c, session->model, {});
    saddle_settings s;
    s.fmax = fmax;
    s.max_steps = max_steps;
    found = find_saddle(f, flat(r), s);
    modes = imaginary_modes(*session, found.end.x);
  }
  const auto n = static_cast<py::ssize_t>(r.size());
  return py::make_tuple(vector_of(found.end.x).reshape({n, py::ssize_t{3}}), found.end.energy,
                        vector_of(found.end.force).reshape({n, py::ssize_t{3}}), found.steps, found.evaluations,
                        found.converged, vector_of(modes.first),
                        modes.second.empty() ? py::object(py::none()) : py::object(vector_of(modes.second).reshape({n, py::ssize_t{3}})));
}

py::tuple path_py(session_pool& pool, const std::vector<std::string>& symbols, const positions_array& start,
                  const positions_array& end, int images, double spring, double fmax, bool climb, int threads) {
  const position_list a = positions_of(start), b = positions_of(end);
  if (a.size() != b.size()) throw input_rejected("the ends have different numbers of atoms");
  if (images < 1) throw input_rejected("a band needs at least 1 image");
  band_result band;
  {
    py::gil_scoped_release unlocked;
    std::vector<std::unique_ptr<session_pool::lease>> sessions;
    std::vector<std::unique_ptr<molecule_objective>> objectives;
    for (int i = 0; i < images + 2; ++i) {
      // A lease can neither be copied nor moved: it is built in place from the pool's.
      sessions.emplace_back(new session_pool::lease(pool.take(symbols)));
      load_checked(**sessions.back(), symbols, i + 1 == images + 2 ? b : a);
      objectives.push_back(std::make_unique<molecule_objective>((**sessions.back()).c, (**sessions.back()).model, constraints{}));
    }
    const std::vector<double> first = flat(a), last = aligned(flat(b), first);
    band_settings s;
    s.spring = spring;
    s.fmax = fmax;
    s.climb = climb;
    s.free_molecules = true;
    s.threads = threads > 0 ? threads : images;
    band = relax_band(objectives.front()->evaluate(first), objectives.back()->evaluate(last), idpp_path(first, last, images),
                      [&](std::size_t i, std::vector<double> x) { return objectives[i + 1]->evaluate(std::move(x)); }, s);
  }
  std::vector<std::vector<double>> xs;
  std::vector<double> energies;
  for (const search_point& p : band.images) {
    xs.push_back(p.x);
    energies.push_back(p.energy);
  }
  return py::make_tuple(frames(xs), vector_of(energies), vector_of(path_lengths(band.images)),
                        band.climbing >= 0 ? py::object(py::int_(band.climbing)) : py::object(py::none()), band.iterations,
                        band.evaluations, band.converged);
}

py::tuple irc_py(session_pool& pool, const std::vector<std::string>& symbols, const positions_array& positions, double step) {
  const position_list r = positions_of(positions);
  auto check = keyboard_interrupt_check();
  irc_result found;
  search_point saddle;
  {
    py::gil_scoped_release unlocked;
    const session_pool::lease session = pool.take(symbols, std::move(check));
    load_checked(*session, symbols, r);
    const auto [imaginary, mode] = imaginary_modes(*session, flat(r));
    if (imaginary.size() != 1)
      throw input_rejected("the structure has " + std::to_string(imaginary.size()) + " imaginary modes, not one: it is no transition state");
    molecule_objective f(session->c, session->model, {});
    saddle = f.evaluate(flat(r));
    irc_settings s;
    s.step = step;
    found = follow_irc(f, saddle, mode, s);
  }
  // One minimum, up to the saddle point, down to the other, with signed lengths.
  std::vector<std::vector<double>> xs;
  std::vector<double> energies, lengths;
  const irc_side& back = found.backward;
  for (std::size_t k = back.path.size(); k-- > 0;) {
    xs.push_back(back.path[k].x);
    energies.push_back(back.path[k].energy);
    lengths.push_back(-back.length[k]);
  }
  xs.push_back(saddle.x);
  energies.push_back(saddle.energy);
  lengths.push_back(0);
  for (std::size_t k = 0; k < found.forward.path.size(); ++k) {
    xs.push_back(found.forward.path[k].x);
    energies.push_back(found.forward.path[k].energy);
    lengths.push_back(found.forward.length[k]);
  }
  return py::make_tuple(frames(xs), vector_of(energies), vector_of(lengths), found.evaluations,
                        back.relaxed && found.forward.relaxed);
}

}  // namespace

void bind_path_calls(py::class_<session_pool>& sessions) {
  sessions
      .def("scan", &scan_py, py::arg("symbols"), py::arg("positions"), py::arg("coordinates"), py::arg("steps"),
           py::arg("fmax"), "(values k x m, energies, largest forces, constraint forces k x m, positions k x n x 3, converged)")
      .def("ts", &ts_py, py::arg("symbols"), py::arg("positions"), py::arg("fmax"), py::arg("max_steps"),
           "(positions, energy, forces, steps, evaluations, converged, imaginary wavenumbers, transition mode or None)")
      .def("path", &path_py, py::arg("symbols"), py::arg("start"), py::arg("end"), py::arg("images"), py::arg("spring"),
           py::arg("fmax"), py::arg("climb"), py::arg("threads"),
           "(positions m x n x 3, energies, path lengths, climbing image or None, iterations, evaluations, converged)")
      .def("irc", &irc_py, py::arg("symbols"), py::arg("positions"), py::arg("step"),
           "(positions k x n x 3, energies, signed path lengths, evaluations, both ends relaxed)");
}

}  // namespace tbrelax::python
