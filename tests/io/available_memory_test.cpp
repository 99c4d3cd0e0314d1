#include "io/available_memory.hpp"

#include <gtest/gtest.h>

#include <map>

namespace tbrelax {
namespace {

struct headroom_case {
  std::string name;
  memory_readings readings;
  std::map<std::string, std::string> files;  // control-group files
  std::optional<memory_headroom> expected;
};

void PrintTo(const headroom_case& c, std::ostream* os) { *os << c.name; }

class AvailableMemory : public ::testing::TestWithParam<headroom_case> {};

TEST_P(AvailableMemory, IsTheTightestLimit) {
  headroom_case c = GetParam();
  c.readings.read_file = [&](const std::string& path) { return c.files.contains(path) ? c.files.at(path) : ""; };
  const auto got = available_memory(c.readings);
  ASSERT_EQ(got.has_value(), c.expected.has_value());
  if (!got) return;
  EXPECT_EQ(got->bytes, c.expected->bytes);
  EXPECT_EQ(got->limit, c.expected->limit);
}

const std::string meminfo = "MemTotal:       24683620 kB\nMemFree:        22933168 kB\nMemAvailable:    2097152 kB\n";
const std::string status = "Name:\ttbrelax\nVmPeak:\t  300000 kB\nVmSize:\t  204800 kB\nVmData:\t  102400 kB\n";
constexpr std::uint64_t MiB = 1 << 20;

INSTANTIATE_TEST_SUITE_P(
    Readings, AvailableMemory,
    ::testing::Values(
        headroom_case{"NothingKnown", {}, {}, std::nullopt},
        headroom_case{"MemAvailable", {.meminfo = meminfo}, {}, memory_headroom{2048 * MiB, "memory"}},
        // v2: the group itself has no limit, its parent one of 1 GiB of which 100 MiB are used.
        headroom_case{"CgroupV2Parent",
                      {.meminfo = meminfo, .self_cgroup = "0::/a/b\n"},
                      {{"/sys/fs/cgroup/a/b/memory.max", "max\n"},
                       {"/sys/fs/cgroup/a/b/memory.current", "50000\n"},
                       {"/sys/fs/cgroup/a/memory.max", "1073741824\n"},
                       {"/sys/fs/cgroup/a/memory.current", "104857600\n"}},
                      memory_headroom{924 * MiB, "cgroup limit"}},
        // v1: 2^63 rounded to pages means no limit; the root of the hierarchy has one.
        headroom_case{"CgroupV1Root",
                      {.meminfo = meminfo, .self_cgroup = "5:cpu,cpuacct:/x\n4:memory:/x\n"},
                      {{"/sys/fs/cgroup/memory/x/memory.limit_in_bytes", "9223372036854771712\n"},
                       {"/sys/fs/cgroup/memory/x/memory.usage_in_bytes", "4096\n"},
                       {"/sys/fs/cgroup/memory/memory.limit_in_bytes", "524288000\n"},
                       {"/sys/fs/cgroup/memory/memory.usage_in_bytes", "104857600\n"},
                       {"/sys/fs/cgroup/cpu,cpuacct/x/memory.limit_in_bytes", "1\n"}},
                      memory_headroom{400 * MiB, "cgroup limit"}},
        headroom_case{"AddressSpaceBeyondWhatIsMapped",
                      {.meminfo = meminfo, .self_status = status, .address_space_limit = 1024 * MiB},
                      {},
                      memory_headroom{824 * MiB, "address-space limit"}},
        headroom_case{"DataLimitAlreadyExceeded",
                      {.meminfo = meminfo, .self_status = status, .address_space_limit = 1024 * MiB, .data_limit = 64 * MiB},
                      {},
                      memory_headroom{0, "data-size limit"}}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace tbrelax
