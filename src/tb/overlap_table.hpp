#pragma once
// The distance-independent constants of the unequal-exponent overlap formulas for every pair
// of elements of one parameter set. Building it costs about as much as a few dozen pair
// evaluations; the per-pair batches then run about three times as fast. Results are the same
// bit for bit with or without a table.

#include <array>
#include <optional>

#include "state/param.hpp"
#include "tb/overlap_forms.hpp"

namespace tbrelax {

class overlap_table {
 public:
  explicit overlap_table(const param& par);

  const shell_table& ksi() const { return ksi_; }

  // Null where the pair takes an equal-exponent form (or has no such orbitals).
  const overlap_detail::unequal_form<3, 2>* h_s(int j) const { return get(h_s_[j - 1]); }
  const overlap_detail::unequal_form<4, 3>* h_p(int j) const { return get(h_p_[j - 1]); }
  const overlap_detail::unequal_form<3, 3>* s_s(int i, int j) const { return get(s_s_[index(i, j)]); }
  const overlap_detail::unequal_form<4, 4>* s_p(int i, int j) const { return get(s_p_[index(i, j)]); }
  const overlap_detail::p_p_forms* p_p(int i, int j) const { return get(p_p_[index(i, j)]); }

 private:
  static constexpr int index(int i, int j) { return (i - 1) + 4 * (j - 1); }
  template <class T>
  static const T* get(const std::optional<T>& x) {
    return x ? &*x : nullptr;
  }

  shell_table ksi_;
  std::array<std::optional<overlap_detail::unequal_form<3, 2>>, 4> h_s_;
  std::array<std::optional<overlap_detail::unequal_form<4, 3>>, 4> h_p_;
  std::array<std::optional<overlap_detail::unequal_form<3, 3>>, 16> s_s_;
  std::array<std::optional<overlap_detail::unequal_form<4, 4>>, 16> s_p_;
  std::array<std::optional<overlap_detail::p_p_forms>, 16> p_p_;
};

}  // namespace tbrelax
