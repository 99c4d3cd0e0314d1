#include "bench/options.hpp"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace tbrelax::bench {
namespace {

std::vector<std::string> split(const std::string& list) {
  std::vector<std::string> items;
  std::stringstream in(list);
  for (std::string item; std::getline(in, item, ',');)
    if (!item.empty()) items.push_back(item);
  return items;
}

int to_int(const std::string& option, const std::string& text, int least) {
  std::size_t used = 0;
  int value = 0;
  try {
    value = std::stoi(text, &used);
  } catch (const std::exception&) {
    used = 0;
  }
  if (used != text.size() || text.empty() || value < least)
    throw std::invalid_argument(option + " expects a whole number of at least " + std::to_string(least) + ", not '" +
                                text + "'");
  return value;
}

}  // namespace

std::string usage() {
  return "usage: tbrelax_bench [options]\n"
         "Times the energy model on hydrogen-terminated graphene flakes and alkane chains.\n"
         "  --sizes LIST        basis sizes aimed at (default 100,200,400,800,1600; 3200 on request)\n"
         "  --families LIST     flake,alkane (default both)\n"
         "  --solvers LIST      electronic solvers (default: all this build offers)\n"
         "  --threads N         threads of the size sweep (default: all OpenMP offers)\n"
         "  --scaling-size N    basis size of the 1 thread against N threads run (default 800; 0: none)\n"
         "  --repeats N         evaluations per point, median reported (default 5)\n"
         "  --fit-from N        smallest basis size in the fitted exponent (default 400)\n"
         "  --relax NAME        whole relaxation: coronene, flake:N (the flake of basis size\n"
         "                      nearest N) or none (default coronene)\n"
         "  --json PATH         JSON results (default tbrelax_bench.json; '' for none)\n"
         "  --quick             sizes 100,200,400, one family, 1 repeat, scaling at 400: a smoke test\n"
         "Instead of the above:\n"
         "  --write-batch DIR   write the 40 molecules of the MPI throughput batch to DIR and stop\n"
         "                      (bench/mpi_throughput.sh times tbcalc on them)\n"
         "  --table SETS        steepest descent against L-BFGS and FIRE on examples,complexes,flakes\n"
         "  --table-flakes LIST basis sizes of the table's flakes (default 400,800,1600)\n"
         "  --table-fmax F      the optimisers' force criterion in eV/A (default 0.01)\n"
         "  --examples DIR      the bundled examples (default: the source tree's)\n"
         "  --write-xyz NAME    print flake:N, alkane:N, coronene or a complex of the table as a\n"
         "                      structure file\n";
}

options parse_options(int argc, char** argv) {
  options o;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    auto value = [&]() -> std::string {
      if (i + 1 >= argc) throw std::invalid_argument(arg + " expects a value");
      return argv[++i];
    };
    if (arg == "--help" || arg == "-h") {
      o.help = true;
    } else if (arg == "--sizes") {
      o.sizes.clear();
      for (const std::string& s : split(value())) o.sizes.push_back(to_int(arg, s, 2));
    } else if (arg == "--families") {
      o.families = split(value());
      for (const std::string& f : o.families)
        if (f != "flake" && f != "alkane") throw std::invalid_argument("unknown family '" + f + "'");
    } else if (arg == "--solvers") {
      o.solvers = split(value());
    } else if (arg == "--threads") {
      o.threads = to_int(arg, value(), 1);
    } else if (arg == "--scaling-size") {
      o.scaling_size = to_int(arg, value(), 0);
    } else if (arg == "--repeats") {
      o.repeats = to_int(arg, value(), 1);
    } else if (arg == "--fit-from") {
      o.fit_from = to_int(arg, value(), 0);
    } else if (arg == "--relax") {
      o.relax = value();
      if (o.relax.starts_with("flake:")) to_int(arg, o.relax.substr(6), 1);
      else if (o.relax != "coronene" && o.relax != "none")
        throw std::invalid_argument("--relax takes coronene, flake:N or none");
    } else if (arg == "--json") {
      o.json = value();
    } else if (arg == "--write-batch") {
      o.write_batch = value();
    } else if (arg == "--table") {
      o.table = split(value());
    } else if (arg == "--table-flakes") {
      o.table_flakes.clear();
      for (const std::string& s : split(value())) o.table_flakes.push_back(to_int(arg, s, 2));
    } else if (arg == "--table-fmax") {
      const std::string text = value();
      o.table_fmax = std::atof(text.c_str());
      if (!(o.table_fmax > 0)) throw std::invalid_argument("--table-fmax expects a number above 0, not '" + text + "'");
    } else if (arg == "--examples") {
      o.examples = value();
    } else if (arg == "--write-xyz") {
      o.write_xyz = value();
    } else if (arg == "--quick") {
      o.sizes = {100, 200, 400};
      o.families = {"flake"};
      o.repeats = 1;
      o.scaling_size = 400;
    } else {
      throw std::invalid_argument("unknown option '" + arg + "'");
    }
  }
  if (o.sizes.empty() || o.families.empty()) throw std::invalid_argument("nothing to measure");
  return o;
}

}  // namespace tbrelax::bench
