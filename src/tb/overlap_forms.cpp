#include "tb/overlap_forms.hpp"

#include <cmath>
#include <numbers>

namespace tbrelax::overlap_detail {
namespace {

using dd = double_double;

// k = (t + 1/t)/2 = (za^2 + zb^2) / ((za + zb)(za - zb)), and 1 + k = 2 za^2 / (...),
// 1 - k = -2 zb^2 / (...): one division, no cancellation, from sums and products that are
// exact in double-double.
struct reduced {
  dd k, kp, km;  // k, 1 + k, 1 - k
  double t;      // rounded: only the scale uses it
  double mean;   // (za + zb)/2, so that p = mean R
};

reduced reduce(double za, double zb) {
  const dd za2 = two_prod(za, za), zb2 = two_prod(zb, zb);
  const dd w = dd{1.0, 0.0} / (two_sum(za, zb) * two_sum(za, -zb));
  return {(za2 + zb2) * w, 2.0 * za2 * w, -2.0 * zb2 * w, (za - zb) / (za + zb), 0.5 * (za + zb)};
}

// Turns coefficients of powers of z R (A or B) into coefficients of powers of R.
template <std::size_t n>
std::array<dd, n> times_powers(std::array<dd, n> c, double z) {
  dd zn{z, 0.0};
  for (std::size_t i = 1; i < n; ++i) {
    c[i] = c[i] * zn;
    zn = zn * z;
  }
  return c;
}

template <std::size_t nb, std::size_t na>
unequal_form<nb, na> make_form(double za, double zb, const std::array<dd, nb>& b, const std::array<dd, na>& a,
                               double scale, int power) {
  return {times_powers(b, zb), times_powers(a, za), scale, power};
}

constexpr double sqrt3 = std::numbers::sqrt3;

}  // namespace

unequal_form<3, 2> form_1s_2s(double za, double zb) {
  const auto [k, kp, km, t, mean] = reduce(za, zb);
  const dd c0 = 2.0 * kp * km * (2.0 - 3.0 * k);
  return make_form(za, zb, std::array{c0, 4.0 * kp * km, kp}, std::array{c0, km * (1.0 - 2.0 * k)},
                   std::sqrt(1.0 - t * t) / (sqrt3 * t * mean), 1);
}

unequal_form<4, 3> form_1s_2p(double za, double zb) {
  const auto [k, kp, km, t, mean] = reduce(za, zb);
  const dd km2 = km * km, c0 = 6.0 * kp * km2;
  return make_form(za, zb, std::array{c0, c0, 4.0 * kp * km, kp}, std::array{c0, c0, 2.0 * km2},
                   -std::sqrt((1.0 + t) / (1.0 - t)) / (t * mean * mean), 2);
}

unequal_form<3, 3> form_2s_2s(double za, double zb) {
  const auto [k, kp, km, t, mean] = reduce(za, zb);
  const dd kpkm = kp * km, c0 = 2.0 * kpkm * (7.0 - 12.0 * (k * k));
  return make_form(za, zb, std::array{c0, 4.0 * kpkm * (2.0 + 3.0 * k), kp * (1.0 + 2.0 * k)},
                   std::array{c0, 4.0 * kpkm * (2.0 - 3.0 * k), km * (1.0 - 2.0 * k)},
                   std::sqrt(1.0 - t * t) / (3.0 * t * mean), 1);
}

unequal_form<4, 4> form_2s_2p(double za, double zb) {
  const auto [k, kp, km, t, mean] = reduce(za, zb);
  const dd km2 = km * km, c0 = 6.0 * kp * km2 * (3.0 + 4.0 * k);
  return make_form(za, zb, std::array{c0, c0, 4.0 * kp * km * (2.0 + 3.0 * k), kp * (1.0 + 2.0 * k)},
                   std::array{c0, c0, 2.0 * km2 * (5.0 + 6.0 * k), 2.0 * km2},
                   -std::sqrt((1.0 + t) / (1.0 - t)) / (sqrt3 * t * mean * mean), 2);
}

p_p_forms form_2p_2p(double za, double zb) {
  const auto [k, kp, km, t, mean] = reduce(za, zb);
  const dd kp2 = kp * kp, km2 = km * km, q24 = 24.0 * (kp2 * km2), q48 = 2.0 * q24;
  const double scale = 1.0 / (t * std::sqrt(1.0 - t * t) * (mean * mean * mean));
  return {make_form(za, zb, std::array{q48, q48, q24, 2.0 * kp2 * (5.0 - 6.0 * k), 2.0 * kp2},
                    std::array{q48, q48, q24, 2.0 * km2 * (5.0 + 6.0 * k), 2.0 * km2}, -scale, 3),
          make_form(za, zb, std::array{q24, q24, 12.0 * kp2 * km, 2.0 * kp2},
                    std::array{q24, q24, 12.0 * km2 * kp, 2.0 * km2}, scale, 3)};
}

}  // namespace tbrelax::overlap_detail
