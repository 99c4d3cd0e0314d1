#include "bench/complexes.hpp"

#include "bench/geometry.hpp"
#include "state/element.hpp"

namespace tbrelax::bench {
namespace {

const vec3 ex{1, 0, 0}, ey{0, 1, 0}, ez{0, 0, 1};

// Water with its oxygen at o, the bisector of its HOH angle along u, its plane spanned by u and v.
void water(molecule_spec& m, vec3 o, vec3 u, vec3 v) {
  const double r = 0.957, half = radians(104.5 / 2);
  add_atom(m, oxygen, o);
  add_atom(m, hydrogen, o + r * (std::cos(half) * u + std::sin(half) * v));
  add_atom(m, hydrogen, o + r * (std::cos(half) * u - std::sin(half) * v));
}

// Water donating a hydrogen bond: oxygen at o, one O-H along d, the other H on the side of v.
void donor_water(molecule_spec& m, vec3 o, vec3 d, vec3 v) {
  const double r = 0.957, angle = radians(104.5);
  add_atom(m, oxygen, o);
  add_atom(m, hydrogen, o + r * d);
  add_atom(m, hydrogen, o + r * (std::cos(angle) * d + std::sin(angle) * v));
}

// Three hydrogens at r from the centre, HXH angle hxh, on the side of the axis a, the first in
// the plane of a and v.
void three_hydrogens(molecule_spec& m, vec3 centre, vec3 a, vec3 v, double r, double hxh) {
  const double cos_beta = std::sqrt((1 + 2 * std::cos(radians(hxh))) / 3), sin_beta = std::sqrt(1 - cos_beta * cos_beta);
  const vec3 w = cross(a, v);
  for (int k = 0; k < 3; ++k) {
    const double phi = radians(120.0 * k);
    add_atom(m, hydrogen, centre + r * (cos_beta * a + sin_beta * (std::cos(phi) * v + std::sin(phi) * w)));
  }
}

// Ammonia (N-H 1.012, HNH 106.7 degrees), its hydrogens on the side of the axis a, its lone pair opposite.
void ammonia(molecule_spec& m, vec3 n, vec3 a, vec3 v) {
  add_atom(m, nitrogen, n);
  three_hydrogens(m, n, a, v, 1.012, 106.7);
}

// Ammonia whose first N-H lies along d, the axis tilted from d towards -side.
void donor_ammonia(molecule_spec& m, vec3 n, vec3 d, vec3 side) {
  const double cos_beta = std::sqrt((1 + 2 * std::cos(radians(106.7))) / 3), sin_beta = std::sqrt(1 - cos_beta * cos_beta);
  const vec3 a = cos_beta * d - sin_beta * side;
  ammonia(m, n, a, unit(d - cos_beta * a));
}

// Methane: C-H 1.09 along the tetrahedral directions, the first along d.
void methane(molecule_spec& m, vec3 c, vec3 d, vec3 side) {
  add_atom(m, carbon, c);
  add_atom(m, hydrogen, c + 1.09 * d);
  three_hydrogens(m, c, -1.0 * d, side, 1.09, 109.47);
}

// Formaldehyde: C=O 1.21 from c along u, C-H 1.10 at HCO 121.8 degrees, in the plane of u and v.
void formaldehyde(molecule_spec& m, vec3 c, vec3 u, vec3 v) {
  const double a = radians(121.8);
  add_atom(m, carbon, c);
  add_atom(m, oxygen, c + 1.21 * u);
  add_atom(m, hydrogen, c + 1.10 * (std::cos(a) * u + std::sin(a) * v));
  add_atom(m, hydrogen, c + 1.10 * (std::cos(a) * u - std::sin(a) * v));
}

molecule_spec named(const char* name) {
  molecule_spec m;
  m.family = "complex";
  m.formula = name;
  return m;
}

vec3 turned(vec3 v, double degrees) {  // about the z axis
  const double a = radians(degrees);
  return {std::cos(a) * v[0] - std::sin(a) * v[1], std::sin(a) * v[0] + std::cos(a) * v[1], v[2]};
}

// Cis formic acid in the xy plane (C=O 1.20, C-O 1.34, O-H 0.97, C-H 1.09; OCO 125, COH 107
// degrees) and its image through the point that makes the cyclic dimer's two O-H...O bonds
// linear with H...O 1.70.
molecule_spec formic_acid_dimer() {
  molecule_spec m = named("formic-acid-dimer");
  const vec3 c{0, 0, 0}, o1 = 1.20 * ey, o2 = 1.34 * turned(ey, -125.0), h_c = 1.09 * turned(ey, 117.5);
  // Of the two directions at 107 degrees from O-C, the cis one points to the carbonyl's side.
  const vec3 to_c = unit(c - o2), up = turned(to_c, 107.0), down = turned(to_c, -107.0);
  const vec3 d = up[1] > down[1] ? up : down, h_o = o2 + 0.97 * d;
  const vec3 centre = 0.5 * (o1 + h_o + 1.70 * d);
  for (int image = 0; image < 2; ++image) {
    auto at = [&](vec3 r) { return image ? 2.0 * centre - r : r; };
    add_atom(m, carbon, at(c));
    add_atom(m, oxygen, at(o1));
    add_atom(m, oxygen, at(o2));
    add_atom(m, hydrogen, at(h_c));
    add_atom(m, hydrogen, at(h_o));
  }
  return m;
}

}  // namespace

std::vector<molecule_spec> complexes() {
  std::vector<molecule_spec> list;

  molecule_spec m = named("water-dimer");  // linear O-H...O, O...O 2.98, acceptor tilted
  donor_water(m, {0, 0, 0}, ex, ey);
  water(m, 2.98 * ex, unit(std::cos(radians(57.0)) * ex + std::sin(radians(57.0)) * ez), ey);
  list.push_back(m);

  list.push_back(formic_acid_dimer());

  m = named("benzene-water");  // water 3.4 above the ring centre, both hydrogens towards it
  for (int k = 0; k < 6; ++k) {
    const vec3 u{std::cos(radians(60.0 * k)), std::sin(radians(60.0 * k)), 0};
    add_atom(m, carbon, 1.39 * u);
    add_atom(m, hydrogen, 2.48 * u);
  }
  water(m, 3.4 * ez, -1.0 * ez, ex);
  list.push_back(m);

  m = named("ammonia-water");  // O-H...N, O...N 2.95
  donor_water(m, {0, 0, 0}, ex, ey);
  ammonia(m, 2.95 * ex, ex, ey);
  list.push_back(m);

  m = named("formaldehyde-water");  // O-H...O=C, O...O 2.85, C=O...H 120 degrees
  donor_water(m, {0, 0, 0}, ex, ey);
  formaldehyde(m, 2.85 * ex + 1.21 * (std::cos(radians(60.0)) * ex + std::sin(radians(60.0)) * ey),
               -1.0 * (std::cos(radians(60.0)) * ex + std::sin(radians(60.0)) * ey), ez);
  list.push_back(m);

  m = named("methane-water");  // O-H pointing at the carbon, O...C 3.6
  donor_water(m, {0, 0, 0}, ex, ey);
  methane(m, 3.6 * ex, ex, ey);
  list.push_back(m);

  m = named("ammonia-dimer");  // N-H...N, N...N 3.3
  donor_ammonia(m, {0, 0, 0}, ex, ey);
  ammonia(m, 3.3 * ex, ex, ey);
  list.push_back(m);

  m = named("hcn-dimer");  // linear H-C#N...H-C#N, N...H 2.23
  double x = 0;
  for (int k = 0; k < 2; ++k) {
    add_atom(m, hydrogen, x * ex);
    add_atom(m, carbon, (x += 1.066) * ex);
    add_atom(m, nitrogen, (x += 1.153) * ex);
    x += 2.23;
  }
  list.push_back(m);
  return list;
}

}  // namespace tbrelax::bench
