#pragma once
// tbcalc relax --cell: the cell's stop criterion, the external pressure and which components
// of the cell may change, as typed on the command line.

#include <optional>
#include <string>
#include <vector>

namespace tbrelax::tbcalc {

// --strain: a ramp of one normal strain component. (Outside cell_request: a nested struct with
// member initialisers is not yet default-constructible where the enclosing class uses it.)
struct strain_ramp_request {
  int component = 0;  // 0, 1, 2: xx, yy, zz
  double from = 0, to = 0;
  int count = 0;      // points, from and to included
};

struct cell_request {
  bool enabled = false;                 // --cell
  std::optional<double> smax;           // --smax (GPa)
  std::optional<double> pressure;       // --pressure (GPa; 0 when not given)
  std::optional<std::vector<int>> mask; // --cell-mask: Voigt components 0..5 (xx yy zz yz xz xy)
  bool isotropic = false;               // --isotropic
  using ramp = strain_ramp_request;
  std::optional<ramp> strain;           // --strain xx:FROM:TO:COUNT
};

// A finite number (GPa).
std::string parse_finite(const std::string& text, double& value);
// "xx,yy,xy": Cartesian components of the cell, each once; yz and zy are the same.
std::string parse_cell_mask(const std::string& text, std::vector<int>& components);
// "xx:0:0.2:21": a normal component, the first and last strain (above -0.5) and a count of at
// least 2.
std::string parse_strain_ramp(const std::string& text, cell_request::ramp& ramp);
// The first option of `r` given without --cell, "" when there is none or --cell is given.
std::string cell_option_without_cell(const cell_request& r);

}  // namespace tbrelax::tbcalc
