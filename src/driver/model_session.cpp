#include "driver/model_session.hpp"

#include "params/read_param.hpp"

namespace tbrelax {

model_session::model_session(std::unique_ptr<electronic_solver> s, std::optional<std::string> keys)
    : keyboard(keys.value_or("")),
      con(screen, keyboard, keys.has_value()),
      solver(std::move(s)),
      model{par, *solver, con, &workspace} {
  read_param(par, drv, c);
}

}  // namespace tbrelax
