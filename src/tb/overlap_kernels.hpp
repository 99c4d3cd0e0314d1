#pragma once
// The overlap formulas proper, shared by the single-integral routines and the per-pair batches
// of overlap_integrals.hpp. Each takes the distance and, for each centre, the Slater exponent
// together with its decay e^(-zeta R), so that a batch computes every exponential once; the
// unequal-exponent formulas also take their distance-independent constants when a table holds
// them (null: computed here).
//
// Frame: centre A at the origin, centre B at distance R on +z; p-sigma orbitals are pz on
// both centres (pointing from A to B), p-pi orbitals px on both.
//
// The kernels live out of line, in their own translation unit: the batches must reproduce the
// single routines bit for bit, which is guaranteed only if both run the same compiled code.

#include "tb/double_double.hpp"
#include "tb/overlap_forms.hpp"

namespace tbrelax::overlap_detail {

// A Slater shell at the current distance: exponent zeta (1/angstrom) and e^(-zeta R).
struct slater_shell {
  double zeta;
  double_double decay;
};

// The shell of exponent zeta at distance R (the one exponential of the shell).
slater_shell shell_at(double zeta, double R);

struct p_p_overlaps {
  double sigma, pi;
};

// 1s on A, 1s on B, same exponent.
[[gnu::noinline]] double overlap_1s_1s(double R, slater_shell a);
// 1s on A, 2s on B; form = form_1s_2s(a.zeta, b.zeta).
[[gnu::noinline]] double overlap_1s_2s(double R, slater_shell a, slater_shell b, const unequal_form<3, 2>* form);
// 1s on A, 2p-sigma on B; form = form_1s_2p(a.zeta, b.zeta).
[[gnu::noinline]] double overlap_1s_2p(double R, slater_shell a, slater_shell b, const unequal_form<4, 3>* form);
// 2s on A, 2s on B, symmetric in (a, b) bit for bit; form = form_2s_2s(larger, smaller zeta).
[[gnu::noinline]] double overlap_2s_2s(double R, slater_shell a, slater_shell b, const unequal_form<3, 3>* form);
// 2s on A, 2p-sigma on B; form = form_2s_2p(a.zeta, b.zeta).
[[gnu::noinline]] double overlap_2s_2p(double R, slater_shell a, slater_shell b, const unequal_form<4, 4>* form);
// 2p on A, 2p on B, sigma and pi together, symmetric in (a, b) bit for bit;
// form = form_2p_2p(larger, smaller zeta).
[[gnu::noinline]] p_p_overlaps overlap_2p_2p(double R, slater_shell a, slater_shell b, const p_p_forms* form);

}  // namespace tbrelax::overlap_detail
