#pragma once
// Our own electronic solver with a hook that sees each call's Hamiltonian and may change its
// result: for tests that count evaluations, spoil one of them or report made-up overlap faults.

#include <functional>
#include <memory>
#include <string>

#include "linalg/electronic_solver.hpp"

namespace tbrelax::testing {

class hooked_solver final : public electronic_solver {
 public:
  // call counts from 1.
  using hook = std::function<void(int call, const matrix& H, electronic_result& out)>;
  explicit hooked_solver(hook after) : after_(std::move(after)) {}
  std::string name() const override { return "hooked"; }
  void solve(const matrix& H, const matrix& S, int electrons, electronic_result& out) override {
    inner_->solve(H, S, electrons, out);
    after_(++calls, H, out);
  }
  int calls = 0;

 private:
  std::unique_ptr<electronic_solver> inner_ = make_own_solver();
  hook after_;
};

}  // namespace tbrelax::testing
