#pragma once
// The cell coordinates of a cell relaxation: the logarithm U of a symmetric deformation
// F = exp(U) of the starting cell. Equal steps in U stretch and shrink a cell alike, and the
// gradient with respect to U follows from the stress through the exact derivative of the
// matrix exponential, so a line search along U sees the slope its energies have.

#include <array>

namespace tbrelax {

using mat3 = std::array<std::array<double, 3>, 3>;

// exp(U) of a symmetric U.
mat3 symmetric_exp(const mat3& U);

// The derivative of exp at a symmetric U contracted with G: the matrix D with
// sum_kl G_kl d(exp U)_kl = sum_ij D_ij dU_ij for every change dU (D symmetric when G is).
mat3 exp_gradient(const mat3& U, const mat3& G);

}  // namespace tbrelax
