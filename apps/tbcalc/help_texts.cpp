#include "help_texts.hpp"

#include <functional>
#include <map>

namespace tbrelax::tbcalc {

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

namespace {

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

}  // namespace

const command_text* find_command(std::string_view name) {
  const auto found = commands.find(name);
  return found == commands.end() ? nullptr : &found->second;
}

}  // namespace tbrelax::tbcalc
