#include "parallel/work_sharing.hpp"

#include <cstring>
#include <stdexcept>

namespace tbrelax {

void single_process::share(std::size_t count, const task& run, const receiver& receive, const ordering& order) {
  if (!order) {
    for (std::size_t i = 0; i < count; ++i) receive(i, run(i));
    return;
  }
  for (const std::size_t i : order()) receive(i, run(i));
}

std::string pack_doubles(std::span<const double> values) {
  std::string bytes(values.size_bytes(), '\0');
  if (!values.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

std::vector<double> unpack_doubles(std::string_view bytes) {
  if (bytes.size() % sizeof(double) != 0) throw std::logic_error("a packed row of doubles has a partial value");
  std::vector<double> values(bytes.size() / sizeof(double));
  if (!values.empty()) std::memcpy(values.data(), bytes.data(), bytes.size());
  return values;
}

}  // namespace tbrelax
