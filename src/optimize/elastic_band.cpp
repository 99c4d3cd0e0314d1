#include "optimize/elastic_band.hpp"

#include <algorithm>
#include <cmath>
#include <deque>
#include <numbers>

#include "optimize/alignment.hpp"
#include "parallel/thread_batch.hpp"

namespace tbrelax {
namespace {

constexpr std::size_t memory_length = 20;
// A step after which the norm of the band force has grown more than this is taken back. Growth
// by a factor of two or so is common as images round a bend or the climbing image starts; more
// means the curvature record has sent the band where the surface is nothing like it.
constexpr double force_growth = 3.0;
// The band force is no gradient, so nothing keeps the curvature record consistent: a direction
// at more than about 80 degrees to the force is not followed.
constexpr double least_cosine = 0.2;
// The curvature assumed for a step without history (eV/angstrom^2), as in the relaxation.
constexpr double initial_curvature = 70.0;

double distance(const std::vector<double>& a, const std::vector<double>& b) {
  double s = 0;
  for (std::size_t k = 0; k < a.size(); ++k) s += (a[k] - b[k]) * (a[k] - b[k]);
  return std::sqrt(s);
}

// The improved tangent at image i (neighbours i - 1 and i + 1 exist), unit length.
std::vector<double> tangent(const std::vector<search_point>& p, std::size_t i) {
  const auto& prev = p[i - 1];
  const auto& here = p[i];
  const auto& next = p[i + 1];
  const double up = next.energy - here.energy, down = prev.energy - here.energy;
  double w_plus = 1, w_minus = 1;
  if (up > 0 && down < 0) {
    w_minus = 0;  // rising: the tangent points to the higher neighbour
  } else if (up < 0 && down > 0) {
    w_plus = 0;
  } else {
    // An extremum: both sides, weighted towards the higher neighbour.
    const double big = std::max(std::abs(up), std::abs(down)), small = std::min(std::abs(up), std::abs(down));
    w_plus = next.energy > prev.energy ? big : small;
    w_minus = next.energy > prev.energy ? small : big;
  }
  std::vector<double> t(here.x.size());
  for (std::size_t k = 0; k < t.size(); ++k)
    t[k] = w_plus * (next.x[k] - here.x[k]) + w_minus * (here.x[k] - prev.x[k]);
  const double n = std::sqrt(dot(t, t));
  if (n > 0)
    for (double& q : t) q /= n;
  return t;
}

// The band force on every moving image: true force across the path plus springs along it, or
// for the climbing image the true force with its part along the path reversed.
std::vector<std::vector<double>> band_forces(const std::vector<search_point>& p, double spring, int climbing,
                                             bool free_molecules) {
  std::vector<std::vector<double>> forces;
  for (std::size_t i = 1; i + 1 < p.size(); ++i) {
    const std::vector<double> t = tangent(p, i);
    const double along = dot(p[i].force, t);
    std::vector<double> f = p[i].force;
    if (static_cast<int>(i) == climbing) {
      for (std::size_t k = 0; k < f.size(); ++k) f[k] -= 2 * along * t[k];
    } else {
      const double stretch = spring * (distance(p[i + 1].x, p[i].x) - distance(p[i].x, p[i - 1].x));
      for (std::size_t k = 0; k < f.size(); ++k) f[k] += (stretch - along) * t[k];
    }
    if (free_molecules) remove_rigid_motion(f, p[i].x);
    forces.push_back(std::move(f));
  }
  return forces;
}

std::vector<double> joined(const std::vector<std::vector<double>>& parts) {
  std::vector<double> all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

int highest_moving(const std::vector<search_point>& p) {
  int best = 1;
  for (std::size_t i = 1; i + 1 < p.size(); ++i)
    if (p[i].energy > p[best].energy) best = static_cast<int>(i);
  return best;
}

struct pair_memory {
  std::vector<double> s, y;
  double rho;
};

// Minus the inverse-Hessian estimate times the gradient: the two-loop recursion on the force.
std::vector<double> lbfgs_direction(const std::deque<pair_memory>& memory, const std::vector<double>& force) {
  std::vector<double> q(force.size());
  for (std::size_t k = 0; k < q.size(); ++k) q[k] = -force[k];
  if (memory.empty()) {
    for (double& v : q) v = -v / initial_curvature;
    return q;
  }
  std::vector<double> alpha(memory.size());
  for (std::size_t i = memory.size(); i-- > 0;) {
    alpha[i] = memory[i].rho * dot(memory[i].s, q);
    for (std::size_t k = 0; k < q.size(); ++k) q[k] -= alpha[i] * memory[i].y[k];
  }
  const double gamma = 1.0 / (memory.back().rho * dot(memory.back().y, memory.back().y));
  for (double& v : q) v *= gamma;
  for (std::size_t i = 0; i < memory.size(); ++i) {
    const double beta = memory[i].rho * dot(memory[i].y, q);
    for (std::size_t k = 0; k < q.size(); ++k) q[k] += (alpha[i] - beta) * memory[i].s[k];
  }
  for (double& v : q) v = -v;
  return q;
}

}  // namespace

band_result relax_band(const search_point& first, const search_point& last, std::vector<std::vector<double>> path,
                       const image_evaluator& evaluate, const band_settings& s) {
  band_result r;
  const std::size_t moving = path.size();
  std::vector<search_point> p(moving + 2);
  p.front() = first;
  p.back() = last;
  auto evaluate_all = [&](std::vector<std::vector<double>>& xs) {
    run_in_threads(moving, s.threads, [&](std::size_t i) { p[i + 1] = evaluate(i, std::move(xs[i])); });
    r.evaluations += static_cast<std::int64_t>(moving);
  };
  evaluate_all(path);
  std::deque<pair_memory> memory;
  std::vector<double> x_old, f_old;
  std::vector<search_point> before;  // the band before the last step, to go back to
  double trust = s.max_move;
  double lowest = 0;  // the smallest norm of the band force since the curvature record began
  auto band_norm = [](const std::vector<double>& f) { return std::sqrt(dot(f, f)); };
  for (;;) {
    auto forces = band_forces(p, s.spring, r.climbing, s.free_molecules);
    std::vector<double> f = joined(forces);
    if (!before.empty() && !(band_norm(f) <= force_growth * band_norm(f_old))) {
      // The step made the band force grow threefold (or not finite): the quadratic model
      // failed there. Back to the band before it, with a fresh curvature record and half the move.
      p = before;
      before.clear();
      memory.clear();
      trust = std::max(0.5 * trust, 1e-4 * s.max_move);
      forces = band_forces(p, s.spring, r.climbing, s.free_molecules);
      f = joined(forces);
      x_old.clear();
    } else if (!before.empty()) {
      trust = std::min(1.5 * trust, s.max_move);
    }
    // A slow climb of the band force, each step within the growth allowed, means the curvature
    // record leads the band astray along a soft direction: past twice the lowest norm reached
    // since the record began, it is forgotten.
    if (memory.empty()) lowest = band_norm(f);
    lowest = std::min(lowest, band_norm(f));
    if (!memory.empty() && band_norm(f) > 2 * lowest) {
      memory.clear();
      x_old.clear();
      lowest = band_norm(f);
    }
    r.largest_band_force = 0;
    for (const auto& part : forces) r.largest_band_force = std::max(r.largest_band_force, largest_atom_norm(part));
    if (s.climb && r.climbing < 0 && moving > 0 && r.largest_band_force < s.climb_from) {
      // The band has settled: the highest image climbs from here, on a force field of its own.
      r.climbing = highest_moving(p);
      memory.clear();
      x_old.clear();
      before.clear();
      continue;
    }
    if (moving == 0 || (r.largest_band_force < s.fmax && (r.climbing >= 0 || !s.climb))) {
      r.converged = true;
      break;
    }
    if (r.iterations >= s.max_iterations) break;
    std::vector<std::vector<double>> xs;
    for (std::size_t i = 1; i + 1 < p.size(); ++i) xs.push_back(p[i].x);
    const std::vector<double> x = joined(xs);
    if (!x_old.empty()) {
      pair_memory m{std::vector<double>(x.size()), std::vector<double>(x.size()), 0};
      for (std::size_t k = 0; k < x.size(); ++k) {
        m.s[k] = x[k] - x_old[k];
        m.y[k] = f_old[k] - f[k];
      }
      const double sy = dot(m.s, m.y);
      if (sy > 1e-12 * std::sqrt(dot(m.s, m.s) * dot(m.y, m.y))) {
        m.rho = 1 / sy;
        if (memory.size() == memory_length) memory.pop_front();
        memory.push_back(std::move(m));
      }
    }
    std::vector<double> d = lbfgs_direction(memory, f);
    if (!(dot(d, f) > least_cosine * std::sqrt(dot(d, d) * dot(f, f))) || !all_finite(d)) {
      memory.clear();  // the curvature record points (nearly) across the force: forget it
      d = lbfgs_direction(memory, f);
    }
    const double longest = largest_atom_norm(d);
    if (longest > trust)
      for (double& q : d) q *= trust / longest;
    x_old = x;
    f_old = f;
    before = p;
    const std::size_t per_image = first.x.size();
    for (std::size_t i = 0; i < moving; ++i)
      for (std::size_t k = 0; k < per_image; ++k) xs[i][k] += d[i * per_image + k];
    evaluate_all(xs);
    ++r.iterations;
  }
  r.images = std::move(p);
  return r;
}

std::vector<std::vector<double>> linear_path(const std::vector<double>& first, const std::vector<double>& last, int images) {
  std::vector<std::vector<double>> path;
  for (int i = 1; i <= images; ++i) {
    const double t = static_cast<double>(i) / (images + 1);
    std::vector<double> x(first.size());
    for (std::size_t k = 0; k < x.size(); ++k) x[k] = first[k] + t * (last[k] - first[k]);
    path.push_back(std::move(x));
  }
  return path;
}

namespace {

// The IDPP function of one image: sum over pairs of (d - d_target)^2 / d^4.
class idpp_objective final : public objective {
 public:
  idpp_objective(const std::vector<double>& first, const std::vector<double>& last, double t) {
    const std::size_t n = first.size() / 3;
    for (std::size_t a = 0; a < n; ++a)
      for (std::size_t b = a + 1; b < n; ++b)
        target_.push_back((1 - t) * pair_distance(first, a, b) + t * pair_distance(last, a, b));
  }
  search_point evaluate(std::vector<double> x) override {
    ++evaluations_;
    search_point p;
    p.force.assign(x.size(), 0.0);
    const std::size_t n = x.size() / 3;
    std::size_t pair = 0;
    for (std::size_t a = 0; a < n; ++a)
      for (std::size_t b = a + 1; b < n; ++b, ++pair) {
        const double d = pair_distance(x, a, b), miss = d - target_[pair], w = 1 / (d * d * d * d);
        p.value += w * miss * miss;
        const double dS_dd = 2 * w * miss - 4 * w * miss * miss / d;
        for (int k = 0; k < 3; ++k) {
          const double u = (x[3 * b + k] - x[3 * a + k]) / d;
          p.force[3 * a + k] += dS_dd * u;
          p.force[3 * b + k] -= dS_dd * u;
        }
      }
    p.energy = p.value;
    p.x = std::move(x);
    return p;
  }

