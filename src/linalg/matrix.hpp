#pragma once
// A dense column-major matrix of doubles: element (i, j), counted from 0, lies at i + j * rows.

#include <cstddef>
#include <vector>

#include "linalg/huge_page_allocator.hpp"

namespace tbrelax {

class matrix {
 public:
  matrix() = default;
  matrix(int rows, int cols) : rows_(rows), cols_(cols), data_(std::size_t(rows) * std::size_t(cols), 0.0) {}
  explicit matrix(int n) : matrix(n, n) {}

  int rows() const { return rows_; }
  int cols() const { return cols_; }
  std::size_t size() const { return data_.size(); }

  double& operator()(int i, int j) { return data_[std::size_t(i) + std::size_t(j) * std::size_t(rows_)]; }
  double operator()(int i, int j) const { return data_[std::size_t(i) + std::size_t(j) * std::size_t(rows_)]; }

  double* data() { return data_.data(); }
  const double* data() const { return data_.data(); }
  double* col(int j) { return data_.data() + std::size_t(j) * std::size_t(rows_); }
  const double* col(int j) const { return data_.data() + std::size_t(j) * std::size_t(rows_); }

  void fill(double value) { data_.assign(data_.size(), value); }
  bool operator==(const matrix&) const = default;

 private:
  int rows_ = 0;
  int cols_ = 0;
  std::vector<double, huge_page_allocator<double>> data_;
};

}  // namespace tbrelax
