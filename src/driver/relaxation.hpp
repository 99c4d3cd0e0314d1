#pragma once
// The steepest-descent relaxation: blocks of moves x := x + step F, until the energy drop over
// a block falls below a threshold per atom. The loop touches no file and no screen: what
// happens at the start and at the end of a block is the observer's business. The optimisers
// report through the same observer, each of their steps a block of one move.

#include <cstdint>

#include "state/common_var.hpp"
#include "state/param.hpp"
#include "tb/force.hpp"

namespace tbrelax {

class relaxation_observer {
 public:
  virtual ~relaxation_observer() = default;
  // Block `block` (from 1) starts at these coordinates; E is the energy reported with them
  // (at the first block that of the input geometry, later the one evaluated before the
  // previous block's last move).
  virtual void block_started(int block, const common_var& c, double E) = 0;
  // The block's moves are done; E_old was its starting energy, E the energy of the last
  // evaluation (the forces in c are that evaluation's).
  virtual void block_finished(int block, const common_var& c, double E_old, double E) = 0;
  // The optimisers end here with the relaxed point and its energy; steepest descent, whose last
  // move is never evaluated, does not.
  virtual void relaxation_finished(const common_var&, double) {}
};

// An observer that looks away, for callers that want only the result.
class silent_observer final : public relaxation_observer {
 public:
  void block_started(int, const common_var&, double) override {}
  void block_finished(int, const common_var&, double, double) override {}
};

inline constexpr int moves_per_block = 20;
inline constexpr double convergence_threshold = 1e-6;  // eV per atom and block

struct relaxation_result {
  double E = 0;                   // energy of the last evaluation (before the last move)
  int blocks = 0;
  std::int64_t evaluations = 0;   // 20 per block plus the one at the input geometry
};

// Evaluates the input geometry, then runs blocks until (E_old - E) / at_count < 1e-6, which
// also ends a block over which the energy rose. Stops with numerical_error, before any atom
// moves, as soon as an evaluation gives a non-finite energy or force. Needs at least one atom
// (std::invalid_argument otherwise).
relaxation_result relax(common_var& c, const drive& drv, const energy_model& model, relaxation_observer& observer);

// The stop test of a block.
inline bool block_converged(double E_old, double E, std::int32_t at_count) {
  return (E_old - E) / at_count < convergence_threshold;
}

}  // namespace tbrelax
