// tbcalc path: the minimum-energy path between two structures by a nudged elastic band with a
// climbing image, and with --ts the saddle point converged from that image.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <ostream>
#include <thread>

#include "batch.hpp"
#include "commands.hpp"
#include "common.hpp"
#include "driver/evaluation.hpp"
#include "io/wri_crd.hpp"
#include "io/xyz_trajectory.hpp"
#include "optimize/alignment.hpp"
#include "optimize/constraints.hpp"
#include "optimize/elastic_band.hpp"
#include "optimize/saddle_search.hpp"
#include "state/element.hpp"

namespace tbrelax::tbcalc {
namespace {

std::string default_output(const std::string& input) {
  const std::filesystem::path p(input);
  return (p.parent_path() / (p.stem().string() + ".path.xyz")).string();
}

// Why the two ends cannot be the ends of one path, or "": the same atoms must come in the same
// order, since atom k of one end becomes atom k of the other.
std::string ends_fault(const common_var& a, const common_var& b) {
  if (a.c_count != b.c_count || a.h_count != b.h_count || a.n_count != b.n_count || a.o_count != b.o_count)
    return "the ends have different compositions (" + formula_of(a) + " and " + formula_of(b) + ")";
  for (int k = 0; k < a.at_count; ++k)
    if (a.at_type[k] != b.at_type[k])
      return std::string("atom ") + std::to_string(k + 1) + " is " + data_of(a.at_type[k]).symbol + " at the start but " +
             data_of(b.at_type[k]).symbol + " at the end: list the atoms of both ends in the same order";
  return "";
}

std::vector<double> positions_of(const common_var& c) {
  std::vector<double> x;
  for (int a = 0; a < c.at_count; ++a) x.insert(x.end(), {c.x[a], c.y[a], c.z[a]});
  return x;
}

struct found_path {
  std::string output;
  common_var start;
  band_result band;
  std::vector<double> lengths;
  std::int64_t evaluations = 0;  // the ends' and the band's
  bool saddle_searched = false;
  saddle_result saddle;
};

found_path path_between(const std::string& start_path, const std::string& end_path, const options& o, std::ostream& err) {
  // One calculation per image (and one per end): each thread evaluates its own.
  const int moving = o.band_images;
  std::vector<std::unique_ptr<calculation>> calcs;
  for (int i = 0; i < moving + 2; ++i) calcs.push_back(std::make_unique<calculation>(err));
  calcs.front()->read(start_path, o.tbrelax_symbols);
  calculation& end_calc = *calcs.back();
  end_calc.read(end_path, o.tbrelax_symbols);
  if (const std::string fault = ends_fault(calcs.front()->c, end_calc.c); !fault.empty())
    throw input_rejected(fault, in_file(end_path));
  for (int i = 1; i <= moving; ++i) calcs[i]->read(start_path, o.tbrelax_symbols);

  found_path r;
  r.start = calcs.front()->c;
  r.output = o.output.empty() ? default_output(start_path) : o.output;
  std::vector<std::unique_ptr<molecule_objective>> images;
  for (auto& calc : calcs) images.push_back(std::make_unique<molecule_objective>(calc->c, calc->model, constraints{}));
  const std::vector<double> first = positions_of(calcs.front()->c);
  // The end turned onto the start, so the path carries no rotation of the whole molecule.
  const std::vector<double> last = aligned(positions_of(end_calc.c), first);
  const search_point first_point = images.front()->evaluate(first), last_point = images.back()->evaluate(last);
  band_settings s = o.band;
  s.free_molecules = true;
  if (s.threads <= 0) s.threads = static_cast<int>(std::max(1u, std::min(std::thread::hardware_concurrency(), static_cast<unsigned>(moving))));
  r.band = relax_band(first_point, last_point, idpp_path(first, last, moving),
                      [&](std::size_t i, std::vector<double> x) { return images[i + 1]->evaluate(std::move(x)); }, s);
  r.lengths = path_lengths(r.band.images);
  r.evaluations = 2 + r.band.evaluations;
  if (o.band_ts && r.band.climbing >= 0) {
    r.saddle_searched = true;
    r.saddle = find_saddle(*images.front(), r.band.images[r.band.climbing].x, o.saddle);
    r.evaluations += r.saddle.evaluations;
  }
  if (o.writes_files) {
    xyz_trajectory trajectory(r.output);
    common_var& c = calcs.front()->c;
    for (std::size_t i = 0; i < r.band.images.size(); ++i) {
      images.front()->publish(r.band.images[i]);
      xyz_info info{{"energy", full_precision(r.band.images[i].energy)},
                    {"binding_energy", full_precision(binding_energy_per_atom(r.band.images[i].energy, c.at_count))},
                    {"image", std::to_string(i)}, {"path_length", full_precision(r.lengths[i])}};
      if (static_cast<int>(i) == r.band.climbing) info.emplace_back("climbing", "T");
      if (const std::string title = quoted_title(c); !title.empty()) info.emplace_back("title", title);
      trajectory.append(xyz_frame(c, info));
    }
  }
  return r;
}

double barrier(const found_path& r, bool forward) {
  if (r.band.climbing < 0) return std::nan("");
  const double top = r.saddle_searched && r.saddle.converged ? r.saddle.end.energy : r.band.images[r.band.climbing].energy;
  return top - (forward ? r.band.images.front().energy : r.band.images.back().energy);
}

void human_report(std::ostream& out, const std::string& start, const std::string& end, const found_path& r,
                  const options& o) {
  const band_result& b = r.band;
  char line[200];
  out << header_line(start, r.start) << " -> " << end << '\n'
      << "nudged elastic band of " << b.images.size() - 2 << " images: "
      << (b.converged ? "converged in " : "stopped after ") << b.iterations << " iterations ("
      << b.evaluations << " evaluations of the images), written to " << r.output << '\n'
      << " image        path/Å         energy/eV  E - E(start)/eV  band force/(eV/Å)\n";
  for (std::size_t i = 0; i < b.images.size(); ++i) {
    std::snprintf(line, sizeof line, "%6zu  %12.6f  %16.10f  %15.6f  %17.3e%s\n", i, r.lengths[i], b.images[i].energy,
                  b.images[i].energy - b.images.front().energy,
                  i == 0 || i + 1 == b.images.size() ? 0.0 : largest_atom_norm(b.images[i].force),
                  static_cast<int>(i) == b.climbing ? "  climbing" : "");
    out << line;
  }
  if (b.climbing >= 0) {
    std::snprintf(line, sizeof line, "barrier: %.6f eV forward, %.6f eV reverse (climbing image %d)\n",
                  b.images[b.climbing].energy - b.images.front().energy, b.images[b.climbing].energy - b.images.back().energy,
                  b.climbing);
    out << line;
  }
  if (r.saddle_searched) {
    const saddle_result& s = r.saddle;
    std::snprintf(line, sizeof line, "saddle point by P-RFO from the climbing image: %s in %d step%s (%lld evaluations), "
                  "E = %.10f eV, barrier %.6f eV forward, %.6f eV reverse\n",
                  s.converged ? "converged" : "not converged", s.steps, s.steps == 1 ? "" : "s", static_cast<long long>(s.evaluations), s.end.energy,
                  barrier(r, true), barrier(r, false));
    out << line;
  }
  (void)o;
  out << std::flush;
}

void json_result(json_writer& json, const std::string& start, const std::string& end, const found_path& r) {
  const band_result& b = r.band;
  json_structure(json, start, r.start);
  json.key("end_file").value(end);
  json.key("output").value(r.output);
  json.key("images").value(static_cast<int>(b.images.size()) - 2);
  json.key("iterations").value(b.iterations);
  json.key("evaluations").value(r.evaluations);
  json.key("band_evaluations").value(b.evaluations);
  json.key("converged").value(b.converged);
  json.key("largest_band_force").value(b.largest_band_force);
  if (b.climbing >= 0) {
    json.key("climbing_image").value(b.climbing);
    json.key("climbing_energy").value(b.images[b.climbing].energy);
  } else {
    json.key("climbing_image").null();
    json.key("climbing_energy").null();
  }
  json.key("barrier_forward").value(barrier(r, true));
  json.key("barrier_reverse").value(barrier(r, false));
  json.key("profile").begin_array();
  for (std::size_t i = 0; i < b.images.size(); ++i) {
    json.begin_object();
    json.key("path_length").value(r.lengths[i]);
    json.key("energy").value(b.images[i].energy);
    json.end_object();
  }
  json.end_array();
  if (r.saddle_searched) {
    json.key("saddle").begin_object();
    json.key("converged").value(r.saddle.converged);
    json.key("steps").value(r.saddle.steps);
    json.key("evaluations").value(r.saddle.evaluations);
    json.key("energy").value(r.saddle.end.energy);
    json.key("negative_curvatures").value(r.saddle.negative_curvatures);
    json.key("positions").begin_array();
    for (std::size_t k = 0; k + 2 < r.saddle.end.x.size(); k += 3)
      json.numbers({r.saddle.end.x[k], r.saddle.end.x[k + 1], r.saddle.end.x[k + 2]});
    json.end_array();
    json.end_object();
  } else {
    json.key("saddle").null();
  }
}

}  // namespace

int run_path(const options& o, work_sharing& group, std::ostream& out, std::ostream& err) {
  const std::string end = o.files.back();
  options first = o;
  first.files.resize(1);
  const file_work one_path = [&](const std::string& path, std::ostream& progress, std::ostream& text, json_writer& json) {
    const found_path r = path_between(path, end, o, progress);
    if (o.json)
      json_result(json, path, end, r);
    else
      human_report(text, path, end, r, o);
  };
  return run_batch(first, group, out, err, one_path, {"", /*own_document=*/true});
}

}  // namespace tbrelax::tbcalc
