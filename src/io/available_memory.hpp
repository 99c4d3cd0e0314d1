#pragma once
// How much more memory this process may take before an allocation fails or the system ends it.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tbrelax {

struct memory_headroom {
  std::uint64_t bytes = 0;
  std::string limit;  // the tightest one: "memory", "cgroup limit", "address-space limit" or "data-size limit"
};

// The smallest of: the memory the system reports available (MemAvailable), the room left under
// the memory limit of this process's control group and of every group above it (cgroup v2 or
// v1), and the room left under the address-space and data limits (ulimit -v, ulimit -d) beyond
// what the process already maps. Nothing when the system reports none of these.
std::optional<memory_headroom> available_memory();

// The same from given readings: the text of /proc/meminfo, /proc/self/cgroup and
// /proc/self/status, the two limits (nothing when unlimited), and a reader of the control-group
// files (empty text for a file that does not exist).
struct memory_readings {
  std::string meminfo = {}, self_cgroup = {}, self_status = {};
  std::optional<std::uint64_t> address_space_limit = {}, data_limit = {};
  std::function<std::string(const std::string& path)> read_file = {};
};
std::optional<memory_headroom> available_memory(const memory_readings& r);

}  // namespace tbrelax
