// The electronic solver on our own eigensolver.

#include "linalg/canonical_orthogonalisation.hpp"
#include "linalg/densities.hpp"

namespace tbrelax {

namespace {

class own_solver final : public electronic_solver {
 public:
  std::string name() const override { return "own"; }
  void solve(const matrix& H, const matrix& S, int electrons, electronic_result& out) override {
    out.timings = {};
    enonort(out.eps, H, S, C_, out.negative_overlaps, &out.timings, &workspace_);
    form_densities(C_, out.eps, electrons, out);
  }

 private:
  // Kept between solves: a relaxation solves at one order again and again.
  matrix C_;
  orthogonalisation_workspace workspace_;
};

}  // namespace

std::unique_ptr<electronic_solver> make_own_solver() { return std::make_unique<own_solver>(); }

}  // namespace tbrelax
