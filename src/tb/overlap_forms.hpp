#pragma once
// The distance-independent part of the unequal-exponent overlap formulas. For exponents za on
// centre A and zb on centre B each of them reads
//   S(R) = scale / R^power * [ e^(-zb R) sum_n b[n] R^n - e^(-za R) sum_n a[n] R^n ],
// the closed forms in the reduced variables A = za R, B = zb R, p = (za + zb) R / 2,
// t = (za - zb)/(za + zb), k = (t + 1/t)/2 with their polynomials expanded in powers of R.
//
// For close exponents the two terms agree to many digits (k grows like 1/t; N-O p-p loses
// about eight, more near a zero of the integral), and the finite-difference forces amplify
// what is left by 1e7. The coefficients are therefore kept in double-double, from the exact
// exponents; the scale, which only multiplies the result, is a double.

#include <array>
#include <cmath>
#include <cstddef>

#include "tb/double_double.hpp"

namespace tbrelax::overlap_detail {

template <std::size_t nb, std::size_t na>
struct unequal_form {
  std::array<double_double, nb> b;  // beside e^(-zb R)
  std::array<double_double, na> a;  // beside e^(-za R)
  double scale;
  int power;
};

struct p_p_forms {
  unequal_form<5, 5> sigma;
  unequal_form<4, 4> pi;
};

// 2s-2p pairs closer than 0.2/angstrom in exponent are too ill-conditioned for the unequal
// form (with 1/t^2 in front); they use the equal-exponent form at the mean exponent instead.
inline bool s_p_takes_mean_exponent(double zs, double zp) { return std::fabs(zs - zp) < 0.2; }

// 1s (za) on A, 2s (zb) on B.
[[gnu::noinline]] unequal_form<3, 2> form_1s_2s(double za, double zb);
// 1s (za) on A, 2p-sigma (zb) on B.
[[gnu::noinline]] unequal_form<4, 3> form_1s_2p(double za, double zb);
// 2s (za) on A, 2s (zb) on B.
[[gnu::noinline]] unequal_form<3, 3> form_2s_2s(double za, double zb);
// 2s (za) on A, 2p-sigma (zb) on B.
[[gnu::noinline]] unequal_form<4, 4> form_2s_2p(double za, double zb);
// 2p (za) on A, 2p (zb) on B: sigma and pi, which share every intermediate.
[[gnu::noinline]] p_p_forms form_2p_2p(double za, double zb);

}  // namespace tbrelax::overlap_detail
