// tbcalc freq: harmonic vibrations of the model's molecules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "tbcalc_test_support.hpp"

namespace tbrelax {
namespace {

using testing::json_number;
using testing::json_numbers;
using testing::read_text;
using testing::tbcalc;
using testing::temp_dir;
using testing::write_text;

// The relaxed water of the bundled example: the atom lines of its report.
std::string relaxed_water() {
  std::istringstream report(read_text(std::filesystem::path(TBRELAX_SOURCE_DIR) / "examples/water/expected_output.xyz"));
  std::string text, line;
  for (int k = 0; k < 5 && std::getline(report, line); ++k) text += line + "\n";
  return text;
}

struct freq_run {
  temp_dir dir;
  testing::run_result r;
  explicit freq_run(const std::string& input, const std::vector<std::string>& extra = {}) {
    write_text(dir / "m.xyz", input);
    std::vector<std::string> args{"freq", "--json", "m.xyz"};
    args.insert(args.end(), extra.begin(), extra.end());
    r = tbcalc(args, dir.path());
  }
  std::vector<double> frequencies() const { return json_numbers(r.out, "frequencies"); }
  std::vector<double> rigid() const { return json_numbers(r.out, "rigid_modes"); }
};

TEST(TbcalcFreq, RelaxedWaterHasThreeVibrationsAndSixNearZeroModes) {
  freq_run run(relaxed_water(), {"--molden", "w.molden"});
  ASSERT_EQ(run.r.status, 0) << run.r.err;
  const auto nu = run.frequencies();
  ASSERT_EQ(nu.size(), 3u);
  EXPECT_TRUE(std::is_sorted(nu.begin(), nu.end()));
  EXPECT_GT(nu[0], 1000.0);  // the bend; then the two stretches
  ASSERT_EQ(run.rigid().size(), 6u);
  for (double r : run.rigid()) EXPECT_LT(std::abs(r), 50.0);  // what the rounded report leaves of the forces
  EXPECT_NE(run.r.out.find("\"linear\": false"), std::string::npos);
  EXPECT_NEAR(json_number(run.r.out, "zero_point_energy"), 0.5 * 1.239841984e-4 * (nu[0] + nu[1] + nu[2]), 1e-9);
  EXPECT_EQ(json_numbers(run.r.out, "normal_modes").size(), 3u * 9u);
  // Every mode of water changes its dipole: three IR-active bands.
  const auto intensity = json_numbers(run.r.out, "ir_intensities");
  ASSERT_EQ(intensity.size(), 3u);
  for (double I : intensity) EXPECT_GT(I, 10.0);

  // The Molden file's own layout is checked where it is written; here only that it is.
  EXPECT_TRUE(read_text(run.dir / "w.molden").starts_with("[Molden Format]\n[Atoms] AU\nO "));
  // The report holds the molecule as read, not as the displacements' rounding left it.
  const auto as_read = tbcalc({"energy", "--json", "m.xyz"}, run.dir.path());
  EXPECT_EQ(json_numbers(run.r.out, "positions"), json_numbers(as_read.out, "positions"));
}

TEST(TbcalcFreq, FrequenciesIgnoreRotationTranslationAndAtomOrder) {
  freq_run plain(relaxed_water());
  // The same molecule turned by an orthogonal matrix with rational entries, moved, and listed
  // H, O, H.
  std::istringstream in(relaxed_water().substr(relaxed_water().find(" O")));
  std::string symbol[3], moved = "3\nturned\n";
  double r[3][3];
  for (int a = 0; a < 3; ++a) in >> symbol[a] >> r[a][0] >> r[a][1] >> r[a][2];
  const double R[3][3] = {{2. / 3, -1. / 3, 2. / 3}, {2. / 3, 2. / 3, -1. / 3}, {-1. / 3, 2. / 3, 2. / 3}};
  for (int a : {1, 0, 2}) {
    double p[3];
    for (int i = 0; i < 3; ++i) p[i] = R[i][0] * r[a][0] + R[i][1] * r[a][1] + R[i][2] * r[a][2] + 3.5 - i;
    char line[128];
    std::snprintf(line, sizeof line, "%s %.17g %.17g %.17g\n", symbol[a].c_str(), p[0], p[1], p[2]);
    moved += line;
  }
  freq_run turned(moved);
  ASSERT_EQ(turned.r.status, 0) << turned.r.err;
  const auto a = plain.frequencies(), b = turned.frequencies();
  ASSERT_EQ(a.size(), 3u);
  ASSERT_EQ(b.size(), 3u);
  for (int m = 0; m < 3; ++m) EXPECT_NEAR(a[m], b[m], 0.05) << m;  // finite-difference noise only
}

TEST(TbcalcFreq, HumanReportOfASingleAtom) {
  temp_dir dir;
  write_text(dir / "c.xyz", "1\natom\nC 1 2 3\n");
  const auto r = tbcalc({"freq", "c.xyz"}, dir.path());
  EXPECT_EQ(r.status, 0) << r.err;
  // A free atom has only its translations: 5/2 k T and the Sackur-Tetrode entropy of 12 amu.
  EXPECT_EQ(r.out,
            "c.xyz: atom, 1 atom (C), a single atom\n"
            "Vibrational modes (imaginary ones negative):\n"
            "  mode   wavenumber (cm^-1)   IR intensity (km/mol)\n"
            "  none\n"
            "Translations and rotations (cm^-1):\n"
            "     1               0.0000\n"
            "     2               0.0000\n"
            "     3               0.0000\n"
            "\n"
            "Thermochemistry at 298.15 K and 101325 Pa (ideal gas, rigid rotor, harmonic oscillator)\n"
            "  symmetry number 1 (from the geometry), spin multiplicity 1\n"
            "  soft-mode cutoff 100 cm^-1 (entropy interpolated towards a free rotor): 0 modes below it\n"
            "                    H - E (eV)        S (meV/K)       T S (eV)\n"
            "  translational       0.064231         1.448270       0.431802\n"
            "  rotational          0.000000         0.000000       0.000000\n"
            "  vibrational         0.000000         0.000000       0.000000\n"
            "  electronic          0.000000         0.000000       0.000000\n"
            "Zero-point energy          0 eV\n"
            "Enthalpy H                 0.064231447802714628 eV\n"
            "Entropy S                  0.0014482704980927003 eV/K\n"
            "Gibbs energy G = H - T S  -0.36757040120362394 eV\n");
}

TEST(TbcalcFreq, ThermochemistryFollowsItsConditions) {
  // Against the defaults (298.15 K, 1 atm, symmetry number 2 found for water): a symmetry
  // number of 1 adds k ln 2 to S, 1 bar adds k ln 1.01325, and H - E grows with T.
  const double k = 8.617333262e-5;
  freq_run base(relaxed_water());
  ASSERT_EQ(base.r.status, 0) << base.r.err;
  EXPECT_EQ(json_number(base.r.out, "symmetry_number"), 2);
  EXPECT_NE(base.r.out.find("\"symmetry_number_detected\": true"), std::string::npos);
  const double S = json_number(base.r.out, "entropy"), H = json_number(base.r.out, "enthalpy");
  const struct {
    std::vector<std::string> options;
    double dS;
  } cases[] = {{{"--symmetry-number", "1"}, k * std::log(2.0)}, {{"--pressure=1bar"}, k * std::log(1.01325)}};
  for (const auto& c : cases) {
    freq_run other(relaxed_water(), c.options);
    ASSERT_EQ(other.r.status, 0) << other.r.err;
    EXPECT_NEAR(json_number(other.r.out, "entropy") - S, c.dS, 1e-12) << c.options[0];
  }
  freq_run hot(relaxed_water(), {"--temperature", "500"});
  EXPECT_EQ(json_number(hot.r.out, "temperature"), 500.0);
  EXPECT_GT(json_number(hot.r.out, "enthalpy"), H + 4 * k * 200);  // at least the 4 k dT of gas and rotor
}

// Ozone's symmetric saddle point, where the optimiser alone stops: freq says it is not a
// minimum and writes the geometry displaced to the lower side of its imaginary mode, from which
// a relaxation finds the minimum; a minimum gets no such file.
TEST(TbcalcFreq, SaddlePointIsFlaggedAndDisplacedAlongItsImaginaryMode) {
  temp_dir dir;
  write_text(dir / "o3.xyz", "3\nozone\nO 0 0 0\nO 1.08 0.66 0\nO -1.08 0.66 0\n");
  ASSERT_EQ(tbcalc({"relax", "--no-verify", "-o", "saddle.xyz", "o3.xyz"}, dir.path()).status, 0);
  const auto text = tbcalc({"freq", "--displace-imaginary", "away.xyz", "saddle.xyz"}, dir.path());
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_NE(text.out.find("\nNot a minimum: 1 imaginary mode beyond -50 cm^-1 (lowest -12"), std::string::npos);
  EXPECT_NE(text.out.find("\nDisplaced along the lowest mode to away.xyz (E = "), std::string::npos);
  const auto json = tbcalc({"freq", "--json", "away.xyz"}, dir.path());
  EXPECT_LT(json_number(json.out, "energy"), -7.64);  // below the saddle point
  const auto relaxed = tbcalc({"relax", "--json", "--no-verify", "away.xyz"}, dir.path());
  EXPECT_LT(json_number(relaxed.out, "energy"), -16.9);

  const auto minimum = tbcalc({"freq", "--json", "--displace-imaginary", "none.xyz", "away.relaxed.xyz"}, dir.path());
  EXPECT_NE(minimum.out.find("\"minimum\": true,\n  \"imaginary_threshold\": 50,\n"
                             "  \"imaginary_beyond_threshold\": 0,\n  \"displaced_output\": null,"),
            std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(dir / "none.xyz"));
}

}  // namespace
}  // namespace tbrelax
