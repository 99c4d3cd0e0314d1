#pragma once
// Kernels of the panel-wise Householder reduction. The matrix is held in the
// upper triangle of column-major storage with leading dimension ld; a panel is
// a set of vector pairs (u_i, q_i), i < count, stored lu apart, whose rank-two
// updates u_i q_i^T + q_i u_i^T have not yet been subtracted from the matrix.

#include <cstddef>

namespace tbrelax::eigen_detail {

// Rows a tile of the panel update reaches past its last column: panel vectors
// need this much room after their length.
inline constexpr int panel_padding = 32;

// Copies the strict lower triangle of the n x n matrix onto the upper one.
void mirror_lower(double* v, std::size_t ld, int n);

// p += A w over the columns [j0, j1) of the upper triangle (j0 even): column j
// adds its dot product with w to p[j] and w[j] times its part above the
// diagonal to p[0..j).
void multiply_columns(const double* v, std::size_t ld, int j0, int j1, const double* w, double* p);

// Subtracts the panel's updates from rows 0..j of the columns j in [j0, j1).
void update_columns(double* v, std::size_t ld, int j0, int j1, const double* u, const double* q, std::size_t lu,
                    int count);

// uw[i] = u_i . w and qw[i] = q_i . w over [0, len), for i < count.
void panel_dots(const double* u, const double* q, std::size_t lu, int count, const double* w, int len, double* uw,
                double* qw);

// x[k] -= sum_i (a[i] u_i[k] + b[i] q_i[k]) for k < len.
void subtract_panel(double* x, int len, const double* u, const double* q, std::size_t lu, int count, const double* a,
                    const double* b);

}  // namespace tbrelax::eigen_detail
