#pragma once
// The complex eigenvectors of a Hermitian problem from those of its real embedding (see
// hermitian_solver.hpp). Each complex eigenvalue appears twice among the 2n real ones, and its
// two real vectors (x; y), (-y; x) stand for c = x + iy and ic. For a level of multiplicity m
// the 2m real vectors of its cluster span the embedding of its complex eigenspace, but in no
// particular pairing; m S-orthonormal complex vectors are chosen from the 2m candidates x + iy by
// Gram-Schmidt with pivoting (the largest remaining norm first), which cannot break down: the
// candidates' squared norms left over always add up to twice the dimension left to span.

#include <vector>

#include "linalg/hermitian_solver.hpp"
#include "linalg/matrix.hpp"

namespace tbrelax {

// Real eigenvalues within this distance (relative to the largest magnitude, at least 1) of
// their neighbour form one cluster: far above the rounding that splits the two copies of one
// complex eigenvalue, far below any splitting that matters.
inline constexpr double embedded_cluster_tolerance = 1e-10;

// The real eigenvectors that the complex vectors of every cluster up to the one holding complex
// vector `vectors` - 1 are made from, by index, ascending: one of the two of a lone level (a
// single complex level needs one), all of a degenerate cluster. Where that reaches beyond the
// `computed` lowest ones, all of those.
std::vector<int> embedded_columns(const std::vector<double>& eps2, int computed, int vectors);

// eps2: the 2n eigenvalues of the embedding, ascending; column p of Z its S2-orthonormal
// eigenvector columns[p]. Fills out.eps (n, the mean of each pair) and out.C with the vectors of
// every cluster up to the one holding complex vector `vectors` - 1. False (out.C unfinished)
// where the columns lack a vector that needs.
bool complex_from_embedding(const std::vector<double>& eps2, const matrix& Z, const std::vector<int>& columns,
                            int vectors, hermitian_result& out);

}  // namespace tbrelax
