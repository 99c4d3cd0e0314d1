#include "bench/report.hpp"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <ostream>
#include <stdexcept>
#include <thread>

#include "bench/heap_tracking.hpp"

#ifdef TBRELAX_HAVE_LAPACK
#include "linalg/backends/lapack/lapack_solver.hpp"
#endif

namespace tbrelax::bench {
namespace {

struct part {
  const char* name;
  double part_times::*member;
};
constexpr part parts[] = {{"total", &part_times::total},         {"assembly", &part_times::assembly},
                          {"eigen", &part_times::eigen},         {"products", &part_times::products},
                          {"occupy", &part_times::densities},    {"displacement", &part_times::displacement},
                          {"other", &part_times::other}};

template <class... Args>
std::string format(const char* pattern, Args... args) {
  char buffer[512];
  std::snprintf(buffer, sizeof buffer, pattern, args...);
  return buffer;
}

// The share of an evaluation outside the eigendecompositions and the products.
double rest_share(const part_times& t) { return (t.total - t.eigen - t.products) / t.total; }

double heap_in_n2(const evaluation_figures& f) {
  return static_cast<double>(f.peak_heap) / (8.0 * f.basis_size * f.basis_size);
}

std::string quoted(const std::string& s) {
  std::string q = "\"";
  for (char ch : s) {
    if (ch == '"' || ch == '\\') q += '\\';
    if (static_cast<unsigned char>(ch) < 0x20) q += ' ';
    else q += ch;
  }
  return q + "\"";
}

std::string number(double v) { return std::isfinite(v) ? format("%.6g", v) : "null"; }

std::string json_times(const part_times& t) {
  std::string s;
  for (const part& p : parts) s += (s.empty() ? "{" : ", ") + quoted(p.name) + ": " + number(t.*p.member);
  return s + "}";
}

std::string json_evaluation(const evaluation_figures& f) {
  return "{\"family\": " + quoted(f.family) + ", \"formula\": " + quoted(f.formula) + ", \"atoms\": " +
         std::to_string(f.atoms) + ", \"n\": " + std::to_string(f.basis_size) + ", \"solver\": " + quoted(f.solver) +
         ", \"threads\": " + std::to_string(f.threads) + ", \"repeats\": " + std::to_string(f.repeats) +
         ", \"energy_eV\": " + format("%.12g", f.energy) + ", \"median_seconds\": " + json_times(f.median) +
         ", \"first_seconds\": " + number(f.first) +
         ", \"rest_share\": " + number(rest_share(f.median)) + ", \"peak_heap_bytes\": " + std::to_string(f.peak_heap) +
         ", \"peak_heap_n2_doubles\": " + number(heap_in_n2(f)) + ", \"route\": " + quoted(f.route) + "}";
}

template <class T, class F>
std::string json_list(const std::vector<T>& items, F one) {
  std::string s = "[";
  for (std::size_t i = 0; i < items.size(); ++i) s += (i ? ",\n    " : "\n    ") + one(items[i]);
  return s + (items.empty() ? "]" : "\n  ]");
}

}  // namespace

std::vector<exponent_fit> fit_exponents(const std::vector<evaluation_figures>& sweep, int fit_from) {
  std::map<std::pair<std::string, std::string>, std::vector<const evaluation_figures*>> series;
  for (const evaluation_figures& f : sweep)
    if (f.basis_size >= fit_from) series[{f.family, f.solver}].push_back(&f);
  std::vector<exponent_fit> fits;
  for (const auto& [key, points] : series) {
    if (points.size() < 2) continue;
    for (const part& p : parts) {
      double sx = 0, sy = 0, sxx = 0, sxy = 0;
      int m = 0;
      for (const evaluation_figures* f : points) {
        const double t = f->median.*p.member;
        if (!(t > 0)) continue;
        const double x = std::log(f->basis_size), y = std::log(t);
        sx += x, sy += y, sxx += x * x, sxy += x * y, ++m;
      }
      if (m < 2) continue;
      fits.push_back({key.first, key.second, p.name, (m * sxy - sx * sy) / (m * sxx - sx * sx), m});
    }
  }
  return fits;
}

std::string machine_description() {
  std::string cpu = "unknown processor";
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);)
    if (line.rfind("model name", 0) == 0 && line.find(':') != std::string::npos) {
      cpu = line.substr(line.find(':') + 2);
      break;
    }
  std::string d = cpu + ", " + std::to_string(std::thread::hardware_concurrency()) + " logical cores, " +
                  std::to_string(default_threads()) + " OpenMP threads, compiler " + __VERSION__;
