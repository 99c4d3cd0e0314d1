// tbcalc under mpiexec: whatever the number of ranks, the same report, status and files as one
// process writes, and a rank that dies ends the job instead of leaving the others waiting.
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "mpiexec.hpp"
#include "support/run_program.hpp"
#include "support/test_support.hpp"

namespace tbrelax {
namespace {

using testing::mpiexec_args;
using testing::read_text;
using testing::run_program;
using testing::temp_dir;
using testing::write_text;

const std::filesystem::path examples = std::filesystem::path(TBRELAX_SOURCE_DIR) / "examples";

// The bundled molecules as NAME.xyz, one file the reader rejects, and no missing.xyz.
void write_inputs(const std::filesystem::path& dir) {
  for (const char* name : {"water", "methane", "ammonia", "formaldehyde", "benzene"})
    std::filesystem::copy_file(examples / name / "input.xyz", dir / (std::string(name) + ".xyz"));
  write_text(dir / "bad.xyz", "3\nb\nH 0 0 0\n");
}

// How often each line of tbcalc's own (the job's launcher adds notes of its own).
std::map<std::string, int> tbcalc_lines(const std::string& text) {
  std::map<std::string, int> count;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    if (line.starts_with("tbcalc: ") || line.find(": block ") != std::string::npos) ++count[line];
  return count;
}

struct mpi_case {
  std::string name;
  std::vector<std::string> args;     // the command line, files included
  int ranks;
  std::vector<std::string> written;  // files the command writes
};

void PrintTo(const mpi_case& m, std::ostream* os) { *os << m.name; }

class TbcalcUnderMpiexec : public ::testing::TestWithParam<mpi_case> {};

TEST_P(TbcalcUnderMpiexec, ReportsAndWritesWhatOneProcessDoes) {
  const mpi_case& m = GetParam();
  temp_dir alone, shared;
  write_inputs(alone.path());
  write_inputs(shared.path());
  const auto expected = run_program(testing::built_program("tbcalc"), m.args, alone.path(), "");
  const auto r = run_program(TBRELAX_MPIEXEC, mpiexec_args(m.ranks, m.args), shared.path(), "");
  EXPECT_EQ(r.status, expected.status) << r.err;
  EXPECT_EQ(r.out, expected.out);
  // Every warning, fault and progress line once, as alone, though from different ranks.
  EXPECT_EQ(tbcalc_lines(r.err), tbcalc_lines(expected.err)) << r.err;
  for (const std::string& file : m.written) EXPECT_EQ(read_text(shared / file), read_text(alone / file)) << file;
}

const std::vector<std::string> batch{"benzene.xyz", "water.xyz", "bad.xyz", "missing.xyz", "methane.xyz", "formaldehyde.xyz"};
std::vector<std::string> with_batch(std::vector<std::string> args) {
  args.insert(args.end(), batch.begin(), batch.end());
  return args;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, TbcalcUnderMpiexec,
    ::testing::Values(
        mpi_case{"energy_json_2", with_batch({"energy", "--json"}), 2, {}},
        mpi_case{"energy_text_4", with_batch({"energy"}), 4, {}},
        mpi_case{"freq_files_2", with_batch({"freq", "--json"}), 2, {}},
        mpi_case{"relax_json_3",
                 with_batch({"relax", "--json"}),
                 3,
                 {"benzene.relaxed.xyz", "water.relaxed.xyz", "methane.relaxed.xyz", "formaldehyde.relaxed.xyz"}},
        mpi_case{"relax_trajectory_2", {"relax", "--trajectory", "t.xyz", "ammonia.xyz"}, 2, {"ammonia.relaxed.xyz", "t.xyz"}},
        mpi_case{"freq_hessian_1", {"freq", "--json", "--molden", "m.molden", "formaldehyde.xyz"}, 1, {"m.molden"}},
        mpi_case{"freq_hessian_2", {"freq", "--json", "--molden", "m.molden", "benzene.xyz"}, 2, {"m.molden"}},
        mpi_case{"freq_hessian_4", {"freq", "benzene.xyz"}, 4, {}},
        mpi_case{"freq_hessian_bad_2", {"freq", "bad.xyz"}, 2, {}}),
    [](const auto& info) { return info.param.name; });

// Open MPI ends the whole job when one rank dies: the others are killed, nothing is reported,
// and the launcher's status is not 0. Files finished before stay written.
TEST(TbcalcMpiFailure, ARankThatDiesEndsTheJob) {
  temp_dir dir;
  const std::string benzene = read_text(examples / "benzene/input.xyz");
  const int files = 200;
  std::string names;
  for (int k = 0; k < files; ++k) {
    const std::string name = "b" + std::to_string(1000 + k) + ".xyz";
    write_text(dir / name, benzene);
    names += " " + name;
  }
  std::string launch = TBRELAX_MPIEXEC;
  for (const std::string& a : mpiexec_args(2, {})) launch += " '" + a + "'";
  launch.erase(launch.rfind(' '));  // tbcalc itself starts under the shell below
  // Each rank records its process id; once the relaxations are under way (steepest descent
  // reports blocks) rank 1 is killed.
  const std::string script =
      launch + " /bin/sh -c 'echo $$ > pid.${OMPI_COMM_WORLD_RANK:-${PMIX_RANK:-$PMI_RANK}}; exec \"$0\" \"$@\"' " +
      testing::built_program("tbcalc").string() + " relax --method sd --json" + names +
      " > out 2> err &\n"
      "job=$!\n"
      "for i in $(seq 1200); do [ -s pid.1 ] && grep -q ': block' err && break; sleep 0.1; done\n"
      "kill -KILL \"$(cat pid.1)\"\n"
      "wait $job\n"
      "echo $? > status\n";
  const auto r = run_program("/bin/sh", {"-c", script}, dir.path(), "");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(std::stoi(read_text(dir / "status")), 0);
  EXPECT_EQ(read_text(dir / "out"), "");
  int relaxed = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
    relaxed += entry.path().string().ends_with(".relaxed.xyz");
  EXPECT_LT(relaxed, files);
}

}  // namespace
}  // namespace tbrelax
