#include "tb/periodic_evaluation.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <string>

#include "linalg/canonical_orthogonalisation.hpp"
#include "linalg/hermitian_solver.hpp"
#include "linalg/products.hpp"
#include "state/element.hpp"
#include "state/errors.hpp"
#include "tb/bloch_assembly.hpp"
#include "tb/fermi_dirac.hpp"
#include "tb/lattice_pair_sums.hpp"
#include "tb/lattice_terms.hpp"
#include "tb/occupy.hpp"
#include "tb/working_storage.hpp"

namespace tbrelax {
namespace {

bool at_gamma(const kpoint& k) { return k.k[0] == 0 && k.k[1] == 0 && k.k[2] == 0; }

void refuse_negative_overlap(const std::vector<negative_overlap>& negatives, const kpoint& k) {
  if (negatives.empty()) return;
  throw numerical_error("the overlap matrix at k = (" + std::to_string(k.k[0]) + ", " + std::to_string(k.k[1]) +
                        ", " + std::to_string(k.k[2]) + ") 1/A is not positive definite (eigenvalue " +
                        std::to_string(negatives.front().value) + "): atoms too close together");
}

// Solves the Bloch problem at one k-point: band energies ascending and the eigenvectors (real
// at Gamma, in C.re alone; complex elsewhere, by the Hermitian solver).
void solve_kpoint(const common_var& c, const param& par, const std::vector<lattice_term>& terms,
                  const std::vector<pair_block>& blocks, const kpoint& k, hermitian_solver& solver,
                  std::vector<double>& bands, complex_matrix& C) {
  if (at_gamma(k)) {
    matrix S, H;
    bloch_matrices(c, par, terms, blocks, S, H);
    std::vector<negative_overlap> negatives;
    orthogonalisation_workspace workspace;
    enonort(bands, H, S, C.re, negatives, nullptr, &workspace);
    refuse_negative_overlap(negatives, k);
    return;
  }
  complex_matrix S, H;
  bloch_matrices(c, par, terms, blocks, k, S, H);
  hermitian_result result;
  try {
    solver.solve(H, S, c.wfunc_count, result);
  } catch (const numerical_error& e) {
    throw numerical_error(std::string(e.what()) + " at k = (" + std::to_string(k.k[0]) + ", " +
                          std::to_string(k.k[1]) + ", " + std::to_string(k.k[2]) + ") 1/A");
  }
  bands = std::move(result.eps);
  C = std::move(result.C);
}

// P and W of one k-point from its eigenvectors and the occupations of its bands.
void form_kpoint_densities(const std::vector<double>& bands, complex_matrix& C, const std::vector<double>& f,
                           kpoint_densities& out) {
  if (C.im.rows() == 0) {
    std::vector<double> wf(bands.size());
    for (std::size_t v = 0; v < bands.size(); ++v) wf[v] = f[v] * bands[v];
    out.P_re = matrix(C.re.rows());
    out.W_re = matrix(C.re.rows());
    weighted_outer_sum(C.re, f, out.P_re);
    weighted_outer_sum(C.re, wf, out.W_re);
    return;
  }
  hermitian_result r{bands, std::move(C)};
  const std::vector<double> occupied(f.begin(), f.begin() + std::min<std::size_t>(f.size(), r.C.cols()));
  complex_matrix P, W;
  hermitian_densities(r, occupied, P, W);
  out.P_re = std::move(P.re), out.P_im = std::move(P.im);
  out.W_re = std::move(W.re), out.W_im = std::move(W.im);
}

// The band gap over the k-points for an even electron count: the lowest level of band N/2
// anywhere minus the highest of band N/2 - 1, where positive.
std::optional<double> band_gap(const std::vector<std::vector<double>>& eps, int electrons) {
  const std::size_t top_band = std::size_t(electrons / 2);
  if (electrons % 2 != 0 || top_band == 0) return std::nullopt;
  double top = -INFINITY, bottom = INFINITY;
  for (const std::vector<double>& e : eps) {
    if (e.size() <= top_band) return std::nullopt;
    top = std::max(top, e[top_band - 1]);
    bottom = std::min(bottom, e[top_band]);
  }
  if (bottom - top > degenerate_level_tolerance) return bottom - top;
  return std::nullopt;
}

}  // namespace

std::uint64_t periodic_storage_bytes(std::int64_t basis, std::size_t kpoints) {
  const std::uint64_t n = std::uint64_t(basis);
  // Per k-point: eigenvectors of the embedding (4 n^2) until P and W (4 n^2) replace them;
  // the solve itself needs evaluation storage of order 2n.
  return std::uint64_t(kpoints) * 8 * n * n * sizeof(double) + evaluation_storage_bytes(2 * basis);
}

periodic_evaluation evaluate_periodic(common_var& c, const param& par, const periodic_settings& settings,
                                      electronic_solver& solver) {
  const int n = c.wfunc_count;
  const std::vector<kpoint>& kpoints = settings.kpoints;
  const std::size_t nk = kpoints.size();
  const double T_el = settings.electronic_temperature;
  const std::vector<lattice_term> terms = lattice_terms(c, settings.cell, par);
  const std::vector<pair_block> blocks = lattice_blocks(c, par, terms);
  const std::vector<int> offset = basis_offsets(c);

  periodic_evaluation out;
  out.lattice_terms = terms.size();
  out.molecular_filling = nk == 1 && at_gamma(kpoints[0]) && T_el == 0;
  std::vector<kpoint_densities> densities(nk);
  std::vector<std::vector<double>> f;
  std::vector<double> weights;
  for (const kpoint& k : kpoints) weights.push_back(k.weight);

  if (out.molecular_filling) {
    // Gamma at T = 0: the molecule's own route and filling.
    if (n > 0) check_memory(evaluation_storage_bytes(n), storage_purpose(c, false));
    matrix S, H;
    bloch_matrices(c, par, terms, blocks, S, H);
    electronic_result electrons;
    solver.solve(H, S, c.el_count, electrons);
    refuse_negative_overlap(electrons.negative_overlaps, kpoints[0]);
    out.eps = {electrons.eps};
    f.assign(1, std::vector<double>(n));
    for (int j = 0; j < n; ++j) f[0][j] = occupation(j, c.el_count);
    densities[0].P_re = std::move(electrons.P);
    densities[0].W_re = std::move(electrons.W);
    const int doubly = c.el_count / 2, homo = (c.el_count + 1) / 2 - 1;
    if (homo >= 0) {
      const std::vector<double>& e = out.eps[0];
      out.homo = e[homo];
      if (homo + 1 < n) out.lumo = e[homo + 1];
      out.fermi_level = out.lumo ? 0.5 * (out.homo + *out.lumo) : out.homo;
      const bool shares_up = homo + 1 < n && e[homo + 1] - e[homo] <= degenerate_level_tolerance && homo < doubly;
      const bool odd_shared = c.el_count % 2 == 1 &&
                              ((homo > 0 && e[homo] - e[homo - 1] <= degenerate_level_tolerance) ||
                               (homo + 1 < n && e[homo + 1] - e[homo] <= degenerate_level_tolerance));
      out.degenerate_edge = shares_up || odd_shared;
    }
  } else {
    check_memory(periodic_storage_bytes(n, nk),
                 "for " + std::to_string(nk) + " k-points of " + std::to_string(n) + " basis functions");
    std::vector<complex_matrix> vectors(nk);
    out.eps.resize(nk);
    std::exception_ptr failure;
#pragma omp parallel if (nk > 1)
    {
      // One solver per thread, keeping its storage from one k-point to the next.
      const std::unique_ptr<hermitian_solver> solver_k = make_hermitian_solver();
#pragma omp for schedule(dynamic, 1)
      for (std::size_t k = 0; k < nk; ++k) {
        try {
          solve_kpoint(c, par, terms, blocks, kpoints[k], *solver_k, out.eps[k], vectors[k]);
        } catch (...) {
#pragma omp critical(periodic_failure)
          if (!failure) failure = std::current_exception();
        }
      }
    }
    if (failure) std::rethrow_exception(failure);
    band_occupations occupied = occupy_bands(out.eps, weights, c.el_count, T_el);
    out.fermi_level = occupied.fermi_level;
    out.entropy = occupied.entropy;
    out.degenerate_edge = occupied.degenerate_edge;
    f = std::move(occupied.f);
#pragma omp parallel for schedule(dynamic, 1) if (nk > 1)
    for (std::size_t k = 0; k < nk; ++k) {
      form_kpoint_densities(out.eps[k], vectors[k], f[k], densities[k]);
      vectors[k] = complex_matrix();
    }
  }
  out.band_gap = band_gap(out.eps, c.el_count);

  // Repulsion: each a < b term once, each a == b term standing for T and -T with weight 1/2.
  const lattice_pair_sums sums = sum_lattice_pairs(c, par, terms, blocks, kpoints, densities, settings.stress);
  out.strain_derivative = sums.strain_derivative;
  const double repulsion = sums.repulsion;
  std::vector<double> population = sums.overlap_population;
  // On-site populations: S(0) is the unit matrix on an atom's own block.
  for (int a = 0; a < c.at_count; ++a) {
    for (int mu = offset[a]; mu < offset[a + 1]; ++mu)
      for (std::size_t k = 0; k < nk; ++k) population[a] += weights[k] * densities[k].P_re(mu, mu);
    out.charges.push_back(data_of(c.at_type[a]).valence - population[a]);
  }

  out.repulsive_energy = repulsion;
  if (out.molecular_filling) {
    out.energy = occupy(repulsion, out.eps[0], c, par);
  } else {
    double band = 0;
    for (std::size_t k = 0; k < nk; ++k) {
      double Ek = 0;
      for (int j = 0; j < n; ++j) Ek += f[k][j] * out.eps[k][j];
      band += weights[k] * Ek;
    }
    out.energy = occupy(repulsion + band, {}, c, par);
  }
  out.free_energy = out.energy - T_el * out.entropy;
  out.energy_zero = 0.5 * (out.energy + out.free_energy);

  const auto& fel = sums.electronic_force;
  const auto& frep = sums.repulsive_force;
  for (int a = 0; a < c.at_count; ++a) {
    c.felx[a] = fel[a][0], c.fely[a] = fel[a][1], c.felz[a] = fel[a][2];
    c.frepx[a] = frep[a][0], c.frepy[a] = frep[a][1], c.frepz[a] = frep[a][2];
    c.fx[a] = fel[a][0] + frep[a][0];
    c.fy[a] = fel[a][1] + frep[a][1];
    c.fz[a] = fel[a][2] + frep[a][2];
  }
  return out;
}

}  // namespace tbrelax
