#pragma once
// tbcalc's command line: a command, its options and its files.

#include <optional>
#include <string>
#include <vector>

#include "hessian/thermochemistry.hpp"
#include "optimize/optimiser_run.hpp"
#include "optimize/elastic_band.hpp"
#include "optimize/reaction_coordinate.hpp"
#include "optimize/relaxed_scan.hpp"
#include "optimize/saddle_search.hpp"
#include "parallel/distributed_evaluation.hpp"
#include "cell_options.hpp"
#include "periodic_options.hpp"

namespace tbrelax::tbcalc {

enum class command { energy, freq, relax, elastic, scan, ts, path, irc };

struct options {
  command cmd = command::energy;
  std::vector<std::string> files;
  bool json = false;
  bool tbrelax_symbols = false;  // only the first character of a symbol counts, as in tbrelax
  bool distributed = false;      // energy, relax: one FILE's matrices spread over the MPI ranks
  int block = default_distributed_block;               // --distributed: block size of the layout over the ranks
  bool writes_files = true;      // relax: false on the ranks of a distributed run but 0
  std::string molden;      // freq: Molden file to write ("" for none)
  std::string displace_imaginary;  // freq: the geometry displaced along its lowest imaginary mode ("" for none)
  thermo_conditions thermo;  // freq: temperature, pressure, symmetry number, soft modes
  std::string output;      // relax: relaxed geometry ("" for the default beside the input)
  std::string trajectory;  // relax: frames at the start of every block or step ("" for none)
  // relax: the method ("sd" for tbrelax's steepest descent), its stop criteria and constraints;
  // freq also takes the minimum check's threshold and escape step from it.
  std::string method = "plbfgs";
  optimiser_settings optimiser;
  scan_settings scan;  // scan: the coordinates, their steps and each point's stop criteria
  saddle_settings saddle;  // ts, path --ts: the stop criteria of the saddle search
  int band_images = 7;     // path: moving images between the ends
  band_settings band{.threads = 0};  // path: the band (threads 0: as many as the images and cores allow)
  bool band_ts = false;    // path: converge the climbing image to a saddle point
  irc_settings irc;        // irc: the path's step and the relaxation of its ends
  std::string irc_start, irc_end;  // irc: the minima the ends should match ("" for none)
  periodic_request periodic;  // energy, relax: k-points and electronic temperature
  cell_request cell;          // relax: the cell relaxes too
  double elastic_strain = 0.005;  // elastic: the strain applied either way
  double elastic_fmax = 1e-3;     // elastic: the atoms' relaxation in each strained cell (eV/Å)
};

// What the command line asks for: a run, or text to print and a status to end with.
struct parsed {
  std::optional<options> run;
  std::string text;     // help or version on standard output, usage error on standard error
  int status = 0;       // 0 for help and version, 64 for a usage error
};

parsed parse_command_line(const std::vector<std::string>& args);

// Status of a command line the program cannot make sense of.
inline constexpr int usage_status = 64;

}  // namespace tbrelax::tbcalc
