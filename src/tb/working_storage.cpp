#include "tb/working_storage.hpp"

#include <cstdio>

#include "state/errors.hpp"

namespace tbrelax {
namespace {

constexpr std::uint64_t double_bytes = sizeof(double);
constexpr std::uint64_t unchecked_below = std::uint64_t{16} << 20;

std::string size_text(std::uint64_t bytes) {
  char buffer[32];
  const double mib = static_cast<double>(bytes) / (1 << 20);
  if (mib >= 1024)
    std::snprintf(buffer, sizeof buffer, "%.1f GiB", mib / 1024);
  else
    std::snprintf(buffer, sizeof buffer, "%.0f MiB", mib);
  return buffer;
}

}  // namespace

std::uint64_t evaluation_storage_bytes(std::int64_t basis) {
  const auto n = static_cast<std::uint64_t>(basis);
  return (19 * n * n / 2 + 256 * n) * double_bytes;
}

std::uint64_t hessian_storage_bytes(std::int64_t atoms) {
  const auto m = 3 * static_cast<std::uint64_t>(atoms);
  return 8 * m * m * double_bytes;
}

std::string storage_purpose(const common_var& c, bool hessian) {
  std::string text = "for " + std::to_string(c.wfunc_count) + " basis functions";
  if (hessian) text += " and the Hessian of " + std::to_string(c.at_count) + " atoms";
  return text;
}

void check_memory(std::uint64_t need, const std::string& purpose, const std::optional<memory_headroom>& available) {
  if (need < unchecked_below || !available || need <= available->bytes) return;
  throw out_of_memory("needs " + size_text(need) + " " + purpose + "; " + size_text(available->bytes) +
                      " available (" + available->limit + ")");
}

void check_memory(std::uint64_t need, const std::string& purpose) {
  if (need < unchecked_below) return;
  check_memory(need, purpose, available_memory());
}

void check_memory_for(const common_var& c, bool hessian) {
  std::uint64_t need = evaluation_storage_bytes(c.wfunc_count);
  if (hessian) need += hessian_storage_bytes(c.at_count);
  check_memory(need, storage_purpose(c, hessian));
}

}  // namespace tbrelax
