#include "cell_options.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>

namespace tbrelax::tbcalc {

std::string parse_finite(const std::string& text, double& value) {
  const char* end = text.data() + text.size();
  const auto [stop, fault] = std::from_chars(text.data(), end, value);
  if (text.empty() || fault != std::errc() || stop != end || !std::isfinite(value))
    return "a finite number is needed, not '" + text + "'";
  return "";
}

std::string parse_cell_mask(const std::string& text, std::vector<int>& components) {
  static const char* names[6][2] = {{"xx", "xx"}, {"yy", "yy"}, {"zz", "zz"}, {"yz", "zy"}, {"xz", "zx"}, {"xy", "yx"}};
  std::istringstream in(text);
  std::string item;
  components.clear();
  while (std::getline(in, item, ',')) {
    int found = -1;
    for (int v = 0; v < 6; ++v)
      if (item == names[v][0] || item == names[v][1]) found = v;
    if (found < 0) return "components among xx,yy,zz,yz,xz,xy are needed, not '" + item + "'";
    if (std::find(components.begin(), components.end(), found) != components.end())
      return "'" + item + "' is named twice";
    components.push_back(found);
  }
  if (components.empty() || text.back() == ',') return "components among xx,yy,zz,yz,xz,xy are needed, not '" + text + "'";
  return "";
}

std::string cell_option_without_cell(const cell_request& r) {
  if (r.enabled) return "";
  if (r.smax) return "--smax";
  if (r.pressure) return "--pressure";
  if (r.mask) return "--cell-mask";
  if (r.isotropic) return "--isotropic";
  return "";
}

}  // namespace tbrelax::tbcalc
