#pragma once
// The molecular state: what the molecule is, where its atoms are and the forces on them.
// One instance per run, owned by the program and handed by reference to every step.
// Arrays are std::vector indexed from 0 (atom a of the text is entry a-1); the element
// index in `at_type` keeps its values 1..4.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace tbrelax {

inline constexpr std::size_t title_length = 50;

struct common_var {
  // Counts fixed by the structure reader.
  std::int32_t at_count = 0;
  std::int32_t h_count = 0, c_count = 0, n_count = 0, o_count = 0;
  std::int32_t el_count = 0;     // valence electrons
  std::int32_t wfunc_count = 0;  // basis size n
  std::int32_t nat3 = 0;         // 3 at_count, the number of Cartesian coordinates
  std::string sssss = std::string(title_length, ' ');  // title, blank-padded to 50 characters

  // Per atom.
  std::vector<std::int32_t> at_type;
  std::vector<double> x, y, z;           // coordinates (angstrom)
  std::vector<double> fx, fy, fz;        // total force (eV/angstrom)
  std::vector<double> felx, fely, felz;  // electronic part
  std::vector<double> frepx, frepy, frepz;  // repulsive part
  std::vector<double> x0, y0, z0;        // coordinates saved by the Hessian
  std::vector<double> fx0, fy0, fz0;     // electronic forces at the Hessian's minus displacement

  // Per Cartesian coordinate.
  std::vector<double> amass;
  // Hessians (nat3 x nat3, column-major), allocated by hess_cre when it first runs.
  std::vector<double> hess, hesel, hesrep;

  // Periodic cell used by dxdydz: entry i of perx, pery, perz is cell vector i.
  std::array<double, 3> perx{}, pery{}, perz{};
  std::int32_t indper = 0;  // 0: plain separations; otherwise shortest periodic image

  // Pulling pairs: a constant force ff12 along the axis of atoms na1 and na2, and so on.
  std::int32_t na1 = 0, na2 = 0, na3 = 0, na4 = 0, na5 = 0, na6 = 0, na7 = 0, na8 = 0;
  double ff12 = 0, ff34 = 0, ff56 = 0, ff78 = 0;

  bool allocated = false;
};

// Sizes every per-atom and per-coordinate array for n atoms and sets nat3.
// Allocating twice is a programming error (std::logic_error).
void allocate_arrays(common_var& c, std::int32_t n);

// Frees every array; releasing what is not allocated is a programming error.
void release_arrays(common_var& c);

// Derives amass, wfunc_count and el_count from at_type and the element counts.
void derive_composition(common_var& c);

// Fills a fresh state with a molecule given in code rather than read from a file: elements
// (1..4), positions in angstrom, an optional title. Counts, arrays and composition as the
// structure reader leaves them.
void load_molecule(common_var& c, const std::vector<std::int32_t>& types,
                   const std::vector<std::array<double, 3>>& positions, const std::string& title = "");

}  // namespace tbrelax
