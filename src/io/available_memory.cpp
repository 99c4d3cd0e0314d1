#include "io/available_memory.hpp"

#include <sys/resource.h>

#include <charconv>
#include <fstream>
#include <sstream>
#include <string_view>

namespace tbrelax {
namespace {

// The leading decimal number of a text ("max" and anything else: nothing).
std::optional<std::uint64_t> leading_number(std::string_view text) {
  const auto start = text.find_first_not_of(" \t");
  if (start == std::string_view::npos) return std::nullopt;
  std::uint64_t v = 0;
  const auto [end, ec] = std::from_chars(text.data() + start, text.data() + text.size(), v);
  if (ec != std::errc() || end == text.data() + start) return std::nullopt;
  return v;
}

// "Key:   1234 kB" in /proc/meminfo or /proc/self/status, in bytes.
std::optional<std::uint64_t> kib_entry(const std::string& text, std::string_view key) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with(key) && line.size() > key.size() && line[key.size()] == ':')
      if (auto v = leading_number(std::string_view(line).substr(key.size() + 1))) return *v * 1024;
  return std::nullopt;
}

// Limits at or above 2^62 bytes are cgroup v1's way of saying "none".
constexpr std::uint64_t no_limit = std::uint64_t{1} << 62;

// Room under the limits of the group at `path` below `root` and of every group above it.
std::optional<std::uint64_t> cgroup_room(const memory_readings& r, const std::string& root, std::string path,
                                         const char* limit_file, const char* usage_file) {
  std::optional<std::uint64_t> room;
  for (;;) {
    const std::string dir = root + (path == "/" ? "" : path) + "/";
    const auto limit = leading_number(r.read_file(dir + limit_file));
    const auto usage = leading_number(r.read_file(dir + usage_file));
    if (limit && usage && *limit < no_limit) {
      const std::uint64_t here = *limit > *usage ? *limit - *usage : 0;
      if (!room || here < *room) room = here;
    }
    const auto parent = path.rfind('/');
    if (parent == std::string::npos || path == "/") break;
    path.erase(parent);
    if (path.empty()) path = "/";
  }
  return room;
}

// Lines of /proc/self/cgroup: "0::/path" (v2), "N:controller,...:/path" (v1).
std::optional<std::uint64_t> cgroup_room(const memory_readings& r) {
  std::optional<std::uint64_t> room;
  std::istringstream lines(r.self_cgroup);
  for (std::string line; std::getline(lines, line);) {
    const auto first = line.find(':'), second = line.find(':', first + 1);
    if (first == std::string::npos || second == std::string::npos) continue;
    const std::string controllers = "," + line.substr(first + 1, second - first - 1) + ",";
    const std::string path = line.substr(second + 1);
    std::optional<std::uint64_t> here;
    if (controllers == ",,")
      here = cgroup_room(r, "/sys/fs/cgroup", path, "memory.max", "memory.current");
    else if (controllers.find(",memory,") != std::string::npos)
      here = cgroup_room(r, "/sys/fs/cgroup/memory", path, "memory.limit_in_bytes", "memory.usage_in_bytes");
    if (here && (!room || *here < *room)) room = here;
  }
  return room;
}

void keep_smaller(std::optional<memory_headroom>& best, std::optional<std::uint64_t> bytes, const char* limit) {
  if (bytes && (!best || *bytes < best->bytes)) best = memory_headroom{*bytes, limit};
}

std::optional<std::uint64_t> room_under(std::optional<std::uint64_t> limit, std::optional<std::uint64_t> used) {
  if (!limit) return std::nullopt;
  const std::uint64_t u = used.value_or(0);
  return *limit > u ? *limit - u : 0;
}

std::string whole_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  if (in) text << in.rdbuf();
  return text.str();
}

std::optional<std::uint64_t> rlimit_of(int resource) {
  rlimit l{};
  if (getrlimit(resource, &l) != 0 || l.rlim_cur == RLIM_INFINITY) return std::nullopt;
  return static_cast<std::uint64_t>(l.rlim_cur);
}

}  // namespace

std::optional<memory_headroom> available_memory(const memory_readings& r) {
  std::optional<memory_headroom> best;
  keep_smaller(best, kib_entry(r.meminfo, "MemAvailable"), "memory");
  keep_smaller(best, cgroup_room(r), "cgroup limit");
  keep_smaller(best, room_under(r.address_space_limit, kib_entry(r.self_status, "VmSize")), "address-space limit");
  keep_smaller(best, room_under(r.data_limit, kib_entry(r.self_status, "VmData")), "data-size limit");
  return best;
}

std::optional<memory_headroom> available_memory() {
  return available_memory(memory_readings{.meminfo = whole_file("/proc/meminfo"),
                                          .self_cgroup = whole_file("/proc/self/cgroup"),
                                          .self_status = whole_file("/proc/self/status"),
                                          .address_space_limit = rlimit_of(RLIMIT_AS),
                                          .data_limit = rlimit_of(RLIMIT_DATA),
                                          .read_file = whole_file});
}

}  // namespace tbrelax
