#pragma once
// The density matrices of the occupied orbitals.

#include <vector>

#include "linalg/electronic_solver.hpp"

namespace tbrelax {

// P = sum f_k C_k C_k^T and W = sum f_k eps_k C_k C_k^T over the occupied orbitals of C
// (columns, ascending eps) for `electrons` electrons, into out.P and out.W.
void form_densities(const matrix& C, const std::vector<double>& eps, int electrons, electronic_result& out);

}  // namespace tbrelax
