// The choice of the electronic solver: which ones exist is fixed at build time by the options.

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

std::unique_ptr<electronic_solver> make_solver(const std::string& name) {
  if (name == "own") return make_own_solver();
  if (name == "default") return make_default_solver();
#ifdef TBRELAX_HAVE_LAPACK
  if (name == "lapack") return make_lapack_solver();
#endif
  return nullptr;
}

std::vector<std::string> available_solvers() {
  std::vector<std::string> names{"own"};
#ifdef TBRELAX_HAVE_LAPACK
  names.push_back("lapack");
#endif
  return names;
}

}  // namespace tbrelax
