#pragma once
// The Müller-Brown surface, the classic two-dimensional test of path and saddle searches: three
// minima joined by two first-order saddle points. Its x and y are the first two coordinates of
// one "atom"; the third sits in a harmonic well, so the optimisers see the usual 3 per atom.

#include <cmath>

#include "optimize/objective.hpp"

namespace tbrelax::testing {

class muller_brown final : public objective {
 public:
  search_point evaluate(std::vector<double> x) override {
    ++evaluations_;
    static constexpr double A[4] = {-200, -100, -170, 15}, a[4] = {-1, -1, -6.5, 0.7}, b[4] = {0, 0, 11, 0.6},
                            c[4] = {-10, -10, -6.5, 0.7}, x0[4] = {1, 0, -0.5, -1}, y0[4] = {0, 0.5, 1.5, 1};
    search_point p;
    p.force.assign(3, 0.0);
    p.value = 50 * x[2] * x[2];
    p.force[2] = -100 * x[2];
    for (int i = 0; i < 4; ++i) {
      const double dx = x[0] - x0[i], dy = x[1] - y0[i];
      const double e = A[i] * std::exp(a[i] * dx * dx + b[i] * dx * dy + c[i] * dy * dy);
      p.value += e;
      p.force[0] -= e * (2 * a[i] * dx + b[i] * dy);
      p.force[1] -= e * (b[i] * dx + 2 * c[i] * dy);
    }
    p.energy = p.value;
    p.x = std::move(x);
    return p;
  }
};

}  // namespace tbrelax::testing
