#include "driver/tbrelax_run.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

#include "state/errors.hpp"
#include "support/hooked_solver.hpp"
#include "support/test_support.hpp"

namespace tbrelax {
namespace {

// A NaN in the second block stops the run with its line after one pause and keeps the last
// finite report; one at the input geometry leaves no report at all.
TEST(TbrelaxRun, NonFiniteEnergyStopsWithItsLineAndKeepsOnlyAFiniteReport) {
  for (const int spoiled : {30, 1}) {
    testing::temp_dir dir;
    testing::scoped_cwd cwd(dir.path());
    testing::write_text(dir / "input.xyz", "3\nwater\nO 0.0 0.0 0.117\nH 0.0 0.757 -0.467\nH 0.0 -0.757 -0.467\n");
    std::ostringstream screen;
    std::istringstream keys("\n\n");
    console con(screen, keys);
    common_var c;
    param par;
    drive drv;
    testing::hooked_solver solver([spoiled](int call, const matrix&, electronic_result& out) {
      if (call == spoiled) out.eps.assign(out.eps.size(), std::numeric_limits<double>::quiet_NaN());
    });
    EXPECT_THROW(run_tbrelax(c, par, drv, con, solver), numerical_error);
    EXPECT_TRUE(screen.str().ends_with(std::string(" geometry optimization...\n") + (spoiled == 1 ? "" : " .\n") +
                                       " ERROR: The energy is not a finite number; the relaxation is stopped\n"))
        << screen.str();
    std::string rest;
    std::getline(keys, rest, '\0');
    EXPECT_EQ(rest, "\n");  // one pause
    ASSERT_EQ(std::filesystem::exists(dir / "output.xyz"), spoiled != 1);
    if (spoiled == 1) continue;
    const std::string report = testing::read_text(dir / "output.xyz");
    EXPECT_EQ(report.find("NaN"), std::string::npos);
    EXPECT_NE(report.find("eV per atom"), std::string::npos);
  }
}

}  // namespace
}  // namespace tbrelax
