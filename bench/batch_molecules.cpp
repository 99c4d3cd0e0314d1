#include "bench/batch_molecules.hpp"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "state/element.hpp"

namespace tbrelax::bench {

std::vector<molecule_spec> batch_molecules() {
  std::vector<molecule_spec> batch;
  for (int k = 0; k < 40; ++k) {
    molecule_spec m = k % 8 == 3 ? flake(0) : k % 8 == 7 ? coronene() : alkane(3 + (7 * k) % 12);
    // Up to 0.04 angstrom per coordinate, from a fixed sequence: the same batch everywhere.
    for (std::size_t a = 0; a < m.positions.size(); ++a)
      for (int i = 0; i < 3; ++i) m.positions[a][i] += 0.04 * std::sin(12.9898 * (k + 1) + 78.233 * a + 37.719 * i);
    batch.push_back(std::move(m));
  }
  return batch;
}

namespace {

void write_xyz(const std::string& path, const molecule_spec& m) {
  std::ofstream out(path);
  out << m.types.size() << '\n' << m.formula << '\n';
  for (std::size_t a = 0; a < m.types.size(); ++a) {
    char line[96];
    const auto& r = m.positions[a];
    std::snprintf(line, sizeof line, "%c %.10f %.10f %.10f\n", data_of(m.types[a]).symbol, r[0], r[1], r[2]);
    out << line;
  }
  if (!out.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace

std::vector<std::string> write_batch(const std::string& dir) {
  std::filesystem::create_directories(dir);
  std::vector<std::string> paths;
  const auto batch = batch_molecules();
  for (std::size_t k = 0; k < batch.size(); ++k) {
    char name[32];
    std::snprintf(name, sizeof name, "m%02zu.xyz", k + 1);
    paths.push_back((std::filesystem::path(dir) / name).string());
    write_xyz(paths.back(), batch[k]);
  }
  write_xyz((std::filesystem::path(dir) / "hessian.xyz").string(), molecule_near("flake", 250));
  return paths;
}

}  // namespace tbrelax::bench
