#pragma once
// The nudged elastic band: a chain of images between two fixed end structures, each image
// moved by the true force across the path and by springs along it, the path's direction at an
// image being the improved tangent of Henkelman and Jonsson (towards the higher neighbour, so
// kinks do not form). The highest image climbs once the band has settled: the spring leaves it
// and the true force along the path is reversed, so it ends at the saddle point. The whole band
// is moved by one limited-memory BFGS without line search (the band force is no gradient),
// which needs far fewer force calls than damped dynamics.

#include <cstdint>
#include <functional>
#include <vector>

#include "optimize/objective.hpp"

namespace tbrelax {

struct band_settings {
  double spring = 5.0;       // eV/angstrom^2, between neighbouring images
  double fmax = 0.05;        // eV/angstrom: stop when no atom of an image feels more band force
  int max_iterations = 500;  // band steps (each evaluates every moving image once)
  bool climb = true;
  double climb_from = 1.0;   // eV/angstrom: the highest image starts climbing once every band force is below this
  int threads = 1;           // images evaluated at once
  double max_move = 0.2;     // angstrom: the largest move of an atom of any image in one band step
  // The images are free molecules: their band forces lose every translation and rotation, so
  // an image cannot drift or turn along the path at no cost in energy.
  bool free_molecules = false;
};

struct band_result {
  std::vector<search_point> images;  // the ends and the moving images, in order along the path
  int iterations = 0;
  std::int64_t evaluations = 0;  // of the moving images (the ends are given evaluated)
  bool converged = false;
  int climbing = -1;             // the index of the climbing image in `images`, -1 if none climbed
  double largest_band_force = 0;
};

// Evaluates moving image i (from 0) at x; called from several threads at once for different
// i when threads > 1, so each image needs a function object of its own.
using image_evaluator = std::function<search_point(std::size_t image, std::vector<double> x)>;

// Relaxes the band whose moving images start at `path` (the ends not included) between the
// evaluated ends.
band_result relax_band(const search_point& first, const search_point& last, std::vector<std::vector<double>> path,
                       const image_evaluator& evaluate, const band_settings& s);

// Images evenly spaced on the straight line between two structures (the ends not included).
std::vector<std::vector<double>> linear_path(const std::vector<double>& first, const std::vector<double>& last, int images);

// The image-dependent pair potential path of Smidstrup and co-workers: each image relaxed so
// that its interatomic distances approach the ones interpolated between the ends, weighted by
// 1/d^4 so the short ones count most. Starts from the straight line, keeps atoms apart where
// straight interpolation would make them collide.
std::vector<std::vector<double>> idpp_path(const std::vector<double>& first, const std::vector<double>& last, int images);

// The arc length along the band at each image (angstrom), from 0 at the first end.
std::vector<double> path_lengths(const std::vector<search_point>& images);

}  // namespace tbrelax
