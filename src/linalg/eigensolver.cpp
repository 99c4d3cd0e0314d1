#include "linalg/eigensolver.hpp"

#include "linalg/eigen_detail.hpp"

namespace tbrelax {

void tred2(int nm, int n, double* d, double* e, double* v) {
  eigen_workspace workspace;
  tred2(nm, n, d, e, v, workspace);
}

void tql2(int nm, int n, double* d, double* e, double* v, int& ierr) {
  eigen_workspace workspace;
  tql2(nm, n, d, e, v, ierr, workspace);
}

void tred2(int nm, int n, double* d, double* e, double* v, eigen_workspace& workspace) {
  if (n <= 0) return;
  if (n == 1) {
    d[0] = v[0];
    e[0] = 0.0;
    v[0] = 1.0;
    return;
  }
  eigen_detail::householder_reduce(nm, n, d, e, v, workspace);
  eigen_detail::accumulate_reflectors(nm, n, d, v, workspace);
}

void eisrs1(int nm, int n, double* d, double* v, int& ierr, double* e) {
  eigen_workspace workspace;
  tred2(nm, n, d, e, v, workspace);
  tql2(nm, n, d, e, v, ierr, workspace);
}

}  // namespace tbrelax
