// tbcalc's command line, its input checks and the energy command.
#include <gtest/gtest.h>

#include <tuple>

#include "tbcalc_test_support.hpp"

namespace tbrelax {
namespace {

using testing::json_number;
using testing::json_numbers;
using testing::tbcalc;
using testing::temp_dir;
using testing::write_text;

const std::string water = "3\nwater\nO 0.0 0.0 0.117\nH 0.0 0.757 -0.467\nH 0.0 -0.757 -0.467\n";

TEST(TbcalcEnergy, WaterReproducesTheReferenceEnergyAndForces) {
  temp_dir dir;
  write_text(dir / "w.xyz", water);
  const auto r = tbcalc({"energy", "--json", "w.xyz"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  const double E = json_number(r.out, "energy");
  EXPECT_NEAR(E, -8.6857502, 1e-5);
  EXPECT_EQ(json_number(r.out, "binding_energy"), -E / 3 - 0.05671);
  // The forces' values are the library's test; here the total is the electronic plus the
  // repulsive one, atom by atom in x, y, z, and the largest is on a hydrogen.
  const auto total = json_numbers(r.out, "total");
  const auto el = json_numbers(r.out, "electronic"), rep = json_numbers(r.out, "repulsive");
  ASSERT_EQ(total.size(), 9u);
  EXPECT_NEAR(total[2], 1.23032, 1e-5);  // z of the oxygen
  for (std::size_t k = 0; k < total.size(); ++k) EXPECT_NEAR(total[k], el[k] + rep[k], 1e-12);
  EXPECT_EQ(json_numbers(r.out, "largest_force")[0], 2);
  EXPECT_NEAR(json_numbers(r.out, "largest_force")[1], std::hypot(1.64924, 0.61516), 1e-5);
  // Mulliken charges (e) and the dipole along the axis (debye).
  const auto q = json_numbers(r.out, "charges");
  ASSERT_EQ(q.size(), 3u);
  EXPECT_NEAR(q[0], -0.5246038718, 1e-9);
  EXPECT_NEAR(json_number(r.out, "dipole_magnitude"), 1.4715513968, 1e-9);
  EXPECT_NEAR(json_numbers(r.out, "dipole")[2], -1.4715513968, 1e-9);
}

// The electronic step goes through the Cholesky factor of S where S is safely positive
// definite. An N and an O atom 1e-8 angstrom apart make S indefinite: the canonical route runs
// and its warnings come out as tbrelax words them.
TEST(TbcalcEnergy, ReportsTheElectronicRoute) {
  struct input {
    std::string xyz, route, err;
  };
  for (const input& c : std::vector<input>{
           {water, "cholesky", ""},
           {"2\nNO\nN 0 0 0\nO 1e-8 0 0\n", "canonical",
            "  Error S<0.           1  -1.6718919113289576E-01\n  Error S<0.           2  -1.6718919113289576E-01\n"}}) {
    temp_dir dir;
    write_text(dir / "m.xyz", c.xyz);
    const auto r = tbcalc({"energy", "--json", "m.xyz"}, dir.path());
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, c.err);
    EXPECT_NE(r.out.find("\"electronic_route\": \"" + c.route + "\""), std::string::npos) << r.out;
  }
}

TEST(TbcalcEnergy, SingleHydrogenHasNoLumo) {
  temp_dir dir;
  write_text(dir / "h.xyz", "1\n'lone atom'\nH 1.5 -2 3\n");
  const auto r = tbcalc({"energy", "h.xyz"}, dir.path());
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "h.xyz: lone atom, 1 atom (H)\n"
            "Total energy E             0 eV\n"
            "Binding energy per atom   -0.056710000000000003 eV\n"
            "HOMO (orbital 1)          -10.699999999999999 eV\n"
            "LUMO                      none (no unoccupied orbital)\n"
            "\n"
            "Forces (eV/Å)                   x               y               z\n"
            "   1 H  total          0.0000000000    0.0000000000    0.0000000000\n"
            "        electronic     0.0000000000    0.0000000000    0.0000000000\n"
            "        repulsive      0.0000000000    0.0000000000    0.0000000000\n"
            "Largest force             0.0000000000 eV/Å on atom 1 (H)\n"
            "\n"
            "Mulliken charges (e)\n"
            "   1 H      0.0000000000\n"
            "Dipole moment             0.0000000000 D  (x 0.0000000000, y 0.0000000000, z 0.0000000000)\n");
  const auto json = tbcalc({"energy", "--json", "h.xyz"}, dir.path());
  EXPECT_NE(json.out.find("  \"lumo\": null,\n  \"gap\": null,\n"), std::string::npos) << json.out;
}

// Water's eight electrons fill four of six orbitals; NO's eleven leave the sixth of eight
// singly occupied, and that one is the HOMO.
TEST(TbcalcEnergy, HomoIsTheHighestOccupiedOrbitalEvenWhenHalfFilled) {
  for (const auto& [input, orbitals, homo] : std::vector<std::tuple<std::string, std::size_t, int>>{
           {water, 6, 4}, {"2\nNO\nN 0 0 0\nO 0 0 1.15\n", 8, 6}}) {
    temp_dir dir;
    write_text(dir / "m.xyz", input);
    const auto r = tbcalc({"energy", "--json", "m.xyz"}, dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    const auto eps = json_numbers(r.out, "orbital_energies");
    ASSERT_EQ(eps.size(), orbitals);
    EXPECT_EQ(json_number(r.out, "homo_orbital"), homo);
    EXPECT_EQ(json_number(r.out, "homo"), eps[homo - 1]);
    EXPECT_EQ(json_number(r.out, "lumo"), eps[homo]);
    EXPECT_EQ(json_number(r.out, "gap"), eps[homo] - eps[homo - 1]);
  }
}

TEST(TbcalcInput, FileFaultsNameTheFileAndLeaveStandardOutputEmpty) {
  temp_dir dir;
  std::filesystem::create_directory(dir / "sub");
  write_text(dir / "bad.xyz", "1\nw\nH   0.0   abc   1.0\n");
  struct fault {
    std::string file;
    int status;
    std::string err;
  };
  for (const fault& f : std::vector<fault>{
           {"missing.xyz", 2, "tbcalc: missing.xyz: error: cannot open: No such file or directory\n"},
           {"sub", 2, "tbcalc: sub: error: is a directory, not a structure file\n"},
           {"bad.xyz", 2,
            "tbcalc: bad.xyz:3:11: error: 'abc' is not a real number\n"
            "    3 | H   0.0   abc   1.0\n"
            "      |           ^~~\n"},
       })
    for (const char* command : {"energy", "freq", "relax"}) {
      const auto r = tbcalc({command, f.file}, dir.path());
      EXPECT_EQ(r.status, f.status) << command << ' ' << f.file;
      EXPECT_EQ(r.err, f.err) << command;
      EXPECT_EQ(r.out, "") << command;
    }
  EXPECT_FALSE(std::filesystem::exists(dir / "missing.xyz"));  // never created
}

TEST(TbcalcInput, RejectionsNameTheFaultAndKeepTheirStatus) {
  temp_dir dir;
  struct rejected {
    std::string input, err;
    int status;
    bool tbrelax_symbols = false;
  };
  for (const rejected& c : std::vector<rejected>{
           {"3\nw\nH 0 0 0\nH 0 0 1\n", "tbcalc: f.xyz:1:1: error: the file declares 3 atoms but holds 2 atom lines\n", 1},
           {"2\nw\nH 0 0 0\nCl 0 0 1\n",
            "tbcalc: f.xyz:4:1: error: 'Cl' is not an element of the model: only H, C, N and O\n"
            "    4 | Cl 0 0 1\n"
            "      | ^~\n",
            1},
           {"2\nw\nH 0 0 0\nH 0 0 1\nX 0 1 0\n",
            "tbcalc: f.xyz:1:1: error: an atom line after the first one names an element other than H, C, N or O\n", 1,
            true},
           {"0\nnothing\n", "tbcalc: f.xyz: error: the file holds no atoms\n", 1},
           {"3\nw\nH 0 0 0\nO 1 1 1\nH 1 1 1\n", "tbcalc: f.xyz: error: atoms 2 and 3 are at the same position\n", 1},
           {"2\nw\nH 0 0 0\nH 0 0 1e-9\n", "tbcalc: f.xyz: error: the energy or a force is not a finite number\n", 3},
       }) {
    write_text(dir / "f.xyz", c.input);
    std::vector<std::string> args{"energy", "--json", "f.xyz"};
    if (c.tbrelax_symbols) args.push_back("--tbrelax-symbols");
    const auto r = tbcalc(args, dir.path());
    EXPECT_EQ(r.status, c.status) << c.input;
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(r.out, "");
  }
}

TEST(TbcalcInput, TbrelaxSymbolsReadTheFirstCharacterAndWarnAsTbrelaxDoes) {
  temp_dir dir;
  write_text(dir / "x.xyz", "2\nw\nX 0 0 0\nH 0 0 0\nCl 0 0 1.1\n");
  const auto r = tbcalc({"energy", "--tbrelax-symbols", "x.xyz"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err,
            " WARNING: Inadmissible chemical element: X in x.xyz\n"
            "  You Can use only follow elements: H, C, N, O\n"
            " WARNING: Inadmissible chemical element: X\n"
            " in x.xyz. You Can use only follow elements: H, C, N, O\n");
  EXPECT_TRUE(r.out.starts_with("x.xyz: w, 2 atoms (CH)\n"));  // Cl read as C
}

TEST(TbcalcCommandLine, HelpAndVersionGoToStandardOutput) {
  temp_dir dir;
  const auto help = tbcalc({"-h"}, dir.path());
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(help.out.starts_with("Usage: tbcalc COMMAND [OPTIONS] FILE...\n"));
  EXPECT_NE(help.out.find("  relax FILE..."), std::string::npos);
  EXPECT_EQ(help.err, "");
  const auto freq = tbcalc({"freq", "--help"}, dir.path());
  EXPECT_EQ(freq.status, 0);
  EXPECT_TRUE(freq.out.starts_with(
      "Usage: tbcalc freq [--json] [--molden OUT] [--displace-imaginary OUT] [THERMO OPTIONS] FILE...\n"));
  // Help wins over what else the line holds, even a file that does not exist.
  EXPECT_EQ(tbcalc({"relax", "nothere.xyz", "-h"}, dir.path()).status, 0);
  const auto version = tbcalc({"--version"}, dir.path());
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, "tbcalc " TBRELAX_VERSION "\n");
}

#ifdef TBRELAX_HAVE_ELPA
constexpr bool distributed_built = true;
#else
constexpr bool distributed_built = false;
#endif

TEST(TbcalcCommandLine, UsageErrorsEndWithStatus64) {
  temp_dir dir;
  write_text(dir / "w.xyz", water);
  struct usage {
    std::vector<std::string> args;
    std::string first_line;
  };
  for (const usage& u : std::vector<usage>{
           {{}, "tbcalc: no command given"},
           {{"optimise", "w.xyz"}, "tbcalc: unknown command 'optimise'"},
           {{"--json", "energy", "w.xyz"}, "tbcalc: unknown option '--json'"},
           {{"energy", "--molden", "m", "w.xyz"}, "tbcalc: unknown option '--molden'"},
           {{"freq", "--molden", "m", "w.xyz", "w.xyz"}, "tbcalc: --molden takes one FILE only"},
           {{"freq", "w.xyz", "--molden"}, "tbcalc: option '--molden' needs a file name"},
           {{"freq", "--displace-imaginary", "d.xyz", "w.xyz", "w.xyz"},
            "tbcalc: --displace-imaginary takes one FILE only"},
           {{"freq", "--verify-threshold", "-50", "w.xyz"},
            "tbcalc: --verify-threshold: a number above 0 is needed, not '-50'"},
           {{"freq", "--escape-step=inf", "w.xyz"}, "tbcalc: --escape-step: a number above 0 is needed, not 'inf'"},
           {{"energy", "--no-verify", "w.xyz"}, "tbcalc: unknown option '--no-verify'"},
           {{"relax", "-o", "r.xyz", "w.xyz", "w.xyz"}, "tbcalc: -o and --trajectory take one FILE only"},
           {{"freq", "--temperature", "-5", "w.xyz"}, "tbcalc: --temperature needs a positive number of kelvin, not '-5'"},
           {{"freq", "--pressure=2psi", "w.xyz"},
            "tbcalc: --pressure needs a positive number of Pa, bar or atm (101325, 1bar, 1atm), not '2psi'"},
           {{"freq", "w.xyz", "--symmetry-number", "2.5"},
            "tbcalc: --symmetry-number needs a whole number from 1 up, not '2.5'"},
           {{"freq", "--soft-mode-cutoff", "x", "w.xyz"},
            "tbcalc: --soft-mode-cutoff needs a wavenumber from 0 up (cm^-1), not 'x'"},
           {{"energy", "--temperature", "300", "w.xyz"}, "tbcalc: unknown option '--temperature'"},
           {{"freq", "--distributed", "w.xyz"}, "tbcalc: --distributed works with energy and relax only"},
           {{"energy", "--block", "8", "w.xyz"}, "tbcalc: --block needs --distributed"},
           {{"relax", "--distributed", "--block", "0", "w.xyz"},
            "tbcalc: --block: a whole number of at least 1 is needed, not '0'"},
           {{"energy", "--distributed", "w.xyz", "w.xyz"},
            distributed_built ? "tbcalc: --distributed takes one FILE only"
                              : "tbcalc: --distributed needs a build with ELPA (TBRELAX_ELPA=ON)"},
       }) {
    const auto r = tbcalc(u.args, dir.path());
    EXPECT_EQ(r.status, 64) << u.first_line;
    EXPECT_TRUE(r.err.starts_with(u.first_line + "\nUsage: tbcalc ")) << r.err;
    EXPECT_NE(r.err.find("for more information"), std::string::npos);
    EXPECT_EQ(r.out, "");
  }
  EXPECT_FALSE(std::filesystem::exists(dir / "r.xyz"));
}

}  // namespace
}  // namespace tbrelax
