#pragma once
// A process grid over an MPI communicator and the block-cyclic layout of an n x n matrix on it,
// as ScaLAPACK and ELPA take them: blocks of nb x nb dealt round-robin over the grid's rows and
// columns, each process keeping its blocks column-major in one local array.

#include <mpi.h>

#include <array>
#include <vector>

namespace tbrelax {

// The most square grid of the communicator's processes (MPI_Dims_create: rows >= cols),
// numbered column-major.
class process_grid {
 public:
  explicit process_grid(MPI_Comm comm);
  ~process_grid();
  process_grid(const process_grid&) = delete;
  process_grid& operator=(const process_grid&) = delete;

  MPI_Comm comm() const { return comm_; }
  int context() const { return context_; }
  int rows() const { return rows_; }
  int cols() const { return cols_; }
  int row() const { return row_; }
  int col() const { return col_; }

 private:
  MPI_Comm comm_;
  int context_ = -1, rows_ = 1, cols_ = 1, row_ = 0, col_ = 0;
};

class block_cyclic {
 public:
  block_cyclic(const process_grid& grid, int n, int nb);
  int n() const { return n_; }
  int nb() const { return nb_; }
  int local_rows() const { return int(rows_.size()); }
  int local_cols() const { return int(cols_.size()); }
  std::size_t local_size() const { return std::size_t(ld()) * cols_.size(); }
  int ld() const { return rows_.empty() ? 1 : int(rows_.size()); }
  const int* descriptor() const { return desc_.data(); }
  // The global indices (from 0) of this process's rows and columns, ascending.
  const std::vector<int>& global_rows() const { return rows_; }
  const std::vector<int>& global_cols() const { return cols_; }

 private:
  int n_, nb_;
  std::array<int, 9> desc_{};
  std::vector<int> rows_, cols_;
};

}  // namespace tbrelax
