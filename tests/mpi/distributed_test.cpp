// tbcalc energy and relax --distributed: the one-process results (energies within 1e-9 eV,
// forces within 1e-7 eV/Å) whatever the process grid and however often the blocks wrap round it.
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

#include "bench/molecules.hpp"
#include "e2e/tbcalc_test_support.hpp"
#include "mpiexec.hpp"

namespace tbrelax {
namespace {

using testing::json_numbers;
using testing::temp_dir;

std::string flake_xyz(int basis) {
  const bench::molecule_spec m = bench::molecule_near("flake", basis);
  std::string text = std::to_string(m.types.size()) + "\n" + m.formula + "\n";
  char line[128];
  for (std::size_t a = 0; a < m.types.size(); ++a) {
    std::snprintf(line, sizeof line, "%c %.17g %.17g %.17g\n", "HCNO"[m.types[a] - 1], m.positions[a][0],
                  m.positions[a][1], m.positions[a][2]);
    text += line;
  }
  return text;
}

// The overlap warnings as (index, value).
std::vector<std::pair<int, double>> overlap_warnings(const std::string& err) {
  std::vector<std::pair<int, double>> found;
  std::istringstream in(err);
  for (std::string line; std::getline(in, line);) {
    int k = 0;
    double v = 0;
    if (std::sscanf(line.c_str(), "  Error S<0. %d %lf", &k, &v) == 2) found.emplace_back(k, v);
  }
  return found;
}

std::string route(const std::string& doc) { return doc.substr(doc.find("\"electronic_route\""), 32); }

struct distributed_case {
  std::string name, xyz;
  int ranks, block;
};
void PrintTo(const distributed_case& d, std::ostream* os) { *os << d.name; }

class DistributedEnergy : public ::testing::TestWithParam<distributed_case> {};

TEST_P(DistributedEnergy, AgreesWithOneProcess) {
  const distributed_case& d = GetParam();
  temp_dir dir;
  testing::write_text(dir / "m.xyz", d.xyz);
  const auto alone = testing::tbcalc({"energy", "--json", "m.xyz"}, dir.path());
  const auto shared = testing::run_program(
      TBRELAX_MPIEXEC,
      testing::mpiexec_args(d.ranks,
                            {"energy", "--json", "--distributed", "--block", std::to_string(d.block), "m.xyz"}),
      dir.path(), "");
  ASSERT_EQ(shared.status, 0) << shared.err;
  ASSERT_EQ(alone.status, 0) << alone.err;
  EXPECT_EQ(route(shared.out), route(alone.out));
  for (const char* key : {"energy", "orbital_energies", "charges", "dipole", "forces"}) {
    const auto got = json_numbers(shared.out, key), want = json_numbers(alone.out, key);
    ASSERT_EQ(got.size(), want.size()) << key;
    // Forces near 1e8 eV/Å (two atoms almost on top of each other) carry rounding to scale.
    const double tolerance = std::string(key) == "forces" ? 1e-7 : 1e-9;
    for (std::size_t k = 0; k < got.size(); ++k)
      EXPECT_NEAR(got[k], want[k], tolerance * std::max(1.0, std::abs(want[k]))) << key << " " << k;
  }
  const auto warned = overlap_warnings(shared.err), expected = overlap_warnings(alone.err);
  ASSERT_EQ(warned.size(), expected.size()) << shared.err;
  for (std::size_t k = 0; k < warned.size(); ++k) {
    EXPECT_EQ(warned[k].first, expected[k].first);
    EXPECT_NEAR(warned[k].second, expected[k].second, 1e-12);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DistributedEnergy,
    ::testing::Values(distributed_case{"flake_2", flake_xyz(800), 2, 64},
                      distributed_case{"flake_4_wrapped", flake_xyz(800), 4, 16},
                      distributed_case{"odd_electrons_2",
                                       "4\nCH3\nC 0 0 0.05\nH 1.08 0 0\nH -0.5 0.95 0\nH -0.56 -0.92 0\n", 2, 1},
                      distributed_case{"overlap_not_positive_4",
                                       "4\nclose\nN 0 0 0\nO 1e-8 0 0\nH 0.3 1.0 0.2\nH -0.5 -0.2 0.9\n", 4, 1}),
    [](const auto& info) { return info.param.name; });

// Every rank runs the same optimiser steps on the same forces; rank 0 alone writes the result.
TEST(DistributedRelax, AgreesWithOneProcess) {
  temp_dir dir;
  std::filesystem::copy_file(std::filesystem::path(TBRELAX_SOURCE_DIR) / "examples/ammonia/input.xyz", dir / "a.xyz");
  // Plain L-BFGS without the minimum check: the check's finite-difference curvatures would
  // magnify the two solvers' rounding into the end point.
  const auto alone =
      testing::tbcalc({"relax", "--json", "--method", "lbfgs", "--no-verify", "-o", "alone.xyz", "a.xyz"}, dir.path());
  const auto shared = testing::run_program(
      TBRELAX_MPIEXEC,
      testing::mpiexec_args(2, {"relax", "--json", "--method", "lbfgs", "--no-verify", "--distributed", "--block", "2",
                                "a.xyz"}),
      dir.path(), "");
  ASSERT_EQ(shared.status, 0) << shared.err;
  EXPECT_EQ(json_numbers(shared.out, "steps"), json_numbers(alone.out, "steps"));
  EXPECT_NEAR(json_numbers(shared.out, "energy")[0], json_numbers(alone.out, "energy")[0], 1e-9);
  const auto got = json_numbers(shared.out, "positions"), want = json_numbers(alone.out, "positions");
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t k = 0; k < got.size(); ++k) EXPECT_NEAR(got[k], want[k], 1e-7);
  EXPECT_TRUE(std::filesystem::exists(dir / "a.relaxed.xyz"));
}

}  // namespace
}  // namespace tbrelax