#ifdef TBRELAX_HAVE_LAPACK
  d += ", " + lapack_description();
#endif
  return d;
}

std::string load_average() {
  std::ifstream in("/proc/loadavg");
  std::string one, five, fifteen;
  if (!(in >> one >> five >> fifteen)) return "unknown";
  return one + " " + five + " " + fifteen;
}

void print_evaluation_header(std::ostream& out) {
  out << format("%-7s %-10s %5s %5s %-7s %3s %9s %9s %9s %9s %9s %9s %9s %6s %7s %6s %s\n", "family", "formula",
                "atoms", "n", "solver", "thr", "total/s", "assembly", "eigen", "products", "occupy", "displace", "other",
                "rest%", "heap/n2", "first", "route");
}

void print_evaluation(std::ostream& out, const evaluation_figures& f) {
  const part_times& t = f.median;
  out << format("%-7s %-10s %5d %5d %-7s %3d %9.4f %9.4f %9.4f %9.4f %9.4f %9.4f %9.4f %6.1f %7.2f %6.2f %s\n",
                f.family.c_str(), f.formula.c_str(), f.atoms, f.basis_size, f.solver.c_str(), f.threads, t.total,
                t.assembly, t.eigen, t.products, t.densities, t.displacement, t.other, 100 * rest_share(t),
                heap_in_n2(f), f.first / t.total, f.route.c_str())
      << std::flush;
}

void print_reference(std::ostream& out, const reference_figures& f) {
  out << format("%-7s %-10s %5s %5d %-7s %3d %9.4f   (LAPACK's generalised eigensolver alone)\n", f.family.c_str(),
                f.formula.c_str(), "", f.basis_size, "dsygvd", f.threads, f.seconds)
      << std::flush;
}

void print_summary(std::ostream& out, const results& r, const options& o) {
  if (!r.exponents.empty()) {
    out << "\nFitted exponent p of t ~ n^p over n >= " << o.fit_from << ":\n"
        << format("%-7s %-7s %6s", "family", "solver", "points");
    for (const part& p : parts) out << format(" %12s", p.name);
    out << '\n';
    for (std::size_t i = 0; i < r.exponents.size();) {
      const exponent_fit& first = r.exponents[i];
      out << format("%-7s %-7s %6d", first.family.c_str(), first.solver.c_str(), first.points);
      for (const part& p : parts) {
        if (i < r.exponents.size() && r.exponents[i].family == first.family && r.exponents[i].solver == first.solver &&
            r.exponents[i].part == p.name)
          out << format(" %12.2f", r.exponents[i++].exponent);
        else
          out << format(" %12s", "-");
      }
      out << '\n';
    }
  }
  // Each solver against the first one, point by point.
  bool header = false;
  for (const evaluation_figures& f : r.sweep)
    for (const evaluation_figures& g : r.sweep)
      if (&f != &g && f.family == g.family && f.basis_size == g.basis_size && f.solver == r.sweep.front().solver &&
          g.solver != f.solver) {
        if (!header) out << "\nTime per evaluation against the " << f.solver << " solver:\n";
        header = true;
        out << format("  %-7s n = %5d  %s / %s = %.2f\n", f.family.c_str(), f.basis_size, f.solver.c_str(),
                      g.solver.c_str(), f.median.total / g.median.total);
      }
  if (!r.references.empty()) out << "\nWhole evaluation against dsygvd alone on the same H and S:\n";
  for (const reference_figures& x : r.references)
    for (const evaluation_figures& f : r.sweep)
      if (f.family == x.family && f.basis_size == x.basis_size)
        out << format("  %-7s n = %5d  %-7s %.2f (%s route)\n", f.family.c_str(), f.basis_size, f.solver.c_str(),
                      f.median.total / x.seconds, f.route.c_str());
  if (!r.scaling.empty()) out << "\nThreads (median time per evaluation):\n";
  for (std::size_t i = 0; i + 1 < r.scaling.size(); i += 2) {
    const evaluation_figures &one = r.scaling[i], &all = r.scaling[i + 1];
    out << format("  %-7s %-10s n = %5d  %-7s 1 thread %.4f s, %d threads %.4f s: speed-up %.2f\n", one.family.c_str(),
                  one.formula.c_str(), one.basis_size, one.solver.c_str(), one.median.total, all.threads,
                  all.median.total, one.median.total / all.median.total);
  }
  if (!r.relaxations.empty()) out << "\nWhole relaxation:\n";
  for (const relaxation_figures& x : r.relaxations)
    out << format("  %-10s n = %4d  %-7s %d threads: %lld evaluations in %d blocks, %.2f s (%.2f ms each), E = %.6f eV\n",
                  x.formula.c_str(), x.basis_size, x.solver.c_str(), x.threads, static_cast<long long>(x.evaluations),
                  x.blocks, x.seconds, 1e3 * x.seconds / static_cast<double>(x.evaluations), x.energy);
  out << format("\nPeak resident memory of the process: %.1f MiB\n", peak_resident_bytes() / 1048576.0)
      << "Load average (1, 5, 15 min) before the run " << r.load_before << ", after " << r.load_after << '\n';
}

