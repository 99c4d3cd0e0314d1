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

std::string parse_strain_ramp(const std::string& text, cell_request::ramp& ramp) {
  const std::string fault = "COMPONENT:FROM:TO:COUNT is needed (xx, yy or zz, two strains above -0.5, at least 2 points), not '" + text + "'";
  std::vector<std::string> items;
  std::istringstream in(text);
  for (std::string item; std::getline(in, item, ':');) items.push_back(item);
  if (items.size() != 4 || text.back() == ':') return fault;
  static const char* names[3] = {"xx", "yy", "zz"};
  ramp.component = -1;
  for (int v = 0; v < 3; ++v)
    if (items[0] == names[v]) ramp.component = v;
  const char* end = items[3].data() + items[3].size();
  const auto [stop, bad] = std::from_chars(items[3].data(), end, ramp.count);
  if (ramp.component < 0 || !parse_finite(items[1], ramp.from).empty() || !parse_finite(items[2], ramp.to).empty() ||
      bad != std::errc() || stop != end || ramp.count < 2 || ramp.count > 10000 || !(ramp.from > -0.5) || !(ramp.to > -0.5))
    return fault;
  return "";
}

std::string cell_option_without_cell(const cell_request& r) {
  if (r.enabled) return "";
  if (r.strain) return "--strain";
  if (r.smax) return "--smax";
  if (r.pressure) return "--pressure";
  if (r.mask) return "--cell-mask";
  if (r.isotropic) return "--isotropic";
  return "";
}

}  // namespace tbrelax::tbcalc
