// Limited-memory BFGS: the step is the inverse-Hessian estimate of the last few steps applied
// to the forces, followed by a backtracking line search that accepts a point only when the
// function has dropped (sufficient decrease), so the energy never rises by more than rounding.
// Preconditioned, the estimate grows from the objective's model Hessian instead of a multiple
// of the identity: soft torsions and stiff bonds get steps of their own size from the start.

#include <algorithm>
#include <cmath>
#include <deque>
#include <optional>

#include "optimize/step_strategy.hpp"

namespace tbrelax {
namespace {

constexpr std::size_t memory_length = 30;  // step pairs kept
// Curvature assumed before any step is known (eV/angstrom^2): a stiff bond's, so the first
// step undershoots rather than overshoots.
constexpr double initial_curvature = 70.0;
constexpr double sufficient_decrease = 1e-4;  // share of the linear prediction a step must realise
constexpr int max_trials = 8;                 // function evaluations of one line search
// A value this close above the old one counts as no rise. The energy of a molecule is a sum
// over hundreds of orbitals and pairs: displacing an atom of a 400-function flake by 1e-13
// angstrom moves it by up to 1e-14 of its size, which is its rounding; this allows a hundred times that.
constexpr double rounding = 1e-12;

// The preconditioner is rebuilt once an atom has moved this far (angstrom) since it was built:
// far enough to change which atoms the model's decaying terms bind.
constexpr double rebuild_distance = 0.1;

// The Cholesky factor L (lower, row-major) of a symmetric positive definite matrix, and
// solutions of L L^T x = b. Empty when the matrix is not positive definite.
class cholesky {
 public:
  cholesky() = default;
  cholesky(std::vector<double> A, std::size_t n) : n_(n), L_(std::move(A)) {
    for (std::size_t j = 0; j < n_; ++j) {
      double d = L_[j * n_ + j];
      for (std::size_t k = 0; k < j; ++k) d -= L_[j * n_ + k] * L_[j * n_ + k];
      if (!(d > 0)) {
        L_.clear();
        return;
      }
      d = std::sqrt(d);
      L_[j * n_ + j] = d;
      for (std::size_t i = j + 1; i < n_; ++i) {
        double s = L_[i * n_ + j];
        const double* li = &L_[i * n_];
        const double* lj = &L_[j * n_];
        for (std::size_t k = 0; k < j; ++k) s -= li[k] * lj[k];
        L_[i * n_ + j] = s / d;
      }
    }
  }
  bool usable() const { return !L_.empty(); }
  std::vector<double> solve(std::vector<double> b) const {
    for (std::size_t i = 0; i < n_; ++i) {
      for (std::size_t k = 0; k < i; ++k) b[i] -= L_[i * n_ + k] * b[k];
      b[i] /= L_[i * n_ + i];
    }
    for (std::size_t i = n_; i-- > 0;) {
      for (std::size_t k = i + 1; k < n_; ++k) b[i] -= L_[k * n_ + i] * b[k];
      b[i] /= L_[i * n_ + i];
    }
    return b;
  }

 private:
  std::size_t n_ = 0;
  std::vector<double> L_;
};

struct pair_memory {
  std::vector<double> s, y;  // step and change of the gradient
  double rho;                // 1 / (s . y)
};

class lbfgs final : public step_strategy {
 public:
  explicit lbfgs(bool preconditioned) : preconditioned_(preconditioned) {}

  bool step(objective& f, search_point& p) override {
    if (preconditioned_) refresh_preconditioner(f, p);
    for (;;) {
      const bool fresh = memory_.empty();
      std::vector<double> d = fresh ? steepest(p.force) : direction(p.force);
      double slope = -dot(p.force, d);  // derivative of the value along d
      if (!fresh && !(all_finite(d) && slope < 0)) {
        // An uphill or broken direction: the curvature record misleads; start it afresh.
        memory_.clear();
        continue;
      }
      if (!(slope < 0)) return false;
      const double longest = largest_atom_norm(d);
      if (longest > max_atom_step) {
        const double shrink = max_atom_step / longest;
        for (double& q : d) q *= shrink;
        slope *= shrink;
      }
      if (std::optional<search_point> next = line_search(f, p, d, slope)) {
        remember(p, *next);
        p = std::move(*next);
        return true;
      }
      if (fresh) return false;
      memory_.clear();
    }
  }

