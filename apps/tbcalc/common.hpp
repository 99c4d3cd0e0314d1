#pragma once
// What tbcalc's commands share: the per-file setting, fault handling and pieces of output.

#include <functional>
#include <iosfwd>
#include <memory>
#include <sstream>
#include <string>

#include "../signals/interruption.hpp"
#include "cli.hpp"
#include "io/console.hpp"
#include "io/extxyz.hpp"
#include "io/json_writer.hpp"
#include "linalg/electronic_solver.hpp"
#include "parallel/work_sharing.hpp"
#include "state/common_var.hpp"
#include "state/errors.hpp"
#include "state/param.hpp"
#include "tb/force.hpp"

namespace tbrelax::tbcalc {

// One file's calculation: its state, the model constants (set at once) and an energy model
// whose console (the overlap warnings of the electronic step) writes to `err` and never waits,
// and that stops at a recorded signal.
struct calculation {
  explicit calculation(std::ostream& err);
  // Reads the structure (warnings to the console's screen) and sets the constants. Element
  // symbols count whole, or with `tbrelax_symbols` by their first character only. Throws
  // out_of_memory when an evaluation of it (and its Hessian, with `hessian`) cannot fit.
  void read(const std::string& path, bool tbrelax_symbols = false, bool hessian = false);

  common_var c;
  extxyz_comment comment;  // the title and cell of an extended-XYZ comment line
  param par;
  drive drv;
  std::istringstream no_keyboard;
  console con;
  std::unique_ptr<electronic_solver> solver = make_default_solver();
  evaluation_workspace workspace;
  energy_model model{par, *solver, con, &workspace, signals::check_interruption};
};

// With --distributed, the electronic step that every process of `group` shares; else null.
std::unique_ptr<electronic_step> distributed_step_for(const options& o, work_sharing& group);

// An option that does not fit the file it is used on (an atom the molecule does not have):
// found once the file is read, before any evaluation, and ended with the usage status.
class usage_fault final : public tb_error {
 public:
  using tb_error::tb_error;
  int status() const override { return 64; }
};

// Runs `work` for one file. A fault is written to `err` as a compiler-style message naming the
// file, and its status returned (0 when the work completes); `message`, where given, receives
// the message without the program's name.
int guarded(const std::string& path, std::ostream& err, const std::function<void()>& work,
            std::string* message = nullptr);

// The title without its blank padding, and the chemical formula (C, H, N, O; counts above 1).
std::string title_of(const common_var& c);
std::string formula_of(const common_var& c);
// "water.xyz: water, 3 atoms (H2O)", the first line of a command's report.
std::string header_line(const std::string& path, const common_var& c);

// A value in a human report: 17 significant digits, a blank where the sign of a positive is.
std::string energy_text(double v);

// The members "file", "title", "elements" and "positions" of a JSON result.
void json_structure(json_writer& json, const std::string& path, const common_var& c);

}  // namespace tbrelax::tbcalc
