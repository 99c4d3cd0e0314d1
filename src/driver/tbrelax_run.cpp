#include "driver/tbrelax_run.hpp"

#include "driver/relaxation.hpp"
#include "io/read_coord.hpp"
#include "io/wri_crd.hpp"
#include "params/read_param.hpp"
#include "state/coincident_atoms.hpp"
#include "state/errors.hpp"
#include "tb/working_storage.hpp"

namespace tbrelax {
namespace {

// tbrelax's reporting: output.xyz at the start of every block, one dot after it.
class report_observer final : public relaxation_observer {
 public:
  explicit report_observer(console& con) : con_(con) {}
  void block_started(int, const common_var& c, double E) override { wri_crd(c, E); }
  void block_finished(int, const common_var&, double, double) override { con_.print("."); }

 private:
  console& con_;
};

[[noreturn]] void reject(console& con, const std::string& message, const std::string& fault) {
  con.print(message);
  con.pause();
  throw input_rejected(fault, in_file("input.xyz"));
}

}  // namespace

void run_tbrelax(common_var& c, param& par, drive& drv, console& con, electronic_solver& solver,
                 std::function<void()> interruption_check) {
  read_param(par, drv, c);
  read_coord(c, con);
  if (c.at_count == 0) reject(con, "ERROR: No atoms in file input.xyz", "the file holds no atoms");
  if (auto pair = find_coincident_atoms(c)) {
    con.print("ERROR: Atoms", pair->first + 1, "and", pair->second + 1, "in file input.xyz are at the same position");
    con.pause();
    throw input_rejected("two atoms at the same position", in_file("input.xyz"));
  }
  try {
    check_memory_for(c, /*hessian=*/false);
  } catch (const out_of_memory& e) {
    con.print(std::string("ERROR: Not enough memory: ") + e.what());
    con.pause();
    throw;
  }

  con.print("geometry optimization...");
  evaluation_workspace workspace;
  const energy_model model{par, solver, con, &workspace, std::move(interruption_check)};
  report_observer observer(con);
  try {
    relax(c, drv, model, observer);
  } catch (const numerical_error&) {
    con.print("ERROR: The energy is not a finite number; the relaxation is stopped");
    con.pause();
    throw;
  }
  con.print("Optimization complete. Results are listed in output.xyz file");
  con.print("The relaxation is finished. Press any key to continue");
  con.pause();
  release_arrays(c);
}

}  // namespace tbrelax