 private:
  void refresh_preconditioner(objective& f, const search_point& p) {
    if (!built_at_.empty()) {
      std::vector<double> moved(p.x.size());
      for (std::size_t k = 0; k < moved.size(); ++k) moved[k] = p.x[k] - built_at_[k];
      if (largest_atom_norm(moved) < rebuild_distance) return;
    }
    built_at_ = p.x;
    std::vector<double> model = f.preconditioner_at(p);
    precondition_ = model.empty() ? cholesky() : cholesky(std::move(model), p.x.size());
  }

  std::vector<double> steepest(const std::vector<double>& force) const {
    if (precondition_.usable()) return precondition_.solve(force);
    std::vector<double> d(force.size());
    for (std::size_t k = 0; k < d.size(); ++k) d[k] = force[k] / initial_curvature;
    return d;
  }

  // Minus the inverse-Hessian estimate times the gradient (the two-loop recursion), scaled by
  // the curvature of the latest pair.
  std::vector<double> direction(const std::vector<double>& force) const {
    std::vector<double> q(force.size());
    for (std::size_t k = 0; k < q.size(); ++k) q[k] = -force[k];
    std::vector<double> alpha(memory_.size());
    for (std::size_t i = memory_.size(); i-- > 0;) {
      const pair_memory& m = memory_[i];
      alpha[i] = m.rho * dot(m.s, q);
      for (std::size_t k = 0; k < q.size(); ++k) q[k] -= alpha[i] * m.y[k];
    }
    if (precondition_.usable()) {
      q = precondition_.solve(std::move(q));
    } else {
      const pair_memory& last = memory_.back();
      const double gamma = 1.0 / (last.rho * dot(last.y, last.y));
      for (double& v : q) v *= gamma;
    }
    for (std::size_t i = 0; i < memory_.size(); ++i) {
      const pair_memory& m = memory_[i];
      const double beta = m.rho * dot(m.y, q);
      for (std::size_t k = 0; k < q.size(); ++k) q[k] += (alpha[i] - beta) * m.s[k];
    }
    for (double& v : q) v = -v;
    return q;
  }

  // Tries p + t d from t = 1 down; each retry minimises the parabola through the value and
  // slope at p and the value at the failed trial, kept within [0.1 t, 0.5 t].
  static std::optional<search_point> line_search(objective& f, const search_point& p, const std::vector<double>& d,
                                                 double slope) {
    const double allowance = rounding * std::max(1.0, std::abs(p.value));
    double t = 1.0;
    for (int trial = 0; trial < max_trials; ++trial) {
      std::vector<double> x(p.x.size());
      for (std::size_t k = 0; k < x.size(); ++k) x[k] = p.x[k] + t * d[k];
      search_point q = f.evaluate(std::move(x));
      if (q.value <= p.value + sufficient_decrease * t * slope + allowance) return q;
      const double curvature = (q.value - p.value - slope * t) / (t * t);
      const double best = curvature > 0 ? -slope / (2 * curvature) : 0.5 * t;
      t = std::clamp(best, 0.1 * t, 0.5 * t);
    }
    return std::nullopt;
  }

  // Keeps the step pair when it shows positive curvature, which keeps the estimate positive
  // definite; a pair without it (a concave stretch) is left out.
  void remember(const search_point& from, const search_point& to) {
    pair_memory m{std::vector<double>(from.x.size()), std::vector<double>(from.x.size()), 0};
    for (std::size_t k = 0; k < m.s.size(); ++k) {
      m.s[k] = to.x[k] - from.x[k];
      m.y[k] = from.force[k] - to.force[k];
    }
    const double sy = dot(m.s, m.y);
    if (!(sy > 1e-12 * std::sqrt(dot(m.s, m.s) * dot(m.y, m.y)))) return;
    m.rho = 1.0 / sy;
    if (memory_.size() == memory_length) memory_.pop_front();
    memory_.push_back(std::move(m));
  }

  std::deque<pair_memory> memory_;
  bool preconditioned_;
  cholesky precondition_;
  std::vector<double> built_at_;  // where the preconditioner was built
};

}  // namespace

std::unique_ptr<step_strategy> make_lbfgs() { return std::make_unique<lbfgs>(false); }
std::unique_ptr<step_strategy> make_preconditioned_lbfgs() { return std::make_unique<lbfgs>(true); }

}  // namespace tbrelax
