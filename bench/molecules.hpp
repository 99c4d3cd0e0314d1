#pragma once
// Test molecules of any size, built in code from idealised geometries: hydrogen-terminated
// graphene-like flakes (the coronene family and rounder cuts between its members) and
// all-trans alkane chains.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace tbrelax::bench {

struct molecule_spec {
  std::string family;   // "flake", "alkane", "complex" or "example"
  std::string formula;  // "C24H12"
  std::vector<std::int32_t> types;
  std::vector<std::array<double, 3>> positions;
  int basis_size = 0;   // H 1, C 4
};

// Appends an atom of element `type` (1..4) at r (angstrom).
void add_atom(molecule_spec& m, std::int32_t type, const std::array<double, 3>& r);

// C_k H_(2k+2), zigzag in the xy plane, ideal tetrahedral angles.
molecule_spec alkane(int carbons);

// The flake of all hexagonal rings whose centres lie within `radius` (angstrom) of the central
// ring, every two-coordinated carbon capped by one hydrogen. Radius 0 gives benzene, 2.46
// coronene.
molecule_spec flake(double radius);

// The member of a family ("flake", "alkane") whose basis size is closest to `basis_size`.
molecule_spec molecule_near(const std::string& family, int basis_size);

// Coronene, C24H12: the mid-size example of the whole-relaxation figure.
molecule_spec coronene();

}  // namespace tbrelax::bench
