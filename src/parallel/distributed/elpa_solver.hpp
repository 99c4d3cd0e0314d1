#pragma once
// H c = eps S c on block-cyclic S and H: the routes of route_solver.hpp with ScaLAPACK's
// factor, reduction and products and ELPA's eigensolver, no process ever holding a whole
// matrix. Every process gets every orbital energy; P and W stay block-cyclic.

#include <map>
#include <vector>

#include "linalg/electronic_solver.hpp"
#include "parallel/distributed/block_cyclic.hpp"

struct elpa_struct;

namespace tbrelax {

class elpa_solver {
 public:
  elpa_solver(const process_grid& grid, const block_cyclic& layout);
  ~elpa_solver();
  elpa_solver(const elpa_solver&) = delete;
  elpa_solver& operator=(const elpa_solver&) = delete;

  // S and H are this process's parts and stay unchanged; out gets eps, the negative overlap
  // eigenvalues (canonical route), the route and the timings, P and W the density matrices' parts.
  void solve(const std::vector<double>& S, const std::vector<double>& H, int electrons, electronic_result& out,
             std::vector<double>& P, std::vector<double>& W);

 private:
  bool try_cholesky(const std::vector<double>& S, const std::vector<double>& H, int electrons, electronic_result& out,
                    std::vector<double>& P);
  void solve_canonical(const std::vector<double>& S, const std::vector<double>& H, int electrons,
                       electronic_result& out);
  // Every eigenvalue of the symmetric A (destroyed) into ev, the lowest nev eigenvectors into vectors.
  void eigen(std::vector<double>& A, int nev, std::vector<double>& ev, std::vector<double>& vectors);
  // P and W from the orbitals in the first columns of C, using the scratch part; the seconds taken.
  double densities(const std::vector<double>& C, const std::vector<double>& eps, int electrons,
                 std::vector<double>& scratch, std::vector<double>& P, std::vector<double>& W);

  void mirror(std::vector<double>& M, std::vector<double>& scratch, bool from_upper) const;

  const process_grid& grid_;
  const block_cyclic& layout_;
  std::vector<double> factor_, work_, vectors_;
  std::map<int, elpa_struct*> eigensolvers_;  // by the number of vectors wanted
};

}  // namespace tbrelax
