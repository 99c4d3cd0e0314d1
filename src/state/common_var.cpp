#include "state/common_var.hpp"

#include <stdexcept>

#include "state/element.hpp"

namespace tbrelax {

void allocate_arrays(common_var& c, std::int32_t n) {
  if (c.allocated) throw std::logic_error("the molecular state is already allocated");
  if (n < 0) throw std::logic_error("negative atom count");
  const std::size_t atoms = static_cast<std::size_t>(n);
  for (auto* v : {&c.x, &c.y, &c.z, &c.x0, &c.y0, &c.z0, &c.fx, &c.fy, &c.fz, &c.fx0, &c.fy0,
                  &c.fz0, &c.felx, &c.fely, &c.felz, &c.frepx, &c.frepy, &c.frepz})
    v->assign(atoms, 0.0);
  c.nat3 = 3 * n;
  c.amass.assign(3 * atoms, 0.0);
  c.at_type.assign(atoms, 0);
  c.allocated = true;
}

void release_arrays(common_var& c) {
  if (!c.allocated) throw std::logic_error("the molecular state is not allocated");
  for (auto* v : {&c.x, &c.y, &c.z, &c.fx, &c.fy, &c.fz, &c.fx0, &c.fy0, &c.fz0, &c.hess,
                  &c.amass, &c.x0, &c.y0, &c.z0, &c.felx, &c.fely, &c.felz, &c.frepx, &c.frepy,
                  &c.frepz, &c.hesel, &c.hesrep})
    std::vector<double>().swap(*v);
  std::vector<std::int32_t>().swap(c.at_type);
  c.allocated = false;
}

void derive_composition(common_var& c) {
  for (std::int32_t a = 0; a < c.at_count; ++a)
    for (int k = 0; k < 3; ++k) c.amass[3 * a + k] = data_of(c.at_type[a]).mass;
  c.wfunc_count = c.h_count + 4 * (c.c_count + c.n_count + c.o_count);
  c.el_count = c.h_count + 4 * c.c_count + 5 * c.n_count + 6 * c.o_count;
}

void load_molecule(common_var& c, const std::vector<std::int32_t>& types,
                   const std::vector<std::array<double, 3>>& positions, const std::string& title) {
  if (types.size() != positions.size()) throw std::invalid_argument("one position per atom is needed");
  const auto n = static_cast<std::int32_t>(types.size());
  allocate_arrays(c, n);
  c.at_count = n;
  c.h_count = c.c_count = c.n_count = c.o_count = 0;
  for (std::int32_t a = 0; a < n; ++a) {
    const std::int32_t t = types[a];
    if (t < hydrogen || t > oxygen) throw std::invalid_argument("element index out of range");
    c.at_type[a] = t;
    (t == hydrogen ? c.h_count : t == carbon ? c.c_count : t == nitrogen ? c.n_count : c.o_count) += 1;
    c.x[a] = positions[a][0];
    c.y[a] = positions[a][1];
    c.z[a] = positions[a][2];
  }
  c.sssss = title.substr(0, title_length);
  c.sssss.resize(title_length, ' ');
  derive_composition(c);
}

}  // namespace tbrelax
