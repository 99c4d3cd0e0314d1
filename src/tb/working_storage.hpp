#pragma once
// The memory an evaluation and a Hessian hold at their peak, compared with what the process
// may still use before their large arrays are allocated: a run that cannot fit is refused with
// a message instead of failing half-way or being ended by the system.

#include <cstdint>
#include <optional>
#include <string>

#include "io/available_memory.hpp"
#include "state/common_var.hpp"

namespace tbrelax {

// Peak working storage of one evaluation for basis size n: S, H, P, W, the eigenvectors and
// the solvers' scratch stay below 9.5 n^2 doubles (measured: 8.5 to 9 n^2 with our own
// eigensolver, 9.2 n^2 with LAPACK), plus per-thread strips and vectors of O(n) (LAPACK's
// take about 140 n), bounded by 256 n.
std::uint64_t evaluation_storage_bytes(std::int64_t basis);

// The Hessian arrays of N atoms (hess, hesel, hesrep: 3 (3N)^2 doubles) and the vibrational
// analysis that follows them (mass-weighted copy, projector, modes: 5 (3N)^2 more).
std::uint64_t hessian_storage_bytes(std::int64_t atoms);

// "for 30000 basis functions", and with the Hessian "... and the Hessian of 2000 atoms".
std::string storage_purpose(const common_var& c, bool hessian);

// Throws out_of_memory, "needs 61.3 GiB for 30000 basis functions; 22.1 GiB available
// (memory)", when `need` bytes exceed the headroom. Needs below 16 MiB pass unchecked: they fit
// wherever the program could start, and reading the limits would cost more than a small
// evaluation.
void check_memory(std::uint64_t need, const std::string& purpose,
                  const std::optional<memory_headroom>& available);
void check_memory(std::uint64_t need, const std::string& purpose);

// The whole need of a run on c before anything large is allocated: one evaluation, and the
// Hessian with its analysis when `hessian`.
void check_memory_for(const common_var& c, bool hessian);

}  // namespace tbrelax
