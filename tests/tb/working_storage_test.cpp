#include "tb/working_storage.hpp"

#include <gtest/gtest.h>

#include "bench/heap_tracking.hpp"
#include "bench/molecules.hpp"
#include "driver/model_session.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

constexpr std::uint64_t MiB = 1 << 20, GiB = MiB << 10;

// The message names the need, the purpose and the headroom; needs that fit, and small ones,
// pass.
TEST(WorkingStorage, RefusalMessages) {
  struct refusal {
    std::uint64_t need;
    std::optional<memory_headroom> available;
    std::string message;  // "" when the need passes
  };
  for (const refusal& r : std::vector<refusal>{
           {61 * GiB + 300 * MiB, memory_headroom{22 * GiB + 100 * MiB, "memory"},
            "needs 61.3 GiB for 30000 basis functions; 22.1 GiB available (memory)"},
           {1536 * MiB, memory_headroom{700 * MiB, "address-space limit"},
            "needs 1.5 GiB for 30000 basis functions; 700 MiB available (address-space limit)"},
           {20 * MiB, memory_headroom{0, "cgroup limit"},
            "needs 20 MiB for 30000 basis functions; 0 MiB available (cgroup limit)"},
           {20 * MiB, memory_headroom{20 * MiB, "memory"}, ""},
           {15 * MiB, memory_headroom{0, "memory"}, ""},
           {100 * GiB, std::nullopt, ""},
       }) {
    try {
      check_memory(r.need, "for 30000 basis functions", r.available);
      EXPECT_EQ(r.message, "") << r.need;
    } catch (const out_of_memory& e) {
      EXPECT_EQ(e.what(), r.message);
      EXPECT_EQ(e.status(), 4);
    }
  }
}

// The estimate bounds what an evaluation really takes at its peak, and not by so much that it
// would refuse runs that fit.
TEST(WorkingStorage, BoundsThePeakOfAnEvaluation) {
#ifndef TBRELAX_HEAP_TRACKING
  GTEST_SKIP() << "this build does not count the heap";
#else
  for (const char* family : {"alkane", "flake"}) {
    const bench::molecule_spec m = bench::molecule_near(family, 600);
    model_session s;
    load_molecule(s.c, m.types, m.positions);
    const std::size_t before = bench::heap_in_use();
    bench::reset_heap_peak();
    force(s.c, s.model);
    const double peak = static_cast<double>(bench::heap_peak() - before);
    const double bound = static_cast<double>(evaluation_storage_bytes(s.c.wfunc_count));
    EXPECT_LE(peak, bound) << family << " " << peak / bound;
    EXPECT_GE(peak, 0.8 * bound) << family << " " << peak / bound;
  }
#endif
}

}  // namespace
}  // namespace tbrelax
