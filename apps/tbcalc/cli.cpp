#include "cli.hpp"

#include <functional>
#include <map>

#include "freq_options.hpp"
#include "parallel/distributed_evaluation.hpp"
#include "cell_options.hpp"
#include "relax_options.hpp"

namespace tbrelax::tbcalc {
namespace {

const std::string general_usage = "Usage: tbcalc COMMAND [OPTIONS] FILE...\n";

const std::string general_help = general_usage + R"(
Tight-binding calculations on molecules of H, C, N and O atoms read from XYZ files (the layout
of tbrelax's input.xyz), for scripts and pipelines: nothing waits for a key.

Commands:
  energy FILE...  energy, binding energy, frontier orbitals, forces, charges and dipole
  freq FILE...    vibrational frequencies, IR intensities and thermochemistry
  relax FILE...   relaxation by L-BFGS, FIRE or tbrelax's steepest descent
  elastic FILE... elastic constants of a periodic structure from stress and strain

Options:
  -h, --help     show this help (tbcalc COMMAND --help shows a command's options)
      --version  show the version

Element symbols are read whole, in any letter case, with an optional numeric label (O, h,
C12); any element other than H, C, N and O is an error. --tbrelax-symbols reads them as
tbrelax does: only the first character counts (Cl is C).

Several FILEs are worked on in turn and reported in order; a failing one does not stop the
others. Under mpiexec (a build with MPI) the ranks share the FILEs, or the Hessian of freq's
one FILE, and rank 0 reports.

Exit status: 0 success, 1 input rejected, 2 file error, 3 non-finite energy, 4 out of memory,
64 usage error, 130 and 143 relax or freq stopped by SIGINT and SIGTERM; for several FILEs
the worst.
)";

struct command_text {
  command cmd;
  std::string usage, help;
};

const std::map<std::string, command_text, std::less<>> commands = {
    {"energy",
     {command::energy,
      "Usage: tbcalc energy [--json] [--kpoints N1,N2,N3] [--kpoint-shift S1,S2,S3]\n"
      "                     [--electronic-temperature T] [--distributed [--block NB]] FILE...\n",
      R"(
One evaluation of the model at the geometry in each FILE: the total energy E and the binding
energy per atom (eV), the HOMO and LUMO energies and their gap (eV), the total, electronic
and repulsive force on every atom (eV/Å), the Mulliken charges (e) and the dipole moment of
those charges (D).

An extended XYZ FILE with a Lattice and pbc is a periodic structure (a chain, a sheet or a
crystal): its report gives E, the free energy F = E - T S and E0 = (E + F)/2 per cell, the
Fermi level, the band gap over the k-points, forces and charges (no dipole).

Options:
      --json             print the results as one JSON document
      --kpoints N1,N2,N3 Gamma-centred k-point grid (default: 0.2/Å spacing; 1 on axes that
                         are not periodic)
      --kpoint-shift S1,S2,S3
                         shift the grid by S_i grid steps (0.5 on an even axis: Monkhorst-Pack)
      --electronic-temperature T
                         Fermi-Dirac occupations at T kelvin (default 300 for periodic
                         structures, 0 for molecules: the model's own filling)
      --distributed      one FILE's matrices spread over the ranks of an MPI job (ELPA)
      --block NB         --distributed: blocks of NB x NB dealt over the ranks (default 64)
      --tbrelax-symbols  only the first character of an element symbol counts
  -h, --help             show this help
)"}},
    {"freq",
     {command::freq, "Usage: tbcalc freq [--json] [--molden OUT] [THERMO OPTIONS] FILE...\n", R"(
Harmonic vibrations at the geometry in each FILE (relax it first for a minimum): the Hessian by
finite differences, mass-weighted with the model's masses (H 1, C 12, N 14, O 16), with the
translations and rotations set apart; wavenumbers in cm^-1 (imaginary ones negative), IR
intensities (km/mol) from the dipole derivatives, the zero-point energy, and the ideal-gas
enthalpy H, entropy S and Gibbs energy G = H - T S of the molecule.

Options:
      --json                  print the results as one JSON document
      --molden OUT            write the geometry, normal modes and intensities to OUT (Molden)
      --temperature T         kelvin (default 298.15)
      --pressure P            Pa, or with a unit: 1bar, 1atm (default 101325 Pa = 1 atm)
      --symmetry-number N     rotational symmetry number (default: found from the geometry)
      --soft-mode-cutoff NU   modes below about NU cm^-1 get the entropy interpolated towards
                              a free rotor's (default 100; 0: every mode harmonic)
      --kpoints, --kpoint-shift, --electronic-temperature
                              as for energy, for a periodic FILE: its phonons at Gamma of
                              the given cell (a supercell folds in other wavevectors), only the
                              three translations set apart, and the harmonic vibrational
                              energy, entropy and free energy per cell at --temperature
      --tbrelax-symbols       only the first character of an element symbol counts
  -h, --help                  show this help
--molden takes one FILE only.
)"}},
    {"relax",
     {command::relax,
      "Usage: tbcalc relax [--json] [--method M] [--fmax F] [--max-steps N] [--fix LIST] [--pull A,B,F]...\n"
      "                    [-o OUT] [--trajectory OUT] [--kpoints N1,N2,N3] [--kpoint-shift S1,S2,S3]\n"
      "                    [--electronic-temperature T] [--distributed [--block NB]]\n"
      "                    [--cell [--smax S] [--pressure P] [--cell-mask LIST] [--isotropic] [--strain RAMP]] FILE...\n",
      R"(
Relaxes each FILE without pausing. One progress line per optimiser step (per block of 20 moves
for sd) goes to standard error; the relaxed geometry is written as extended XYZ with its energy
on the comment line. A failure in one FILE does not stop the others.

Options:
      --method M        lbfgs (default): limited-memory BFGS with a line search;
                        fire: damped dynamics, forces only;
                        sd: tbrelax's steepest descent (the same moves, blocks and stop test)
      --fmax F          stop when no free atom feels more than F eV/Å (default 0.01)
      --max-steps N     stop after N optimiser steps at the latest (default 1000)
      --fix LIST        atoms that never move, counted from 1: 1-4,9
      --pull A,B,F      a constant force F (eV/Å, positive apart) along the axis of atoms
                        A and B; repeat for more pairs
  -o, --output OUT      the relaxed geometry (default: FILE's stem + .relaxed.xyz beside it)
      --trajectory OUT  the geometry at the start of every optimiser step and at the end (for
                        sd: at the start of every block, with the energy tbrelax reports for it),
                        as multi-frame extended XYZ
      --json            print the results as one JSON document
      --distributed     one FILE's matrices spread over the ranks of an MPI job (ELPA)
      --block NB        --distributed: blocks of NB x NB dealt over the ranks (default 64)
      --tbrelax-symbols only the first character of an element symbol counts
      --kpoints, --kpoint-shift, --electronic-temperature
                        as for energy: a periodic structure relaxes in its fixed cell,
                        minimising F, with --pull between the nearest images (lbfgs, fire)
      --cell            relax the cell of a periodic structure too (lbfgs, fire): a sheet in
                        its plane, a chain along its axis; frames and JSON carry the stress
      --smax S          --cell: stop when no free stress component exceeds S GPa (default 0.005)
      --pressure P      --cell: external pressure in GPa (default 0)
      --cell-mask LIST  --cell: only these components change: xx,yy,zz,yz,xz,xy
      --isotropic       --cell: the free lengths scale together, without shear
      --strain RAMP     --cell: a stress-strain curve, RAMP = C:FROM:TO:COUNT: the cell
                        stretched along C (xx, yy or zz) by COUNT strains from FROM to TO,
                        each point relaxed with that row of the cell held; a table (JSON:
                        "ramp") of strain and stress, a trajectory frame per point
  -h, --help            show this help
-o and --trajectory take one FILE only. --fmax, --max-steps, --fix and --pull need lbfgs or fire.
)"}},
    {"elastic",
     {command::elastic,
      "Usage: tbcalc elastic [--json] [--strain H] [--fmax F] [--kpoints N1,N2,N3] [--kpoint-shift S1,S2,S3]\n"
      "                      [--electronic-temperature T] FILE...\n",
      R"(
The elastic constants of the periodic structure in each FILE (relax it first with relax --cell):
every strain component between periodic axes is applied at +H and -H to the cell and the atoms,
the atoms are relaxed in each strained cell, and C_ij = (sigma_i(+H) - sigma_i(-H)) / 2H
(relaxed-ion constants, engineering shear strains). Reported as the Voigt matrix in GPa for a
crystal, N/m (2D) for a sheet and nN for a chain, with the moduli derived from it.

Options:
      --json             print the results as one JSON document
      --strain H         the strain applied either way (default 0.005)
      --fmax F           the atoms' relaxation in each strained cell stops below F eV/Å
                         (default 0.001)
      --kpoints, --kpoint-shift, --electronic-temperature
                         as for energy
      --tbrelax-symbols  only the first character of an element symbol counts
  -h, --help             show this help
)"}},
};

parsed usage_error(const std::string& fault, const std::string& usage, const std::string& help_hint) {
  return {std::nullopt, "tbcalc: " + fault + "\n" + usage + "Try '" + help_hint + "' for more information.\n",
          usage_status};
}

}  // namespace

parsed parse_command_line(const std::vector<std::string>& args) {
  if (args.empty()) return usage_error("no command given", general_usage, "tbcalc --help");
  const std::string& first = args[0];
  if (first == "-h" || first == "--help") return {std::nullopt, general_help, 0};
  if (first == "--version") return {std::nullopt, "tbcalc " TBRELAX_VERSION "\n", 0};
  const auto found = commands.find(first);
  if (found == commands.end()) {
    const std::string fault = first.starts_with('-') ? "unknown option '" + first + "'" : "unknown command '" + first + "'";
    return usage_error(fault, general_usage, "tbcalc --help");
  }
  const command_text& text = found->second;
  const std::string hint = "tbcalc " + first + " --help";
  options o;
  o.cmd = text.cmd;

  // Options taking a value, for this command: --name VALUE or --name=VALUE. Each sets its
  // value and returns the fault of a bad one.
  using setter = std::function<std::string(const std::string&)>;
  std::map<std::string, setter, std::less<>> valued;
  auto file_into = [](std::string& target) { return [&target](const std::string& v) { target = v; return std::string(); }; };
  std::string optimiser_only;  // the first option given that steepest descent does not take
  auto for_optimisers = [&optimiser_only](const std::string& name, setter set) {
    return [&optimiser_only, name, set](const std::string& v) {
      if (optimiser_only.empty()) optimiser_only = name;
      return set(v);
    };
  };
  optimiser_settings& opt = o.optimiser;
  if (o.cmd == command::freq) valued["--molden"] = file_into(o.molden);
  if (o.cmd != command::freq)
    valued["--block"] = [&o](const std::string& v) {
      const std::string fault = parse_count(v, o.block);
      return fault.empty() && o.block < 1 ? "a whole number of at least 1 is needed, not '" + v + "'" : fault;
    };
  {
    periodic_request& p = o.periodic;
    valued["--kpoints"] = [&p](const std::string& v) { return parse_grid(v, p.grid.emplace()); };
    valued["--kpoint-shift"] = [&p](const std::string& v) { return parse_shift(v, p.shift.emplace()); };
    valued["--electronic-temperature"] = [&p](const std::string& v) {
      return parse_temperature(v, p.temperature.emplace());
    };
  }
  if (o.cmd == command::elastic) {
    valued["--strain"] = [&o](const std::string& v) {
      const std::string fault = parse_positive(v, o.elastic_strain);
      return fault.empty() && o.elastic_strain > 0.1 ? "a strain of at most 0.1 is needed, not '" + v + "'" : fault;
    };
    valued["--fmax"] = [&o](const std::string& v) { return parse_positive(v, o.elastic_fmax); };
  }
  if (o.cmd == command::relax) {
    valued["-o"] = valued["--output"] = file_into(o.output);
    valued["--trajectory"] = file_into(o.trajectory);
    valued["--method"] = [&o](const std::string& v) {
      o.method = v;
      if (v == "sd") return std::string();
      o.optimiser.method = v;
      return make_step_strategy(v) ? "" : "unknown method '" + v + "' (lbfgs, fire or sd)";
    };
    valued["--fmax"] = for_optimisers("--fmax", [&opt](const std::string& v) { return parse_positive(v, opt.stop.fmax); });
    valued["--max-steps"] =
        for_optimisers("--max-steps", [&opt](const std::string& v) { return parse_count(v, opt.stop.max_steps); });
    valued["--fix"] =
        for_optimisers("--fix", [&opt](const std::string& v) { return parse_atom_list(v, opt.limits.fixed); });
    valued["--pull"] = for_optimisers("--pull", [&opt](const std::string& v) {
      pulling_pair p;
      const std::string fault = parse_pull(v, p);
      if (fault.empty()) opt.limits.pulls.push_back(p);
      return fault;
    });
    cell_request& cell = o.cell;
    valued["--smax"] = [&cell](const std::string& v) { return parse_positive(v, cell.smax.emplace()); };
    valued["--pressure"] = [&cell](const std::string& v) { return parse_finite(v, cell.pressure.emplace()); };
    valued["--cell-mask"] = [&cell](const std::string& v) { return parse_cell_mask(v, cell.mask.emplace()); };
    valued["--strain"] = [&cell](const std::string& v) { return parse_strain_ramp(v, cell.strain.emplace()); };
  }

  bool options_ended = false;
  for (std::size_t k = 1; k < args.size(); ++k) {
    const std::string& word = args[k];
    if (options_ended || word == "-" || !word.starts_with('-')) {
      o.files.push_back(word);
      continue;
    }
    if (word == "--") {
      options_ended = true;
    } else if (word == "-h" || word == "--help") {
      return {std::nullopt, text.usage + text.help, 0};
    } else if (word == "--json") {
      o.json = true;
    } else if (word == "--tbrelax-symbols") {
      o.tbrelax_symbols = true;
    } else if (o.cmd == command::relax && (word == "--cell" || word == "--isotropic")) {
      (word == "--cell" ? o.cell.enabled : o.cell.isotropic) = true;
    } else if (word == "--distributed") {
      o.distributed = true;
    } else if (const std::string number = word.substr(0, word.find('='));
               o.cmd == command::freq && is_freq_number_option(number)) {
      std::string value;
      if (number.size() < word.size()) {
        value = word.substr(number.size() + 1);
      } else if (k + 1 < args.size()) {
        value = args[++k];
      }
      if (auto fault = set_freq_option(number, value, o.thermo)) return usage_error(*fault, text.usage, hint);
    } else {
      const auto equals = word.find('=');
      const std::string name = word.substr(0, equals);
      const auto option = valued.find(name);
      if (option == valued.end() || (equals != std::string::npos && name == "-o"))
        return usage_error("unknown option '" + word + "'", text.usage, hint);
      std::string value;
      if (equals != std::string::npos) {
        value = word.substr(equals + 1);
      } else if (k + 1 < args.size()) {
        value = args[++k];
      }
      const bool file = name == "-o" || name == "--output" || name == "--trajectory" || name == "--molden";
      if (value.empty()) return usage_error("option '" + name + "' needs " + (file ? "a file name" : "a value"), text.usage, hint);
      if (const std::string fault = option->second(value); !fault.empty())
        return usage_error(name + ": " + fault, text.usage, hint);
    }
  }

  if (!optimiser_only.empty() && o.method == "sd")
    return usage_error(optimiser_only + " needs --method lbfgs or fire", text.usage, hint);
  if (const std::string lone = cell_option_without_cell(o.cell); !lone.empty())
    return usage_error(lone + " needs --cell", text.usage, hint);
  if (o.cell.strain && o.cell.isotropic) return usage_error("--isotropic does not combine with --strain", text.usage, hint);
  if (o.cell.enabled && o.method == "sd") return usage_error("--cell needs --method lbfgs or fire", text.usage, hint);
  if (o.cell.enabled && !opt.limits.pulls.empty()) return usage_error("--pull does not combine with --cell", text.usage, hint);
  if (o.cell.enabled && o.distributed) return usage_error("--distributed does not combine with --cell", text.usage, hint);
  if (o.files.empty()) return usage_error("no FILE given", text.usage, hint);
  if (o.distributed) {
    if (o.cmd == command::freq || o.cmd == command::elastic)
      return usage_error("--distributed works with energy and relax only", text.usage, hint);
    if (!distributed_step_built())
      return usage_error("--distributed needs a build with ELPA (TBRELAX_ELPA=ON)", text.usage, hint);
    if (o.files.size() > 1) return usage_error("--distributed takes one FILE only", text.usage, hint);
    if (o.periodic.grid || o.periodic.shift || o.periodic.temperature)
      return usage_error("--distributed works with molecules at zero electronic temperature only", text.usage, hint);
  } else if (o.block != default_distributed_block) {
    return usage_error("--block needs --distributed", text.usage, hint);
  }
  if (o.files.size() > 1 && !o.molden.empty()) return usage_error("--molden takes one FILE only", text.usage, hint);
  if (o.files.size() > 1 && (!o.output.empty() || !o.trajectory.empty()))
    return usage_error("-o and --trajectory take one FILE only", text.usage, hint);
  return {std::move(o), "", 0};
}

}  // namespace tbrelax::tbcalc
