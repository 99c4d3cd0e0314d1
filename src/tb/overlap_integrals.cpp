#include "tb/overlap_integrals.hpp"

#include "tb/overlap_kernels.hpp"
#include "tb/overlap_table.hpp"

namespace tbrelax {

using namespace overlap_detail;

namespace {

constexpr int hydrogen = 1;
constexpr int s_shell = 1, p_shell = 2;

// Supplies no precomputed constants: the kernels make them on the fly.
struct no_table {
  static constexpr const unequal_form<3, 2>* h_s(int) { return nullptr; }
  static constexpr const unequal_form<4, 3>* h_p(int) { return nullptr; }
  static constexpr const unequal_form<3, 3>* s_s(int, int) { return nullptr; }
  static constexpr const unequal_form<4, 4>* s_p(int, int) { return nullptr; }
  static constexpr const p_p_forms* p_p(int, int) { return nullptr; }
};

template <class Table>
heavy_heavy_overlap heavy_pair(double R, int ta, int tb, const shell_table& ksi, const Table& table) {
  const auto sa = shell_at(ksi(ta, s_shell), R), pa = shell_at(ksi(ta, p_shell), R);
  const auto sb = ta == tb ? sa : shell_at(ksi(tb, s_shell), R);
  const auto pb = ta == tb ? pa : shell_at(ksi(tb, p_shell), R);
  const auto pp = overlap_2p_2p(R, pa, pb, table.p_p(ta, tb));
  return {overlap_2s_2s(R, sa, sb, table.s_s(ta, tb)), overlap_2s_2p(R, sa, pb, table.s_p(ta, tb)),
          overlap_2s_2p(R, sb, pa, table.s_p(tb, ta)), pp.sigma, pp.pi};
}

template <class Table>
hydrogen_heavy_overlap hydrogen_pair(double R, int tb, const shell_table& ksi, const Table& table) {
  const auto h = shell_at(ksi(hydrogen, s_shell), R);
  return {overlap_1s_2s(R, h, shell_at(ksi(tb, s_shell), R), table.h_s(tb)),
          overlap_1s_2p(R, h, shell_at(ksi(tb, p_shell), R), table.h_p(tb))};
}

}  // namespace

double in1s1s(double R, const param& par) { return overlap_1s_1s(R, shell_at(par.ksi(hydrogen, s_shell), R)); }

double in1s2s(double R, int j, const param& par) {
  return overlap_1s_2s(R, shell_at(par.ksi(hydrogen, s_shell), R), shell_at(par.ksi(j, s_shell), R), nullptr);
}

double in1s2p(double R, int j, const param& par) {
  return overlap_1s_2p(R, shell_at(par.ksi(hydrogen, s_shell), R), shell_at(par.ksi(j, p_shell), R), nullptr);
}

double in2s2s(double R, int i, int j, const param& par) {
  return overlap_2s_2s(R, shell_at(par.ksi(i, s_shell), R), shell_at(par.ksi(j, s_shell), R), nullptr);
}

double in2s2p(double R, int i, int j, const param& par) {
  return overlap_2s_2p(R, shell_at(par.ksi(i, s_shell), R), shell_at(par.ksi(j, p_shell), R), nullptr);
}

double in2p2pq(double R, int i, int j, const param& par) {
  return overlap_2p_2p(R, shell_at(par.ksi(i, p_shell), R), shell_at(par.ksi(j, p_shell), R), nullptr).sigma;
}

double in2p2ppi(double R, int i, int j, const param& par) {
  return overlap_2p_2p(R, shell_at(par.ksi(i, p_shell), R), shell_at(par.ksi(j, p_shell), R), nullptr).pi;
}

heavy_heavy_overlap heavy_heavy_overlaps(double R, int ta, int tb, const param& par) {
  return heavy_pair(R, ta, tb, par.ksi, no_table{});
}

heavy_heavy_overlap heavy_heavy_overlaps(double R, int ta, int tb, const overlap_table& table) {
  return heavy_pair(R, ta, tb, table.ksi(), table);
}

hydrogen_heavy_overlap hydrogen_heavy_overlaps(double R, int tb, const param& par) {
  return hydrogen_pair(R, tb, par.ksi, no_table{});
}

hydrogen_heavy_overlap hydrogen_heavy_overlaps(double R, int tb, const overlap_table& table) {
  return hydrogen_pair(R, tb, table.ksi(), table);
}

}  // namespace tbrelax
