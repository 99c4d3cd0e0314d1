// tbcalc relax: each file relaxed by L-BFGS, FIRE or tbrelax's steepest descent, reported for scripts.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <ostream>

#include "batch.hpp"
#include "cell_relax.hpp"
#include "commands.hpp"
#include "common.hpp"
#include "driver/evaluation.hpp"
#include "driver/relaxation.hpp"
#include "io/text_file.hpp"
#include "io/wri_crd.hpp"
#include "io/xyz_trajectory.hpp"
#include "optimize/optimiser_run.hpp"
#include "driver/periodic_relaxation.hpp"
#include "periodic_report.hpp"
#include "state/element.hpp"

namespace tbrelax::tbcalc {
namespace {

// The comment-line pairs of a frame: its energy, the binding energy per atom output.xyz
// reports for it, and the title.
xyz_info energy_info(const common_var& c, double E) {
  xyz_info info{{"energy", full_precision(E)}, {"binding_energy", full_precision(binding_energy_per_atom(E, c.at_count))}};
  if (const std::string title = quoted_title(c); !title.empty()) info.emplace_back("title", title);
  return info;
}

// tbcalc's reporting in the shared observer: a progress line when a block or optimiser step
// ends, and trajectory frames. Steepest descent's frames are the geometries at the start of its
// blocks, with the energy tbrelax reports for them; an optimiser's are the geometries it
// reaches, from the input (step=0) to the relaxed one.
class batch_observer final : public relaxation_observer {
 public:
  batch_observer(const std::string& path, std::ostream& progress, xyz_trajectory* trajectory, bool blocks,
                 std::optional<periodic_cell> cell = std::nullopt)
      : path_(path), progress_(progress), trajectory_(trajectory), blocks_(blocks), cell_(std::move(cell)) {}

  void block_started(int block, const common_var& c, double E) override { frame(blocks_ ? block : block - 1, c, E); }

  void block_finished(int block, const common_var& c, double E_old, double E) override {
    char line[512];
    std::snprintf(line, sizeof line, ": %s %d: E = %.10f eV, dE/atom = %.3e eV, largest force = %.3e eV/Å\n",
                  unit(), block, E, (E - E_old) / c.at_count, find_largest_force(c).magnitude);
    progress_ << path_ << line << std::flush;
    steps_ = block;
  }

  void relaxation_finished(const common_var& c, double E) override { frame(steps_, c, E); }

 private:
  const char* unit() const { return blocks_ ? "block" : "step"; }

  void frame(int label, const common_var& c, double E) {
    if (!trajectory_ || label == last_frame_) return;  // a step that found no move repeats its start
    if (cell_) {
      // A periodic structure's frames carry the free energy F that the optimiser minimises.
      xyz_info info{{"free_energy", full_precision(E)}, {unit(), std::to_string(label)}};
      if (const std::string title = quoted_title(c); !title.empty()) info.emplace_back("title", title);
      trajectory_->append(xyz_frame(c, info, cell_));
      last_frame_ = label;
      return;
    }
    xyz_info info = energy_info(c, E);
    info.insert(info.begin() + 2, {unit(), std::to_string(label)});
    trajectory_->append(xyz_frame(c, info));
    last_frame_ = label;
  }

