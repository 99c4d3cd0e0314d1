#include "optimize/relaxed_scan.hpp"

#include "optimize/step_strategy.hpp"

namespace tbrelax {

double scan_value(const scan_settings& s, std::size_t c, int k) {
  const scanned_coordinate& q = s.coordinates[c];
  if (s.steps == 0 || k == 0) return q.from;
  if (k == s.steps) return q.to;
  return q.from + (q.to - q.from) * k / s.steps;
}

std::vector<scan_point> relaxed_scan(objective& f, std::vector<double> start, const scan_settings& s,
                                     const std::function<void(const scan_point&, int k)>& point_done) {
  std::vector<internal_coordinate> held;
  for (const scanned_coordinate& c : s.coordinates) held.push_back(c.q);
  held_coordinates constrained(f, held);
  std::vector<scan_point> points;
  std::vector<double> x = std::move(start);
  for (int k = 0; k <= s.steps; ++k) {
    scan_point p;
    for (std::size_t c = 0; c < held.size(); ++c) p.values.push_back(scan_value(s, c, k));
    constrained.hold_at(p.values);
    const std::int64_t before = constrained.evaluations();
    // L-BFGS afresh at each point: the curvature it learnt belongs to the previous value.
    const auto lbfgs = make_lbfgs();
    minimisation m = minimise(constrained, *lbfgs, x, s.stop);
    // The multipliers belong to the last point evaluated, which is the end point unless a
    // failed line search left it elsewhere: then the end is evaluated once more.
    if (m.reason == stop_reason::stalled) m.end = constrained.evaluate(m.end.x);
    p.relaxed = std::move(m.end);
    p.constraint_forces = constrained.constraint_forces();
    p.steps = m.steps;
    p.evaluations = constrained.evaluations() - before;
    p.converged = m.reason == stop_reason::converged;
    x = p.relaxed.x;
    if (point_done) point_done(p, k);
    points.push_back(std::move(p));
  }
  return points;
}

}  // namespace tbrelax
