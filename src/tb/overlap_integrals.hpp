#pragma once
// Two-centre overlap integrals of the valence Slater orbitals: 1s of hydrogen, 2s and 2p of
// C, N, O (element indices 1..4 = H, C, N, O; exponents par.ksi(element, shell)).
//
// Orbitals, exponent z: 1s (z^3/pi)^(1/2) e^(-zr); 2s (z^5/(3 pi))^(1/2) r e^(-zr) (nodeless);
// 2p (z^5/pi)^(1/2) r cos(theta) e^(-zr). Frame: atom A at the origin, atom B at distance R
// (angstrom) on +z. Both p-sigma orbitals are pz of this frame (pointing from A to B), both
// p-pi orbitals px: s(A)-p-sigma(B) and p-sigma-p-sigma are negative at bonding distances,
// p-pi-p-pi positive.
//
// Each value is within a few units in the last place of the exact integral for the given
// doubles, also where the closed forms cancel badly (close exponents), since the forces are
// taken by finite differences of these values. Nothing is checked: R > 0 and valid element
// indices are assumed.

#include "state/param.hpp"

namespace tbrelax {

class overlap_table;  // tb/overlap_table.hpp

// H 1s - H 1s.
double in1s1s(double R, const param& par);
// H 1s on A, 2s of element j on B.
double in1s2s(double R, int j, const param& par);
// H 1s on A, 2p-sigma of element j on B.
double in1s2p(double R, int j, const param& par);
// 2s of i on A, 2s of j on B; symmetric in (i, j), bit for bit.
double in2s2s(double R, int i, int j, const param& par);
// 2s of i on A, 2p-sigma of j on B (not symmetric: the s orbital stays on A).
double in2s2p(double R, int i, int j, const param& par);
// 2p-sigma of i on A, 2p-sigma of j on B; symmetric in (i, j), bit for bit.
double in2p2pq(double R, int i, int j, const param& par);
// 2p-pi of i on A, 2p-pi of j on B; symmetric in (i, j), bit for bit.
double in2p2ppi(double R, int i, int j, const param& par);

// Everything one pair of heavy atoms (ta on A, tb on B) needs, with each of the four
// exponentials computed once. Every member equals the single routine bit for bit.
struct heavy_heavy_overlap {
  double ss;     // in2s2s(R, ta, tb)
  double sp_ab;  // in2s2p(R, ta, tb): s of A, p-sigma of B
  double sp_ba;  // in2s2p(R, tb, ta): s of B, p-sigma of A, in B's own frame
  double sigma;  // in2p2pq(R, ta, tb)
  double pi;     // in2p2ppi(R, ta, tb)
};
heavy_heavy_overlap heavy_heavy_overlaps(double R, int ta, int tb, const param& par);
// The same values, about three times as fast, with the distance-independent constants from a
// table built once for the parameter set.
heavy_heavy_overlap heavy_heavy_overlaps(double R, int ta, int tb, const overlap_table& table);

// Everything a hydrogen (on A) and a heavy atom tb (on B) need, bit for bit equal to the
// single routines.
struct hydrogen_heavy_overlap {
  double ss;  // in1s2s(R, tb)
  double sp;  // in1s2p(R, tb)
};
hydrogen_heavy_overlap hydrogen_heavy_overlaps(double R, int tb, const param& par);
hydrogen_heavy_overlap hydrogen_heavy_overlaps(double R, int tb, const overlap_table& table);

}  // namespace tbrelax
