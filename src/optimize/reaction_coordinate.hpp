#pragma once
// The intrinsic reaction coordinate: the steepest-descent path in mass-weighted coordinates
// from a first-order saddle point down to the minimum on each side. The path leaves the saddle
// along its transition mode and is followed by Heun's predictor-corrector, second order in the
// step: a trial step along the descent direction, then the step along the mean of the
// directions at both of its ends. Where the path levels out it is handed to L-BFGS, which
// relaxes the end to its minimum.

#include <cstdint>
#include <vector>

#include "optimize/minimise.hpp"

namespace tbrelax {

struct irc_settings {
  double step = 0.1;      // amu^1/2 angstrom along the mass-weighted path
  int max_steps = 300;    // per side
  double level = 0.05;    // eV/angstrom: below this largest force the path is relaxed as a minimum
  stop_criteria relax{0.001, 1000};  // of the relaxation of each end: tight, so that soft
                                     // torsions end where the given minima do
};

struct irc_side {
  std::vector<search_point> path;  // from the first point off the saddle down; the relaxed end last
  std::vector<double> length;      // mass-weighted arc length of each point from the saddle
  bool relaxed = false;            // the end relaxation converged
};

struct irc_result {
  irc_side forward, backward;  // forward: along +mode
  std::int64_t evaluations = 0;
};

// From the evaluated saddle point and its transition mode (Cartesian, any length and sign).
irc_result follow_irc(objective& f, const search_point& saddle, const std::vector<double>& mode, const irc_settings& s = {});

}  // namespace tbrelax
