#include "cli.hpp"

#include <functional>
#include <map>

#include "freq_options.hpp"
#include "parallel/distributed_evaluation.hpp"
#include "cell_options.hpp"
#include "relax_options.hpp"
#include "scan_options.hpp"

namespace tbrelax::tbcalc {
namespace {

const std::string general_usage = "Usage: tbcalc COMMAND [OPTIONS] FILE...\n";

const std::string general_help = general_usage + R"(
Tight-binding calculations on molecules of H, C, N and O atoms read from XYZ files (the layout
of tbrelax's input.xyz), and on chains, sheets and crystals read from extended XYZ files with a
Lattice and pbc, for scripts and pipelines: nothing waits for a key.

Commands:
  energy FILE...  energy, binding energy, frontier orbitals, forces, charges and dipole
  freq FILE...    vibrational frequencies, IR intensities and thermochemistry
  relax FILE...   relaxation by L-BFGS, FIRE or tbrelax's steepest descent
  scan FILE       relaxed scan of distances, bond angles or dihedral angles held exactly
  ts FILE         transition state (first-order saddle point) from a guess, checked by its modes
  path START END  minimum-energy path by a nudged elastic band with a climbing image
  irc FILE        reaction coordinate from a transition state down to both minima
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
     {command::freq,
      "Usage: tbcalc freq [--json] [--molden OUT] [--displace-imaginary OUT] [THERMO OPTIONS] FILE...\n", R"(
Harmonic vibrations at the geometry in each FILE (relax it first for a minimum): the Hessian by
finite differences, mass-weighted with the model's masses (H 1, C 12, N 14, O 16), with the
translations and rotations set apart; wavenumbers in cm^-1 (imaginary ones negative), IR
intensities (km/mol) from the dipole derivatives, the zero-point energy, and the ideal-gas
enthalpy H, entropy S and Gibbs energy G = H - T S of the molecule. A geometry with a mode
more imaginary than the threshold is reported as not a minimum.

Options:
      --json                  print the results as one JSON document
      --molden OUT            write the geometry, normal modes and intensities to OUT (Molden)
      --displace-imaginary OUT
                              not a minimum: write the geometry displaced along the lowest
                              imaginary mode, to its lower side, to OUT (extended XYZ, as relax
                              -o writes it), ready to relax again
      --verify-threshold NU   a mode more imaginary than NU cm^-1 marks a saddle point (default 50)
      --escape-step D         largest move of an atom for --displace-imaginary, Å (default 0.1)
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
--molden and --displace-imaginary take one FILE only.
)"}},
    {"relax",
     {command::relax,
      "Usage: tbcalc relax [--json] [--method M] [--fmax F] [--max-steps N] [--fix LIST] [--pull A,B,F]...\n"
      "                    [--no-verify] [--verify-threshold NU] [--escape-step D]\n"
      "                    [-o OUT] [--trajectory OUT] [--kpoints N1,N2,N3] [--kpoint-shift S1,S2,S3]\n"
      "                    [--electronic-temperature T] [--distributed [--block NB]]\n"
      "                    [--cell [--smax S] [--pressure P] [--cell-mask LIST] [--isotropic] [--strain RAMP]] FILE...\n",
      R"(
Relaxes each FILE without pausing. One progress line per optimiser step (per block of 20 moves
for sd) goes to standard error; the relaxed geometry is written as extended XYZ with its energy
on the comment line. A failure in one FILE does not stop the others.

Options:
      --method M        plbfgs (default): L-BFGS grown from a model Hessian of the
                        geometry (bond stretches, bends and torsions);
                        lbfgs: limited-memory BFGS with a line search;
                        fire: damped dynamics, forces only;
                        sd: tbrelax's steepest descent (the same moves, blocks and stop test)
      --fmax F          stop when no free atom feels more than F eV/Å (default 0.01)
      --max-steps N     stop after N optimiser steps at the latest (default 1000)
      --fix LIST        atoms that never move, counted from 1: 1-4,9
      --pull A,B,F      a constant force F (eV/Å, positive apart) along the axis of atoms
                        A and B; repeat for more pairs
      --no-verify       end where the optimiser converges, without checking that the end
                        point is a minimum (by default the optimisers estimate the lowest
                        curvature there and leave saddle points along their mode)
      --verify-threshold NU
                        a mode more imaginary than NU cm^-1 marks a saddle point (default 50)
      --escape-step D   largest move of an atom off a saddle point, Å (default 0.1)
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
-o and --trajectory take one FILE only. --fmax, --max-steps, --fix, --pull, --verify-threshold and
--escape-step need plbfgs, lbfgs or fire; sd never checks its end point.
)"}},
    {"scan",
     {command::scan,
      "Usage: tbcalc scan [--json] (--distance A,B,FROM,TO,STEPS | --angle A,B,C,FROM,TO,STEPS |\n"
      "                   --dihedral A,B,C,D,FROM,TO,STEPS)... [--fmax F] [--max-steps N] [-o OUT] FILE\n",
      R"(
A relaxed scan of the molecule in FILE: the coordinate is set to STEPS + 1 evenly spaced
values from FROM to TO, and at each one it is held exactly while every other degree of
freedom relaxes by L-BFGS, starting from the point before. Several coordinates are stepped
together (a concerted scan) and take the same STEPS. One progress line per point goes to
standard error; the table gives each point's value, energy, largest residual force and the
constraint force dE/dq, the force the constraint supplies (for a distance: the tension the
bond carries, positive when it is stretched).

Options:
      --distance A,B,FROM,TO,STEPS      the distance of atoms A and B (counted from 1), Å
      --angle A,B,C,FROM,TO,STEPS       the bond angle A-B-C at B, degrees (1 to 179)
      --dihedral A,B,C,D,FROM,TO,STEPS  the dihedral angle A-B-C-D, degrees (any real values:
                                        0,360,12 turns once round)
      --fmax F          each point is relaxed until no atom feels more than F eV/Å besides the
                        constraint force (default 0.01)
      --max-steps N     L-BFGS steps per point at most (default 1000)
  -o, --output OUT      the relaxed points as multi-frame extended XYZ (default: FILE's stem +
                        .scan.xyz beside it)
      --json            print the results as one JSON document
      --tbrelax-symbols only the first character of an element symbol counts
  -h, --help            show this help
)"}},
    {"ts",
     {command::ts, "Usage: tbcalc ts [--json] [--fmax F] [--max-steps N] [-o OUT] FILE\n", R"(
Converges the guess in FILE to a first-order saddle point (a transition state) by partitioned
rational-function optimisation (P-RFO): a Hessian by finite differences of the forces at the
start, updated by Bofill's formula after every step; each step goes uphill along the lowest
mode (later: the mode most like the one followed before) and downhill along all others. The
end point is then checked by its vibrations, as tbcalc freq computes them: a transition state
has exactly one imaginary mode (more imaginary than 50 cm^-1), reported with its wavenumber;
otherwise the report says what was found.

Options:
      --fmax F          converged when no atom feels more than F eV/Å and the Hessian has one
                        negative curvature (default 0.001)
      --max-steps N     P-RFO steps at most (default 100)
  -o, --output OUT      the saddle point as extended XYZ (default: FILE's stem + .ts.xyz)
      --json            print the results as one JSON document (with the transition mode)
      --tbrelax-symbols only the first character of an element symbol counts
  -h, --help            show this help
)"}},
    {"path",
     {command::path,
      "Usage: tbcalc path [--json] [--images N] [--spring K] [--fmax F] [--max-iterations N]\n"
      "                   [--climb-from F | --no-climb] [--threads T] [--ts] [-o OUT] START END\n",
      R"(
The minimum-energy path from START to END (the same atoms in the same order; relax both
first) by a nudged elastic band: N images interpolated by the image-dependent pair potential
(IDPP), END turned onto START, the improved tangent, springs along the path, and once the band
has settled (every band force below 1 eV/Å) the highest image climbs to the saddle point.
The whole band moves by one L-BFGS; the images of a step are evaluated at once on threads.
The table gives each image's place along the path, its energy and its band force; the barrier
is the climbing image's energy above each end. With --ts the climbing image is then converged
by P-RFO, as tbcalc ts does.

Options:
      --images N          moving images between the ends (default 7)
      --spring K          spring constant between neighbouring images, eV/Å² (default 5)
      --fmax F            stop when no atom of an image feels more than F eV/Å of band
                          force, the climbing image's included (default 0.05)
      --max-iterations N  band steps at most (default 500)
      --climb-from F      the highest image starts climbing once no band force is above
                          F eV/Å (default 1)
      --no-climb          no climbing image
      --threads T         images evaluated at once (default: as many as the cores, up to N)
      --ts                converge the climbing image to a saddle point by P-RFO
  -o, --output OUT        the band, START to END, as multi-frame extended XYZ (default:
                          START's stem + .path.xyz beside it)
      --json              print the results as one JSON document
      --tbrelax-symbols   only the first character of an element symbol counts
  -h, --help              show this help
)"}},
    {"irc",
     {command::irc,
      "Usage: tbcalc irc [--json] [--start S] [--end E] [--step H] [--max-steps N] [-o OUT] FILE\n", R"(
Follows the intrinsic reaction coordinate from the transition state in FILE down to the minimum
on each side: the steepest-descent path in mass-weighted coordinates, leaving the saddle point
along its imaginary mode (found from the vibrations, as tbcalc freq computes them) and followed
by Heun's second-order predictor-corrector; where the path levels out (no force above
0.05 eV/Å) or rises, L-BFGS relaxes the end to its minimum (fmax 0.001 eV/Å). With --start and --end the report
says whether each end is one of those structures (RMSD after alignment below 0.05 Å).

Options:
      --start S, --end E  the minima the ends should match (same atoms in the same order)
      --step H            step along the path, amu^1/2 Å (default 0.1)
      --max-steps N       path steps per side at most before the end is relaxed (default 300)
  -o, --output OUT        one minimum, the path up to the saddle point and down to the other
                          minimum, as multi-frame extended XYZ with the signed path length
                          (default: FILE's stem + .irc.xyz)
      --json              print the results as one JSON document
      --tbrelax-symbols   only the first character of an element symbol counts
  -h, --help              show this help
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
  if (o.cmd == command::freq) {
    valued["--molden"] = file_into(o.molden);
    valued["--displace-imaginary"] = file_into(o.displace_imaginary);
  }
  if (o.cmd == command::freq || o.cmd == command::relax) {
    valued["--verify-threshold"] = [&opt](const std::string& v) { return parse_positive(v, opt.check.threshold); };
    valued["--escape-step"] = [&opt](const std::string& v) { return parse_positive(v, opt.check.escape_step); };
  }
  if (o.cmd == command::scan) {
    valued["-o"] = valued["--output"] = file_into(o.output);
    valued["--fmax"] = [&o](const std::string& v) { return parse_positive(v, o.scan.stop.fmax); };
    valued["--max-steps"] = [&o](const std::string& v) { return parse_count(v, o.scan.stop.max_steps); };
    const std::pair<const char*, coordinate_kind> kinds[] = {
        {"--distance", coordinate_kind::distance}, {"--angle", coordinate_kind::angle}, {"--dihedral", coordinate_kind::dihedral}};
    for (const auto& named : kinds) {
      const coordinate_kind kind = named.second;
      valued[named.first] = [&o, kind](const std::string& v) { return parse_scan_coordinate(kind, v, o.scan); };
    }
  }
  if (o.cmd == command::ts) {
    valued["-o"] = valued["--output"] = file_into(o.output);
    valued["--fmax"] = [&o](const std::string& v) { return parse_positive(v, o.saddle.fmax); };
    valued["--max-steps"] = [&o](const std::string& v) { return parse_count(v, o.saddle.max_steps); };
  }
  if (o.cmd == command::irc) {
    valued["-o"] = valued["--output"] = file_into(o.output);
    valued["--start"] = file_into(o.irc_start);
    valued["--end"] = file_into(o.irc_end);
    valued["--step"] = [&o](const std::string& v) { return parse_positive(v, o.irc.step); };
    valued["--max-steps"] = [&o](const std::string& v) { return parse_count(v, o.irc.max_steps); };
  }
  if (o.cmd == command::path) {
    valued["-o"] = valued["--output"] = file_into(o.output);
    valued["--images"] = [&o](const std::string& v) {
      const std::string fault = parse_count(v, o.band_images);
      return fault.empty() && o.band_images < 1 ? "a band needs at least 1 image, not '" + v + "'" : fault;
    };
    valued["--spring"] = [&o](const std::string& v) { return parse_positive(v, o.band.spring); };
    valued["--climb-from"] = [&o](const std::string& v) { return parse_positive(v, o.band.climb_from); };
    valued["--fmax"] = [&o](const std::string& v) { return parse_positive(v, o.band.fmax); };
    valued["--max-iterations"] = [&o](const std::string& v) { return parse_count(v, o.band.max_iterations); };
    valued["--threads"] = [&o](const std::string& v) {
      const std::string fault = parse_count(v, o.band.threads);
      return fault.empty() && o.band.threads < 1 ? "a whole number of at least 1 is needed, not '" + v + "'" : fault;
    };
  }
  if (o.cmd == command::energy || o.cmd == command::relax)
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
      return make_step_strategy(v) ? "" : "unknown method '" + v + "' (plbfgs, lbfgs, fire or sd)";
    };
    valued["--fmax"] = for_optimisers("--fmax", [&opt](const std::string& v) { return parse_positive(v, opt.stop.fmax); });
    valued["--max-steps"] =
        for_optimisers("--max-steps", [&opt](const std::string& v) { return parse_count(v, opt.stop.max_steps); });
    valued["--verify-threshold"] = for_optimisers("--verify-threshold", valued["--verify-threshold"]);
    valued["--escape-step"] = for_optimisers("--escape-step", valued["--escape-step"]);
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
    } else if (word == "--no-verify" && o.cmd == command::relax) {
      o.optimiser.check.enabled = false;
    } else if (word == "--no-climb" && o.cmd == command::path) {
      o.band.climb = false;
    } else if (word == "--ts" && o.cmd == command::path) {
      o.band_ts = true;
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
      const bool file = name == "-o" || name == "--output" || name == "--trajectory" || name == "--molden" ||
                        name == "--displace-imaginary" || name == "--start" || name == "--end";
      if (value.empty()) return usage_error("option '" + name + "' needs " + (file ? "a file name" : "a value"), text.usage, hint);
      if (const std::string fault = option->second(value); !fault.empty())
        return usage_error(name + ": " + fault, text.usage, hint);
    }
  }

  if (!optimiser_only.empty() && o.method == "sd")
    return usage_error(optimiser_only + " needs --method plbfgs, lbfgs or fire", text.usage, hint);
  if (const std::string lone = cell_option_without_cell(o.cell); !lone.empty())
    return usage_error(lone + " needs --cell", text.usage, hint);
  if (o.cell.strain && o.cell.isotropic) return usage_error("--isotropic does not combine with --strain", text.usage, hint);
  if (o.cell.enabled && o.method == "sd") return usage_error("--cell needs --method plbfgs, lbfgs or fire", text.usage, hint);
  if (o.cell.enabled && !opt.limits.pulls.empty()) return usage_error("--pull does not combine with --cell", text.usage, hint);
  if (o.cell.enabled && o.distributed) return usage_error("--distributed does not combine with --cell", text.usage, hint);
  if (o.files.empty()) return usage_error("no FILE given", text.usage, hint);
  if (o.cmd == command::scan) {
    if (o.scan.coordinates.empty()) return usage_error("no coordinate to scan: give --distance, --angle or --dihedral", text.usage, hint);
    if (o.files.size() > 1) return usage_error("scan takes one FILE only", text.usage, hint);
  }
  if ((o.cmd == command::ts || o.cmd == command::irc) && o.files.size() > 1)
    return usage_error(std::string(o.cmd == command::ts ? "ts" : "irc") + " takes one FILE only", text.usage, hint);
  if (o.cmd == command::path && o.files.size() != 2) return usage_error("path takes two files, START and END", text.usage, hint);
  if (o.band_ts && !o.band.climb) return usage_error("--ts needs the climbing image (leave out --no-climb)", text.usage, hint);
  if (o.distributed) {
    if (o.cmd != command::energy && o.cmd != command::relax)
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
  if (o.files.size() > 1 && !o.displace_imaginary.empty())
    return usage_error("--displace-imaginary takes one FILE only", text.usage, hint);
  if (o.cmd != command::path && o.files.size() > 1 && (!o.output.empty() || !o.trajectory.empty()))
    return usage_error("-o and --trajectory take one FILE only", text.usage, hint);
  return {std::move(o), "", 0};
}

}  // namespace tbrelax::tbcalc
