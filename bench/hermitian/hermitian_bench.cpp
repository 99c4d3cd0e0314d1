// tbrelax_bench_hermitian: one complex k-point solve against the real solve of the same order.
//
// H and S are those of a hydrogen-capped graphene flake of the benchmark (n basis functions);
// the complex pair is D H D^H, D S D^H with D = diag(exp(i theta_j)) and random phases, so that
// every element is complex while the spectrum stays the molecule's. Both solves produce every
// eigenvalue, the vectors of the occupied orbitals and P, W: the real one through the electronic
// solver, the complex one through the Hermitian solver and hermitian_densities.
// Usage: tbrelax_bench_hermitian [n [repeats [solver...]]]   (default 1500 3, every solver)

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "bench/molecules.hpp"
#include "linalg/electronic_solver.hpp"
#include "linalg/hermitian_solver.hpp"
#include "params/read_param.hpp"
#include "state/common_var.hpp"
#include "tb/assembly.hpp"

using namespace tbrelax;

namespace {

using clock_type = std::chrono::steady_clock;

double seconds(clock_type::time_point start) {
  return std::chrono::duration<double>(clock_type::now() - start).count();
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

complex_matrix with_phases(const matrix& M, const std::vector<double>& theta) {
  const int n = M.rows();
  complex_matrix C(n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      const double phase = theta[i] - theta[j];
      C.re(i, j) = M(i, j) * std::cos(phase);
      C.im(i, j) = M(i, j) * std::sin(phase);
    }
  return C;
}

}  // namespace

int main(int argc, char** argv) {
  const int size = argc > 1 ? std::stoi(argv[1]) : 1500;
  const int repeats = argc > 2 ? std::stoi(argv[2]) : 3;
  std::vector<std::string> names;
  for (int a = 3; a < argc; ++a) names.push_back(argv[a]);
  if (names.empty()) names = {"own", "lapack"};

  const bench::molecule_spec m = bench::molecule_near("flake", size);
  common_var c;
  param par;
  drive drv;
  read_param(par, drv, c);
  load_molecule(c, m.types, m.positions, m.formula);
  const int n = c.wfunc_count;
  matrix S(n), H(n);
  assemble_overlap(all_atoms, c, par, S);
  assemble_hamiltonian(all_atoms, c, par, S, H);

  std::mt19937 rng(1);
  std::uniform_real_distribution<double> angle(0, 6.283185307179586);
  std::vector<double> theta(n);
  for (double& t : theta) t = angle(rng);
  const complex_matrix Hk = with_phases(H, theta), Sk = with_phases(S, theta);
  const int occupied = occupied_count(c.el_count);
  std::vector<double> f(occupied, 2.0);
  if (c.el_count % 2) f.back() = 1.0;

  std::printf("%s, n = %d, %d occupied orbitals; median seconds of %d solves\n", m.formula.c_str(), n, occupied,
              repeats);
  for (const std::string& name : names) {
    auto real_solver = make_solver(name);
    auto complex_solver = make_hermitian_solver(name);
    if (!real_solver || !complex_solver) {
      std::printf("%-8s not in this build\n", name.c_str());
      continue;
    }
    std::vector<double> real_times, complex_times;
    electronic_result real;
    hermitian_result bloch;
    complex_matrix P, W;
    for (int r = 0; r < repeats; ++r) {
      auto start = clock_type::now();
      real_solver->solve(H, S, c.el_count, real);
      real_times.push_back(seconds(start));
      start = clock_type::now();
      complex_solver->solve(Hk, Sk, occupied, bloch);
      hermitian_densities(bloch, f, P, W);
      complex_times.push_back(seconds(start));
    }
    double gap = 0;
    for (int k = 0; k < n; ++k) gap = std::max(gap, std::abs(real.eps[k] - bloch.eps[k]));
    const double tr = median(real_times), tc = median(complex_times);
    std::printf("%-8s real %8.3f s   complex %8.3f s   ratio %5.2f   max |eps difference| %.1e eV\n", name.c_str(), tr,
                tc, tc / tr, gap);
  }
}