void write_json(const std::string& path, const results& r, const options& o) {
  std::ofstream out(path);
  if (!out) throw std::runtime_error("cannot write " + path);
  std::string sizes;
  for (int n : o.sizes) sizes += (sizes.empty() ? "" : ", ") + std::to_string(n);
  out << "{\n  \"machine\": " << quoted(machine_description()) << ",\n  \"load_average_before\": "
      << quoted(r.load_before) << ",\n  \"load_average_after\": " << quoted(r.load_after) << ",\n  \"repeats\": " << o.repeats
      << ",\n  \"sizes_aimed_at\": [" << sizes << "],\n  \"fit_from\": " << o.fit_from
      << ",\n  \"evaluations\": " << json_list(r.sweep, json_evaluation)
      << ",\n  \"dsygvd_alone\": " << json_list(r.references, [](const reference_figures& x) {
           return "{\"family\": " + quoted(x.family) + ", \"formula\": " + quoted(x.formula) + ", \"n\": " +
                  std::to_string(x.basis_size) + ", \"threads\": " + std::to_string(x.threads) + ", \"repeats\": " +
                  std::to_string(x.repeats) + ", \"median_seconds\": " + number(x.seconds) + "}";
         })
      << ",\n  \"thread_scaling\": " << json_list(r.scaling, json_evaluation)
      << ",\n  \"exponents\": " << json_list(r.exponents, [](const exponent_fit& f) {
           return "{\"family\": " + quoted(f.family) + ", \"solver\": " + quoted(f.solver) + ", \"part\": " +
                  quoted(f.part) + ", \"exponent\": " + number(f.exponent) + ", \"points\": " + std::to_string(f.points) + "}";
         })
      << ",\n  \"relaxations\": " << json_list(r.relaxations, [](const relaxation_figures& x) {
           return "{\"formula\": " + quoted(x.formula) + ", \"atoms\": " + std::to_string(x.atoms) + ", \"n\": " +
                  std::to_string(x.basis_size) + ", \"solver\": " + quoted(x.solver) + ", \"threads\": " +
                  std::to_string(x.threads) + ", \"evaluations\": " + std::to_string(x.evaluations) + ", \"blocks\": " +
                  std::to_string(x.blocks) + ", \"seconds\": " + number(x.seconds) + ", \"energy_eV\": " +
                  format("%.12g", x.energy) + "}";
         })
      << ",\n  \"peak_resident_bytes\": " << peak_resident_bytes() << "\n}\n";
  if (!out) throw std::runtime_error("cannot write " + path);
}

}  // namespace tbrelax::bench
