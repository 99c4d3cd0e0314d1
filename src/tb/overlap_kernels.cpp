#include "tb/overlap_kernels.hpp"

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>

#include "tb/double_double_exp.hpp"

namespace tbrelax::overlap_detail {
namespace {

using dd = double_double;

template <std::size_t n>
dd horner(const std::array<dd, n>& c, double x) {
  dd v = c[n - 1];
  for (std::size_t i = n - 1; i-- > 0;) v = v * x + c[i];
  return v;
}

// The difference of the two exponential terms is the one subtraction that cancels; it is
// rounded to double only once formed.
template <std::size_t nb, std::size_t na>
double evaluate(const unequal_form<nb, na>& f, double R, dd ea, dd eb) {
  const double d = to_double(eb * horner(f.b, R) - ea * horner(f.a, R));
  double rp = R;
  for (int i = 1; i < f.power; ++i) rp *= R;
  return d * f.scale / rp;
}

// The p-sigma polynomial of equal exponents, 1 + p + p^2/5 - 2p^3/15 - p^4/15 = -f(p)/15 with
// f(p) = p^4 + 2p^3 - 3p^2 - 15p - 15, changes sign at p = 2.513. Written as
// -(p - root) g(p)/15 with the root in double-double, the value keeps full relative accuracy
// right through the zero; g (the quotient of f by p - root) has positive coefficients.
constexpr dd sigma_root = [] {
  dd x{2.513, 0.0};
  for (int it = 0; it < 8; ++it) {  // Newton's method; quadratic convergence from 1e-3
    const dd f = (((x + 2.0) * x - 3.0) * x - 15.0) * x - 15.0;
    const dd df = ((4.0 * x + 6.0) * x - 6.0) * x - 15.0;
    x = normalized(x - f / df);
  }
  return x;
}();
constexpr double sigma_g2 = to_double(sigma_root + 2.0);
constexpr double sigma_g1 = to_double(sigma_root * (sigma_root + 2.0) - 3.0);
constexpr double sigma_g0 = to_double(sigma_root * (sigma_root * (sigma_root + 2.0) - 3.0) - 15.0);

constexpr double sqrt3 = std::numbers::sqrt3;

}  // namespace

slater_shell shell_at(double zeta, double R) { return {zeta, exp_neg(two_prod(zeta, R))}; }

double overlap_1s_1s(double R, slater_shell a) {
  const double r = a.zeta * R;
  return to_double(a.decay) * (1.0 + r * (1.0 + r * (1.0 / 3)));
}

double overlap_1s_2s(double R, slater_shell a, slater_shell b, const unequal_form<3, 2>* form) {
  unequal_form<3, 2> made;
  return evaluate(form ? *form : (made = form_1s_2s(a.zeta, b.zeta)), R, a.decay, b.decay);
}

double overlap_1s_2p(double R, slater_shell a, slater_shell b, const unequal_form<4, 3>* form) {
  unequal_form<4, 3> made;
  return evaluate(form ? *form : (made = form_1s_2p(a.zeta, b.zeta)), R, a.decay, b.decay);
}

double overlap_2s_2s(double R, slater_shell a, slater_shell b, const unequal_form<3, 3>* form) {
  // Evaluated in one fixed orientation so that swapping the centres gives identical bits.
  if (a.zeta < b.zeta) std::swap(a, b);
  if (a.zeta == b.zeta) {
    const double p = a.zeta * R;
    return to_double(a.decay) * (1.0 + p * (1.0 + p * (4.0 / 9 + p * (1.0 / 9 + p * (1.0 / 45)))));
  }
  unequal_form<3, 3> made;
  return evaluate(form ? *form : (made = form_2s_2s(a.zeta, b.zeta)), R, a.decay, b.decay);
}

double overlap_2s_2p(double R, slater_shell a, slater_shell b, const unequal_form<4, 4>* form) {
  if (s_p_takes_mean_exponent(a.zeta, b.zeta)) {  // then e^(-p) = sqrt(e^(-A) e^(-B))
    const double p = to_double((two_prod(a.zeta, R) + two_prod(b.zeta, R)) * 0.5);
    const double e = std::sqrt(to_double(a.decay) * to_double(b.decay));
    return -e * (1.0 + p * (1.0 + p * (7.0 / 15 + p * (2.0 / 15)))) * (p / (2.0 * sqrt3));
  }
  unequal_form<4, 4> made;
  return evaluate(form ? *form : (made = form_2s_2p(a.zeta, b.zeta)), R, a.decay, b.decay);
}

p_p_overlaps overlap_2p_2p(double R, slater_shell a, slater_shell b, const p_p_forms* form) {
  if (a.zeta < b.zeta) std::swap(a, b);  // fixed orientation, as for 2s-2s
  if (a.zeta == b.zeta) {
    const dd pp = two_prod(a.zeta, R);
    const double p = pp.hi, e = to_double(a.decay);
    const double below_root = (pp.hi - sigma_root.hi) + (pp.lo - sigma_root.lo);  // exact near the root
    const double g = sigma_g0 + p * (sigma_g1 + p * (sigma_g2 + p));
    return {e * (below_root * g) * (-1.0 / 15), e * (1.0 + p * (1.0 + p * (2.0 / 5 + p * (1.0 / 15))))};
  }
  p_p_forms made;
  const p_p_forms& f = form ? *form : (made = form_2p_2p(a.zeta, b.zeta));
  return {evaluate(f.sigma, R, a.decay, b.decay), evaluate(f.pi, R, a.decay, b.decay)};
}

}  // namespace tbrelax::overlap_detail
