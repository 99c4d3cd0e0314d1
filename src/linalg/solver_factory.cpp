// The choice of the electronic solver: fixed at build time by the options that were built.

#include "linalg/electronic_solver.hpp"

#ifdef TBRELAX_HAVE_LAPACK
#include "linalg/backends/lapack/lapack_solver.hpp"
#endif

namespace tbrelax {

std::unique_ptr<electronic_solver> make_default_solver() {
#ifdef TBRELAX_HAVE_LAPACK
  return make_lapack_solver();
#else
  return make_own_solver();
#endif
}

}  // namespace tbrelax