 private:
  static double pair_distance(const std::vector<double>& x, std::size_t a, std::size_t b) {
    return std::hypot(x[3 * b] - x[3 * a], x[3 * b + 1] - x[3 * a + 1], x[3 * b + 2] - x[3 * a + 2]);
  }
  std::vector<double> target_;
};

}  // namespace

// Angstrom: far below any bond length, far above rounding.
constexpr double symmetry_breaking = 0.05;

std::vector<std::vector<double>> idpp_path(const std::vector<double>& first, const std::vector<double>& last, int images) {
  std::vector<idpp_objective> surfaces;
  for (int i = 1; i <= images; ++i) surfaces.emplace_back(first, last, static_cast<double>(i) / (images + 1));
  idpp_objective at_first(first, last, 0), at_last(first, last, 1);
  // A band on the interpolated-distance surfaces, springs keeping the images spread; no climbing.
  band_settings s;
  s.climb = false;
  s.spring = 1.0;  // soft: the pair potential, not the springs, should shape the path
  s.fmax = 0.01;
  s.max_iterations = 1000;
  // The straight line nudged off itself by a small fixed displacement, largest mid-way: where
  // both ends share a symmetry (a line, a plane) the pair potential alone could never leave it,
  // and atoms would be driven through each other.
  std::vector<std::vector<double>> start = linear_path(first, last, images);
  for (int i = 0; i < images; ++i) {
    const double envelope = std::sin(std::numbers::pi * (i + 1) / (images + 1));
    for (std::size_t k = 0; k < first.size(); ++k)
      start[i][k] += symmetry_breaking * envelope * std::sin(1.0 + 12.9898 * static_cast<double>(k) + 78.233 * i);
  }
  const band_result r = relax_band(at_first.evaluate(first), at_last.evaluate(last), std::move(start),
                                   [&](std::size_t i, std::vector<double> x) { return surfaces[i].evaluate(std::move(x)); }, s);
  std::vector<std::vector<double>> path;
  for (std::size_t i = 1; i + 1 < r.images.size(); ++i) path.push_back(r.images[i].x);
  return path;
}

std::vector<double> path_lengths(const std::vector<search_point>& images) {
  std::vector<double> length(images.size(), 0.0);
  for (std::size_t i = 1; i < images.size(); ++i) length[i] = length[i - 1] + distance(images[i].x, images[i - 1].x);
  return length;
}

}  // namespace tbrelax
