#include "driver/relaxation.hpp"

#include <stdexcept>

#include "driver/evaluation.hpp"

namespace tbrelax {
namespace {

double evaluate(common_var& c, const energy_model& model, relaxation_result& result) {
  ++result.evaluations;
  return evaluate_finite(c, model);
}

// Every atom moves along its force: all x first, then all y, then all z.
void move_atoms(common_var& c, double step) {
  for (int a = 0; a < c.at_count; ++a) c.x[a] = c.x[a] + step * c.fx[a];
  for (int a = 0; a < c.at_count; ++a) c.y[a] = c.y[a] + step * c.fy[a];
  for (int a = 0; a < c.at_count; ++a) c.z[a] = c.z[a] + step * c.fz[a];
}

}  // namespace

relaxation_result relax(common_var& c, const drive& drv, const energy_model& model, relaxation_observer& observer) {
  if (c.at_count < 1) throw std::invalid_argument("a relaxation needs at least one atom");
  relaxation_result result;
  double E = evaluate(c, model, result);
  for (;;) {
    const double E_old = E;
    ++result.blocks;
    observer.block_started(result.blocks, c, E);
    for (int move = 0; move < moves_per_block; ++move) {
      E = evaluate(c, model, result);
      move_atoms(c, drv.step);
    }
    observer.block_finished(result.blocks, c, E_old, E);
    if (block_converged(E_old, E, c.at_count)) break;
  }
  result.E = E;
  return result;
}

}  // namespace tbrelax
