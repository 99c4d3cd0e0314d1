#include "driver/molecule_transfer.hpp"

#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace tbrelax {
namespace {

template <typename T>
void put(std::string& bytes, const T* values, std::size_t count) {
  bytes.append(reinterpret_cast<const char*>(values), count * sizeof(T));
}

template <typename T>
void take(const std::string& bytes, std::size_t& at, T* values, std::size_t count) {
  if (at + count * sizeof(T) > bytes.size()) throw std::logic_error("a packed molecule ends early");
  std::memcpy(values, bytes.data() + at, count * sizeof(T));
  at += count * sizeof(T);
}

}  // namespace

std::string pack_molecule(const common_var& c) {
  std::string bytes;
  const std::int32_t n = c.at_count;
  put(bytes, &n, 1);
  put(bytes, c.at_type.data(), c.at_type.size());
  put(bytes, c.sssss.data(), title_length);
  for (const auto* q : {&c.x, &c.y, &c.z}) put(bytes, q->data(), q->size());
  for (const auto* cell : {&c.perx, &c.pery, &c.perz}) put(bytes, cell->data(), 3);
  return bytes;
}

void unpack_molecule(const std::string& bytes, common_var& c) {
  std::size_t at = 0;
  std::int32_t n = 0;
  take(bytes, at, &n, 1);
  std::vector<std::int32_t> types(static_cast<std::size_t>(n));
  take(bytes, at, types.data(), types.size());
  std::string title(title_length, ' ');
  take(bytes, at, title.data(), title_length);
  std::vector<std::array<double, 3>> positions(types.size());
  for (int k = 0; k < 3; ++k)
    for (auto& p : positions) take(bytes, at, &p[k], 1);
  load_molecule(c, types, positions, title);
  for (auto* cell : {&c.perx, &c.pery, &c.perz}) take(bytes, at, cell->data(), 3);
}

}  // namespace tbrelax
