#include "optimize/step_strategy.hpp"

namespace tbrelax {

const std::vector<std::string>& step_strategy_names() {
  static const std::vector<std::string> names = {"lbfgs", "plbfgs", "fire"};
  return names;
}

std::unique_ptr<step_strategy> make_step_strategy(std::string_view name) {
  if (name == "lbfgs") return make_lbfgs();
  if (name == "plbfgs") return make_preconditioned_lbfgs();
  if (name == "fire") return make_fire();
  return nullptr;
}

}  // namespace tbrelax
