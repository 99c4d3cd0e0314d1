#include "bench/measure.hpp"

#include <algorithm>
#include <chrono>
#include <stdexcept>

#ifdef _OPENMP
#include <omp.h>
#endif

#include "bench/heap_tracking.hpp"
#include "driver/model_session.hpp"
#include "driver/relaxation.hpp"
#include "tb/assembly.hpp"

#ifdef TBRELAX_HAVE_LAPACK
#include "linalg/backends/lapack/lapack_solver.hpp"
#endif

namespace tbrelax::bench {
namespace {

using clock_type = std::chrono::steady_clock;

// A session for one solver, holding the molecule.
std::unique_ptr<model_session> session_for(const molecule_spec& m, const std::string& name) {
  auto solver = make_solver(name);
  if (!solver) throw std::invalid_argument("this build offers no solver '" + name + "'");
  auto s = std::make_unique<model_session>(std::move(solver));
  load_molecule(s->c, m.types, m.positions, m.formula);
  return s;
}

void use_threads(int threads) {
#ifdef _OPENMP
  if (threads > 0) omp_set_num_threads(threads);
#else
  (void)threads;
#endif
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  const std::size_t h = v.size() / 2;
  return v.size() % 2 ? v[h] : 0.5 * (v[h - 1] + v[h]);
}

}  // namespace

int default_threads() {
#ifdef _OPENMP
  return omp_get_max_threads();
#else
  return 1;
#endif
}

evaluation_figures time_evaluations(const molecule_spec& m, const std::string& solver, int threads, int repeats) {
  const int threads_before = default_threads();
  use_threads(threads);
  const auto session = session_for(m, solver);
  model_session& s = *session;
  const energy_model& model = s.model;
  evaluation_figures f;
  f.family = m.family;
  f.formula = m.formula;
  f.solver = solver;
  f.atoms = static_cast<int>(m.types.size());
  f.basis_size = m.basis_size;
  f.threads = default_threads();
  f.repeats = repeats;
  std::vector<part_times> samples;
  for (int r = 0; r < repeats; ++r) {
    evaluation_details details;
    const std::size_t before = heap_in_use();
    reset_heap_peak();
    const auto start = clock_type::now();
    f.energy = force(s.c, model, &details);
    f.route = route_name(details.route);
    part_times t;
    t.total = std::chrono::duration<double>(clock_type::now() - start).count();
    f.peak_heap = std::max(f.peak_heap, heap_peak() - before);
    if (r == 0) f.first = t.total;
    t.assembly = details.assembly_seconds;
    t.eigen = details.solver.eigen;
    t.products = details.solver.products;
    t.densities = details.solver.densities;
    t.displacement = details.displacement_seconds;
    t.other = t.total - t.assembly - t.eigen - t.products - t.densities - t.displacement;
    samples.push_back(t);
  }
  auto median_of = [&](double part_times::*part) {
    std::vector<double> v;
    for (const part_times& t : samples) v.push_back(t.*part);
    return median(v);
  };
  for (double part_times::*part : {&part_times::total, &part_times::assembly, &part_times::eigen, &part_times::products,
                                   &part_times::densities, &part_times::displacement, &part_times::other})
    f.median.*part = median_of(part);
  use_threads(threads_before);
  return f;
}

std::optional<reference_figures> time_dsygvd_alone(const molecule_spec& m, int threads, int repeats) {
#ifdef TBRELAX_HAVE_LAPACK
  const int threads_before = default_threads();
  use_threads(threads);
  model_session s(make_own_solver());
  load_molecule(s.c, m.types, m.positions, m.formula);
  matrix S(s.c.wfunc_count), H(s.c.wfunc_count);
  assemble_overlap(all_atoms, s.c, s.par, S);
  assemble_hamiltonian(all_atoms, s.c, s.par, S, H);
  std::vector<double> seconds;
  for (int r = 0; r < repeats; ++r) seconds.push_back(time_dsygvd(H, S));
  reference_figures f{m.family, m.formula, m.basis_size, default_threads(), repeats, median(seconds)};
  use_threads(threads_before);
  return f;
#else
  (void)m, (void)threads, (void)repeats;
  return std::nullopt;
#endif
}

relaxation_figures time_relaxation(const molecule_spec& m, const std::string& solver, int threads) {
  const int threads_before = default_threads();
  use_threads(threads);
  const auto session = session_for(m, solver);
  model_session& s = *session;
  silent_observer observer;
  const auto start = clock_type::now();
  const relaxation_result r = relax(s.c, s.drv, s.model, observer);
  relaxation_figures f{m.formula, solver, static_cast<int>(m.types.size()), m.basis_size, default_threads(),
                       r.blocks, r.evaluations, std::chrono::duration<double>(clock_type::now() - start).count(), r.E};
  use_threads(threads_before);
  return f;
}

}  // namespace tbrelax::bench
