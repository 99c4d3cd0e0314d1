#include "linalg/backends/lapack/lapack_hermitian.hpp"

#include <algorithm>
#include <complex>
#include <string>
#include <vector>

#include "linalg/backends/lapack/lapack_calls.hpp"
#include "linalg/backends/lapack/lapack_canonical.hpp"
#include "state/errors.hpp"

using zcomplex = std::complex<double>;

extern "C" {
void zpotrf_(const char* uplo, const int* n, zcomplex* a, const int* lda, int* info, std::size_t);
void zhegst_(const int* itype, const char* uplo, const int* n, zcomplex* a, const int* lda, const zcomplex* b,
             const int* ldb, int* info, std::size_t);
void zhetrd_(const char* uplo, const int* n, zcomplex* a, const int* lda, double* d, double* e, zcomplex* tau,
             zcomplex* work, const int* lwork, int* info, std::size_t);
void zunmtr_(const char* side, const char* uplo, const char* trans, const int* m, const int* n, const zcomplex* a,
             const int* lda, const zcomplex* tau, zcomplex* c, const int* ldc, zcomplex* work, const int* lwork,
             int* info, std::size_t, std::size_t, std::size_t);
void ztrsm_(const char* side, const char* uplo, const char* transa, const char* diag, const int* m, const int* n,
            const zcomplex* alpha, const zcomplex* a, const int* lda, zcomplex* b, const int* ldb, std::size_t,
            std::size_t, std::size_t, std::size_t);
}

namespace tbrelax {
namespace {

// Interleaved complex storage, as LAPACK wants it, of the upper triangle of M.
void interleave_upper(const complex_matrix& M, std::vector<zcomplex>& out) {
  const int n = M.rows();
  out.assign(std::size_t(n) * n, 0.0);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) out[i + std::size_t(j) * n] = {M.re(i, j), M.im(i, j)};
}

class lapack_hermitian_solver final : public hermitian_solver {
 public:
  std::string name() const override { return "lapack"; }

  void solve(const complex_matrix& H, const complex_matrix& S, int vectors, hermitian_result& out) override {
    const int n = H.rows(), one = 1;
    if (vectors < 0 || vectors > n) vectors = n;
    if (n == 0) {
      out = {};
      return;
    }
    lapack::match_blas_threads(n);
    int info = 0;
    interleave_upper(S, U_);
    zpotrf_("U", &n, U_.data(), &n, &info, 1);
    if (info != 0)
      throw numerical_error("the overlap matrix of a k-point is not positive definite (pivot " +
                            std::to_string(info) + "): atoms or images too close");
    interleave_upper(H, A_);
    zhegst_(&one, "U", &n, A_.data(), &n, U_.data(), &n, &info, 1);
    prepare(n);
    out.eps.resize(n);
    const int lwork = int(work_.size()), lrwork = int(rwork_.size()), liwork = int(iwork_.size());
    zhetrd_("U", &n, A_.data(), &n, out.eps.data(), off_.data(), tau_.data(), work_.data(), &lwork, &info, 1);
    dstedc_("I", &n, out.eps.data(), off_.data(), Z_.data(), &n, rwork_.data(), &lrwork, iwork_.data(), &liwork, &info,
            1);
    if (info != 0) throw numerical_error("the eigensolver did not converge at a k-point");
    C_.assign(std::size_t(n) * std::max(vectors, 1), 0.0);
    for (std::size_t k = 0; k < std::size_t(n) * vectors; ++k) C_[k] = Z_[k];
    zunmtr_("L", "U", "N", &n, &vectors, A_.data(), &n, tau_.data(), C_.data(), &n, work_.data(), &lwork, &info, 1, 1,
            1);
    const zcomplex unit = 1.0;
    ztrsm_("L", "U", "N", "N", &n, &vectors, &unit, U_.data(), &n, C_.data(), &n, 1, 1, 1, 1);
    out.C = complex_matrix(n, vectors);
    for (int j = 0; j < vectors; ++j)
      for (int i = 0; i < n; ++i) out.C.set(i, j, C_[i + std::size_t(j) * n]);
  }

 private:
  // Buffers for order n and the largest workspaces the routines ask for.
  void prepare(int n) {
    if (int(off_.size()) == n) return;
    off_.assign(n, 0.0);
    tau_.assign(n, 0.0);
    Z_.assign(std::size_t(n) * n, 0.0);
    int query = -1, info = 0, iwork_size = 0;
    zcomplex size = 0;
    double real_size = 0, largest = 1;
    std::vector<zcomplex> probe(1);
    zhetrd_("U", &n, probe.data(), &n, off_.data(), off_.data(), tau_.data(), &size, &query, &info, 1);
    largest = std::max(largest, size.real());
    zunmtr_("L", "U", "N", &n, &n, probe.data(), &n, tau_.data(), probe.data(), &n, &size, &query, &info, 1, 1, 1);
    largest = std::max(largest, size.real());
    work_.assign(std::size_t(lapack::queried_size(largest)), 0.0);
    dstedc_("I", &n, off_.data(), off_.data(), Z_.data(), &n, &real_size, &query, &iwork_size, &query, &info, 1);
    rwork_.assign(std::size_t(lapack::queried_size(std::max(real_size, 1.0))), 0.0);
    iwork_.assign(std::size_t(std::max(iwork_size, 1)), 0);
  }

  std::vector<zcomplex> U_, A_, C_, tau_, work_;
  std::vector<double> off_, Z_, rwork_;
  std::vector<int> iwork_;
};

}  // namespace

std::unique_ptr<hermitian_solver> make_lapack_hermitian_solver() { return std::make_unique<lapack_hermitian_solver>(); }

}  // namespace tbrelax