  const std::string& path_;
  std::ostream& progress_;
  xyz_trajectory* trajectory_;
  bool blocks_;  // steepest descent's blocks, or an optimiser's steps
  std::optional<periodic_cell> cell_;  // frames with a Lattice and pbc
  int steps_ = 0;
  int last_frame_ = -1;
};

std::string default_output(const std::string& input) {
  const std::filesystem::path p(input);
  return (p.parent_path() / (p.stem().string() + ".relaxed.xyz")).string();
}

struct relaxed {
  std::string output;
  int blocks = 0;  // steepest descent only
  int steps = 0;
  std::int64_t evaluations = 0;
  bool converged = true;
  double E = 0;  // at the relaxed geometry (periodic: the free energy F)
  largest_force largest;
  std::optional<periodic_setup> setup;  // the periodic model's settings where it was used
  periodic_evaluation last;             // and its evaluation at the relaxed geometry
  minimum_check_outcome check;  // not performed for sd, --no-verify, a periodic relaxation or one that did not converge
};

// A periodic structure (or a molecule at an electronic temperature) relaxed in its fixed cell
// by L-BFGS or FIRE, minimising F.
relaxed relax_periodic(calculation& calc, const std::string& path, const options& o, std::ostream& err,
                       const periodic_setup& setup) {
  common_var& c = calc.c;
  if (o.method == "sd") throw usage_fault("--method sd works with molecules at zero electronic temperature only");
  if (const std::string fault = constraint_fault(o.optimiser.limits, c.at_count); !fault.empty())
    throw usage_fault(fault);
  const std::optional<periodic_cell> cell = setup.periodic ? std::optional(setup.settings.cell) : std::nullopt;
  std::optional<xyz_trajectory> trajectory;
  if (!o.trajectory.empty() && o.writes_files) trajectory.emplace(o.trajectory);
  batch_observer observer(path, err, trajectory ? &*trajectory : nullptr, false, cell);
  const periodic_model model{calc.par, *calc.solver, setup.settings, signals::check_interruption};
  const periodic_relaxation_result run = run_periodic_optimiser(c, model, o.optimiser, observer);
  relaxed r;
  r.output = o.output.empty() ? default_output(path) : o.output;
  r.steps = run.run.steps;
  r.evaluations = run.run.evaluations;
  r.converged = run.run.reason == stop_reason::converged;
  r.E = run.run.E;
  r.largest = find_largest_force(c);
  r.setup = setup;
  r.last = run.last;
  // ASE's convention: energy is E0, free_energy is F.
  xyz_info info{{"energy", full_precision(run.last.energy_zero)}, {"free_energy", full_precision(run.last.free_energy)}};
  if (const std::string title = quoted_title(c); !title.empty()) info.emplace_back("title", title);
  if (o.writes_files) replace_file(r.output, xyz_frame(c, info, cell));
  return r;
}

relaxed relax_file(calculation& calc, const std::string& path, const options& o, std::ostream& err) {
  calc.read(path, o.tbrelax_symbols);
  if (const std::optional<periodic_setup> setup = periodic_setup_for(calc.comment, o.periodic, calc.c, calc.par))
    return relax_periodic(calc, path, o, err, *setup);
  common_var& c = calc.c;
  const bool sd = o.method == "sd";
  if (!sd)
    if (const std::string fault = constraint_fault(o.optimiser.limits, c.at_count); !fault.empty())
      throw usage_fault(fault);
  std::optional<xyz_trajectory> trajectory;
  if (!o.trajectory.empty() && o.writes_files) trajectory.emplace(o.trajectory);
  batch_observer observer(path, err, trajectory ? &*trajectory : nullptr, sd);
  relaxed r;
  r.output = o.output.empty() ? default_output(path) : o.output;
  if (sd) {
    // tbrelax's loop ends at coordinates it has not evaluated: one more evaluation gives their energy.
    const relaxation_result run = relax(c, calc.drv, calc.model, observer);
    r.blocks = run.blocks;
    r.steps = moves_per_block * run.blocks;
    r.evaluations = run.evaluations + 1;
    r.E = evaluate_finite(c, calc.model);
  } else {
    const optimiser_result run = run_optimiser(c, calc.model, o.optimiser, observer);
    r.steps = run.steps;
    r.evaluations = run.evaluations;
    r.converged = run.reason == stop_reason::converged;
    r.E = run.E;
    r.check = run.check;
  }
  r.largest = find_largest_force(c);
  if (o.writes_files) replace_file(r.output, xyz_frame(c, energy_info(c, r.E)));
  return r;
}

void human_report(std::ostream& out, const std::string& path, const common_var& c, const relaxed& r,
                  const options& o) {
  char largest[96];
  std::snprintf(largest, sizeof largest, "%.3e eV/Å on atom %d (%c)", r.largest.magnitude, r.largest.atom + 1,
                data_of(c.at_type[r.largest.atom]).symbol);
  const auto plural = [](std::int64_t k, const char* unit) {
    return std::to_string(k) + " " + unit + (k == 1 ? "" : "s");
  };
  out << path << ": ";
  if (o.method == "sd")
    out << "relaxed in " << plural(r.blocks, "block");
  else if (r.converged)
    out << "relaxed by " << o.method << " in " << plural(r.steps, "step");
  else
    out << o.method << " stopped after " << plural(r.steps, "step") << " above fmax " << o.optimiser.stop.fmax << " eV/Å";
  out << " (" << plural(r.evaluations, "evaluation") << "), written to " << r.output << '\n';
  if (r.setup) {
    out << "  cell                    " << cell_text(*r.setup) << '\n'
        << "  k-points                " << grid_text(*r.setup) << " (" << r.setup->settings.kpoints.size() << ")\n"
        << "  electronic temperature  " << r.setup->settings.electronic_temperature << " K\n"
        << "  energy E                " << energy_text(r.last.energy) << " eV\n"
        << "  free energy F           " << energy_text(r.last.free_energy) << " eV\n"
        << "  energy E0               " << energy_text(r.last.energy_zero) << " eV\n"
        << "  binding energy per atom " << energy_text(binding_energy_per_atom(r.last.energy, c.at_count)) << " eV\n"
        << "  largest force            " << largest << '\n';
    if (r.last.degenerate_edge) out << "  warning: " << degenerate_edge_warning << '\n';
    out << std::flush;
    return;
  }
  out << "  energy E                " << energy_text(r.E) << " eV\n"
      << "  binding energy per atom " << energy_text(binding_energy_per_atom(r.E, c.at_count)) << " eV\n"
      << "  largest force            " << largest << '\n';
  if (r.check.performed) {
    const minimum_check_outcome& k = r.check;
    char curvature[160];
    if (std::isnan(k.curvature))
      std::snprintf(curvature, sizeof curvature, "not estimated");
    else
      std::snprintf(curvature, sizeof curvature, "%.3f eV/(Å² amu), %.0f cm^-1", k.curvature, k.wavenumber);
    out << "  lowest curvature         " << curvature << '\n'
        << "  minimum check            " << (k.verified ? "verified" : "not verified") << ", "
        << plural(k.escapes, "escape") << " from a saddle point, " << plural(k.evaluations, "evaluation") << '\n';
  }
  out << std::flush;
}

void json_result(json_writer& json, const std::string& path, const common_var& c, const relaxed& r,
                 const options& o) {
  json_structure(json, path, c);
  json.key("output").value(r.output);
  if (o.trajectory.empty())
    json.key("trajectory").null();
  else
    json.key("trajectory").value(o.trajectory);
  json.key("method").value(o.method);
  if (o.method == "sd")
    json.key("blocks").value(r.blocks);
  else
    json.key("blocks").null();
  json.key("steps").value(r.steps);
  json.key("evaluations").value(r.evaluations);
  json.key("converged").value(r.converged);
  const minimum_check_outcome& k = r.check;
  if (k.performed) {
    json.key("minimum_verified").value(k.verified);
    json.key("lowest_curvature").value(k.curvature);
    json.key("lowest_wavenumber").value(k.wavenumber);
  } else {
    json.key("minimum_verified").null();
    json.key("lowest_curvature").null();
    json.key("lowest_wavenumber").null();
  }
  json.key("escapes").value(k.escapes);
  json.key("check_evaluations").value(k.evaluations);
  if (r.setup) {
    periodic_energy_members(json, c, *r.setup, r.last);
  } else {
    json.key("energy").value(r.E);
    json.key("binding_energy").value(binding_energy_per_atom(r.E, c.at_count));
  }
  json.key("largest_force").begin_object();
  json.key("atom").value(r.largest.atom + 1);
  json.key("magnitude").value(r.largest.magnitude);
  json.end_object();
}

}  // namespace

int run_relax(const options& o, work_sharing& group, std::ostream& out, std::ostream& err) {
  const auto distributed = distributed_step_for(o, group);
  const file_work one_file = [&](const std::string& path, std::ostream& progress, std::ostream& text, json_writer& json) {
    calculation calc(progress);
    calc.model.distributed = distributed.get();
    if (o.cell.enabled) {
      calc.read(path, o.tbrelax_symbols);
      relax_cell_file(calc, path, o, progress, text, json);
      return;
    }
    const relaxed r = relax_file(calc, path, o, progress);
    if (o.json)
      json_result(json, path, calc.c, r, o);
    else
      human_report(text, path, calc.c, r, o);
  };
  single_process together;  // a distributed run: one calculation that every process makes together
  return run_batch(o, distributed ? together : group, out, err, one_file, {"", /*own_document=*/false});
}

}  // namespace tbrelax::tbcalc
