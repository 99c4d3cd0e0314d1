// The optimisers on analytic functions: where they end, how far a step may go, that L-BFGS never
// lets the value rise, and how they stop.
#include "optimize/minimise.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace tbrelax {
namespace {

// value(x) with its gradient written into g.
using analytic = std::function<double(const std::vector<double>& x, std::vector<double>& g)>;

class function_objective final : public objective {
 public:
  explicit function_objective(analytic f) : f_(std::move(f)) {}
  search_point evaluate(std::vector<double> x) override {
    ++evaluations_;
    search_point p;
    std::vector<double> g(x.size());
    p.value = p.energy = f_(x, g);
    for (double& q : g) q = -q;
    p.force = std::move(g);
    p.x = std::move(x);
    return p;
  }

 private:
  analytic f_;
};

// Records every accepted point.
class path_listener final : public step_listener {
 public:
  void step_started(int, const search_point&) override {}
  void step_finished(int, const search_point& from, const search_point& to) override {
    values.push_back(to.value);
    std::vector<double> d(to.x.size());
    for (std::size_t k = 0; k < d.size(); ++k) d[k] = to.x[k] - from.x[k];
    longest_move = std::max(longest_move, largest_atom_norm(d));
  }
  std::vector<double> values;
  double longest_move = 0;
};

// A bowl with curvatures from 0.5 to 200 eV/A^2 around (1, -2, 3, 0.5, 0, -1), two "atoms".
double bowl(const std::vector<double>& x, std::vector<double>& g) {
  const double centre[6] = {1, -2, 3, 0.5, 0, -1}, k[6] = {0.5, 3, 40, 200, 7, 1};
  double v = 0;
  for (int i = 0; i < 6; ++i) {
    v += 0.5 * k[i] * (x[i] - centre[i]) * (x[i] - centre[i]);
    g[i] = k[i] * (x[i] - centre[i]);
  }
  return v;
}

// Rosenbrock's valley in the first two coordinates, minimum at (1, 1); the third is a spectator.
double rosenbrock(const std::vector<double>& x, std::vector<double>& g) {
  const double a = 1 - x[0], b = x[1] - x[0] * x[0];
  g = {-2 * a - 400 * x[0] * b, 200 * b, 0.0};
  return a * a + 100 * b * b;
}

struct analytic_case {
  const char* method;
  const char* function;
  analytic f;
  std::vector<double> start, minimum;
  int most_steps;  // steps allowed to reach fmax 1e-6
};

class Optimiser : public ::testing::TestWithParam<analytic_case> {};

TEST_P(Optimiser, ReachesTheMinimumInFewStepsOfBoundedLength) {
  const analytic_case& t = GetParam();
  function_objective f(t.f);
  path_listener path;
  const minimisation m = minimise(f, *make_step_strategy(t.method), t.start, {1e-6, 5000}, &path);
  EXPECT_EQ(m.reason, stop_reason::converged);
  EXPECT_LE(m.steps, t.most_steps);
  for (std::size_t k = 0; k < t.minimum.size(); ++k) EXPECT_NEAR(m.end.x[k], t.minimum[k], 1e-5) << k;
  EXPECT_LE(path.longest_move, max_atom_step * (1 + 1e-12));
  if (std::string(t.method) != "fire") {
    for (std::size_t k = 1; k < path.values.size(); ++k) EXPECT_LE(path.values[k], path.values[k - 1]) << k;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Analytic, Optimiser,
    ::testing::Values(analytic_case{"lbfgs", "bowl", bowl, {0, 0, 0, 0, 0, 0}, {1, -2, 3, 0.5, 0, -1}, 60},
                      analytic_case{"fire", "bowl", bowl, {0, 0, 0, 0, 0, 0}, {1, -2, 3, 0.5, 0, -1}, 1000},
                      // Without a model of the Hessian, the preconditioned L-BFGS is the plain one.
                      analytic_case{"plbfgs", "bowl", bowl, {0, 0, 0, 0, 0, 0}, {1, -2, 3, 0.5, 0, -1}, 60},
                      // Steps of 1e-5: the curvature record must judge a step pair by its
                      // angle, not its size, or L-BFGS falls back to steepest descent.
                      analytic_case{"lbfgs", "bowl_nearby", bowl,
                                    {1 + 1e-5, -2 - 1e-5, 3 + 1e-5, 0.5 - 1e-5, 1e-5, -1 + 1e-5},
                                    {1, -2, 3, 0.5, 0, -1}, 30},
                      analytic_case{"lbfgs", "rosenbrock", rosenbrock, {-1.2, 1, 0}, {1, 1, 0}, 200},
                      analytic_case{"fire", "rosenbrock", rosenbrock, {-1.2, 1, 0}, {1, 1, 0}, 5000}),
    [](const auto& info) { return std::string(info.param.method) + "_" + info.param.function; });

// The bowl with its exact Hessian as the preconditioner: the first step is Newton's and lands
// on the minimum, where plain L-BFGS needs several.
class bowl_with_model final : public objective {
 public:
  search_point evaluate(std::vector<double> x) override {
    ++evaluations_;
    search_point p;
    std::vector<double> g(x.size());
    p.value = p.energy = bowl(x, g);
    for (double& q : g) q = -q;
    p.force = std::move(g);
    p.x = std::move(x);
    return p;
  }
  std::vector<double> preconditioner_at(const search_point&) override {
    std::vector<double> H(36, 0.0);
    const double k[6] = {0.5, 3, 40, 200, 7, 1};
    for (int i = 0; i < 6; ++i) H[7 * i] = k[i];
    return H;
  }
};

TEST(Optimiser, PreconditionedByTheExactHessianLandsInOneStep) {
  const std::vector<double> near = {1.1, -2.05, 2.9, 0.52, 0.1, -0.95};
  bowl_with_model exact, plain;
  const minimisation newton = minimise(exact, *make_preconditioned_lbfgs(), near, {1e-6, 100});
  const minimisation secant = minimise(plain, *make_lbfgs(), near, {1e-6, 100});
  EXPECT_EQ(newton.steps, 1);
  EXPECT_EQ(exact.evaluations(), 2);
  EXPECT_GT(secant.steps, 5);
}

TEST(Optimiser, StopsAtOnceWhereNothingPulls) {
  for (const std::string& method : step_strategy_names()) {
    function_objective f([](const std::vector<double>&, std::vector<double>& g) {
      std::fill(g.begin(), g.end(), 0.0);
      return 0.0;
    });
    const minimisation m = minimise(f, *make_step_strategy(method), {0, 0, 0, 1, 1, 1}, {});
    EXPECT_EQ(m.reason, stop_reason::converged);
    EXPECT_EQ(m.steps, 0);
    EXPECT_EQ(f.evaluations(), 1);
  }
}

TEST(Optimiser, StepLimitAndForcesThatPointUphill) {
  function_objective far(bowl);
  const minimisation limited = minimise(far, *make_lbfgs(), {0, 0, 0, 0, 0, 0}, {1e-6, 3});
  EXPECT_EQ(limited.reason, stop_reason::step_limit);
  EXPECT_EQ(limited.steps, 3);
  // Forces pointing away from the minimum of |x|^2: no step lowers the value, and L-BFGS stays put.
  function_objective liar([](const std::vector<double>& x, std::vector<double>& g) {
    for (std::size_t k = 0; k < x.size(); ++k) g[k] = -x[k];
    return dot(x, x);
  });
  const minimisation stalled = minimise(liar, *make_lbfgs(), {0.3, 0.1, 0.2}, {1e-6, 100});
  EXPECT_EQ(stalled.reason, stop_reason::stalled);
  EXPECT_EQ(stalled.steps, 0);
  EXPECT_EQ(stalled.end.x, (std::vector<double>{0.3, 0.1, 0.2}));
}

}  // namespace
}  // namespace tbrelax
