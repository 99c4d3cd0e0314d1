#include "parallel/distributed/block_cyclic.hpp"

#include <stdexcept>

#include "parallel/distributed/scalapack.hpp"

namespace tbrelax {
namespace {

std::vector<int> owned_indices(int n, int nb, int procs, int me) {
  const int zero = 0;
  const int count = numroc_(&n, &nb, &me, &zero, &procs);
  std::vector<int> g(count);
  for (int l = 0; l < count; ++l) g[l] = ((l / nb) * procs + me) * nb + l % nb;
  return g;
}

}  // namespace

process_grid::process_grid(MPI_Comm comm) : comm_(comm) {
  int size = 1;
  MPI_Comm_size(comm, &size);
  int dims[2] = {0, 0};
  MPI_Dims_create(size, 2, dims);
  context_ = Csys2blacs_handle(comm);
  Cblacs_gridinit(&context_, "C", dims[0], dims[1]);
  Cblacs_gridinfo(context_, &rows_, &cols_, &row_, &col_);
}

process_grid::~process_grid() { Cblacs_gridexit(context_); }

block_cyclic::block_cyclic(const process_grid& grid, int n, int nb)
    : n_(n), nb_(nb), rows_(owned_indices(n, nb, grid.rows(), grid.row())),
      cols_(owned_indices(n, nb, grid.cols(), grid.col())) {
  const int zero = 0, context = grid.context(), lld = ld();
  int info = 0;
  descinit_(desc_.data(), &n, &n, &nb, &nb, &zero, &zero, &context, &lld, &info);
  if (info != 0) throw std::logic_error("descinit: argument " + std::to_string(-info) + " is wrong");
}

}  // namespace tbrelax
