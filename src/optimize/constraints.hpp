#pragma once
// What a relaxation holds fixed or pulls, and the molecule as an objective with those
// constraints applied: this is the one place where they act, never inside a step strategy.

#include <string>
#include <vector>

#include "optimize/objective.hpp"
#include "state/common_var.hpp"
#include "tb/force.hpp"
#include "tb/pulling.hpp"

namespace tbrelax {

struct constraints {
  std::vector<int> fixed;            // atoms (from 0) that never move
  std::vector<pulling_pair> pulls;   // atoms from 1, as the model counts them
};

// The first fault of the constraints on a molecule of `at_count` atoms, as a sentence for the
// user that names atoms from 1: an atom out of range, a pair naming one atom twice, a
// non-finite force, every atom fixed. Empty when there is none.
std::string constraint_fault(const constraints& k, int at_count);

// The molecule's binding energy less the pulling potentials, sum of -F |r_b - r_a|, with
// forces that include the pulling pairs; fixed atoms keep their coordinates to the bit and
// show no force. Each evaluation is a checked one (numerical_error on a non-finite result).
class molecule_objective final : public objective {
 public:
  molecule_objective(common_var& c, const energy_model& model, constraints k);
  std::vector<double> positions() const;
  search_point evaluate(std::vector<double> x) override;
  // The model's masses, the fixed coordinates and a model Hessian from the geometry; a molecule
  // without fixed atoms also leaves out its translations and rotations, which pulling pairs
  // (functions of distances) keep flat, and one with fixed atoms the rotations that leave them
  // in place.
  curvature_space curvature_space_at(const search_point& at) override;
  // The model Hessian plus a small multiple of the identity (which makes the rigid motions
  // definite), fixed coordinates decoupled with a stiff diagonal so that no step moves them.
  std::vector<double> preconditioner_at(const search_point& at) override;
  // Puts the point's coordinates and forces into the molecular state, for observers and output.
  void publish(const search_point& p);

 private:
  common_var& c_;
  const energy_model& model_;
  constraints k_;
  std::vector<double> model_of(const search_point& at) const;
  // With fixed atoms: the rotations that leave every fixed atom in place (mass-weighted,
  // orthonormal), flat directions a curvature check leaves out.
  std::vector<std::vector<double>> rotations_about_fixed_atoms(const search_point& at,
                                                               const std::vector<double>& mass) const;

  std::vector<double> start_;       // the coordinates before the relaxation
  std::vector<bool> fixed_;         // per coordinate
};

}  // namespace tbrelax
