// tbcalc relax: tbrelax's relaxation for each file, reported for scripts.
#include <cstdio>
#include <filesystem>
#include <optional>
#include <ostream>

#include "batch.hpp"
#include "commands.hpp"
#include "common.hpp"
#include "driver/evaluation.hpp"
#include "driver/relaxation.hpp"
#include "io/text_file.hpp"
#include "io/wri_crd.hpp"
#include "io/xyz_trajectory.hpp"
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

// tbcalc's reporting in the shared loop: a trajectory frame at the start of every block, one
// progress line when it ends.
class batch_observer final : public relaxation_observer {
 public:
  batch_observer(const std::string& path, std::ostream& progress, xyz_trajectory* trajectory)
      : path_(path), progress_(progress), trajectory_(trajectory) {}

  void block_started(int block, const common_var& c, double E) override {
    if (!trajectory_) return;
    xyz_info info = energy_info(c, E);
    info.insert(info.begin() + 2, {"block", std::to_string(block)});
    trajectory_->append(xyz_frame(c, info));
  }

  void block_finished(int block, const common_var& c, double E_old, double E) override {
    char line[512];
    std::snprintf(line, sizeof line, ": block %d: E = %.10f eV, dE/atom = %.3e eV, largest force = %.3e eV/Å\n", block,
                  E, (E - E_old) / c.at_count, find_largest_force(c).magnitude);
    progress_ << path_ << line << std::flush;
  }

 private:
  const std::string& path_;
  std::ostream& progress_;
  xyz_trajectory* trajectory_;
};

struct relaxed {
  std::string output;
  relaxation_result run;
  double E = 0;  // at the relaxed geometry
  largest_force largest;
};

std::string default_output(const std::string& input) {
  const std::filesystem::path p(input);
  return (p.parent_path() / (p.stem().string() + ".relaxed.xyz")).string();
}

relaxed relax_file(calculation& calc, const std::string& path, const options& o, std::ostream& err) {
  calc.read(path, o.tbrelax_symbols);
  common_var& c = calc.c;
  std::optional<xyz_trajectory> trajectory;
  if (!o.trajectory.empty()) trajectory.emplace(o.trajectory);
  batch_observer observer(path, err, trajectory ? &*trajectory : nullptr);
  relaxed r;
  r.output = o.output.empty() ? default_output(path) : o.output;
  r.run = relax(c, calc.drv, calc.model, observer);
  r.E = evaluate_finite(c, calc.model);
  r.largest = find_largest_force(c);
  replace_file(r.output, xyz_frame(c, energy_info(c, r.E)));
  return r;
}

void human_report(std::ostream& out, const std::string& path, const common_var& c, const relaxed& r) {
  char largest[96];
  std::snprintf(largest, sizeof largest, "%.3e eV/Å on atom %d (%c)", r.largest.magnitude, r.largest.atom + 1,
                data_of(c.at_type[r.largest.atom]).symbol);
  out << path << ": relaxed in " << r.run.blocks << (r.run.blocks == 1 ? " block (" : " blocks (")
      << r.run.evaluations + 1 << " evaluations), written to " << r.output << '\n'
      << "  energy E                " << energy_text(r.E) << " eV\n"
      << "  binding energy per atom " << energy_text(binding_energy_per_atom(r.E, c.at_count)) << " eV\n"
      << "  largest force            " << largest << '\n'
      << std::flush;
}

void json_result(json_writer& json, const std::string& path, const common_var& c, const relaxed& r,
                 const options& o) {
  json_structure(json, path, c);
  json.key("output").value(r.output);
  if (o.trajectory.empty())
    json.key("trajectory").null();
  else
    json.key("trajectory").value(o.trajectory);
  json.key("blocks").value(r.run.blocks);
  json.key("evaluations").value(r.run.evaluations + 1);
  json.key("energy").value(r.E);
  json.key("binding_energy").value(binding_energy_per_atom(r.E, c.at_count));
  json.key("largest_force").begin_object();
  json.key("atom").value(r.largest.atom + 1);
  json.key("magnitude").value(r.largest.magnitude);
  json.end_object();
}

}  // namespace

int run_relax(const options& o, work_sharing& group, std::ostream& out, std::ostream& err) {
  const file_work one_file = [&](const std::string& path, std::ostream& progress, std::ostream& text, json_writer& json) {
    calculation calc(progress);
    const relaxed r = relax_file(calc, path, o, progress);
    if (o.json)
      json_result(json, path, calc.c, r, o);
    else
      human_report(text, path, calc.c, r);
  };
  return run_batch(o, group, out, err, one_file, {"", /*own_document=*/false});
}

}  // namespace tbrelax::tbcalc
