#include <mpi.h>

#include <optional>

#include "parallel/distributed/elpa_solver.hpp"
#include "parallel/distributed_evaluation.hpp"
#include "tb/local_elements.hpp"
#include "tb/working_storage.hpp"

namespace tbrelax {
namespace {

// MPI for a run that no launcher started: this process alone, as a job of one.
class mpi_session {
 public:
  mpi_session() {
    int started = 0;
    MPI_Initialized(&started);
    if (!started) {
      int provided = 0;
      MPI_Init_thread(nullptr, nullptr, MPI_THREAD_SERIALIZED, &provided);
      own_ = true;
    }
  }
  ~mpi_session() {
    if (own_) MPI_Finalize();
  }
  mpi_session(const mpi_session&) = delete;
  mpi_session& operator=(const mpi_session&) = delete;

 private:
  bool own_ = false;
};

// Peak local storage: S, H, P, W, the factor, a work matrix and the orbitals, and ELPA's own
// work arrays (about two more).
constexpr int local_matrices = 9;

class distributed_step final : public electronic_step {
 public:
  explicit distributed_step(int block) : grid_(MPI_COMM_WORLD), block_(block) {}

  void run(common_var& c, const param& par, const displacement_view& view, electronic_result& out,
           std::vector<double>& populations) override {
    const int n = c.wfunc_count;
    if (!layout_ || layout_->n() != n) {
      solver_.reset();
      layout_.emplace(grid_, n, block_);
      check_memory(std::uint64_t(local_matrices) * layout_->local_size() * sizeof(double), storage_purpose(c, false));
      S_.assign(layout_->local_size(), 0.0);
      H_.assign(layout_->local_size(), 0.0);
      solver_.emplace(grid_, *layout_);
    }
    const matrix_part part{layout_->global_rows(), layout_->global_cols(), layout_->ld()};
    assemble_part(c, par, part, S_.data(), H_.data());
    solver_->solve(S_, H_, c.el_count, out, P_, W_);

    std::vector<double> terms(3 * std::size_t(c.at_count), 0.0);
    add_force_terms(c, par, view, part, S_.data(), H_.data(), P_.data(), W_.data(), terms);
    MPI_Allreduce(MPI_IN_PLACE, terms.data(), int(terms.size()), MPI_DOUBLE, MPI_SUM, grid_.comm());
    std::vector<double>* fel[3] = {&c.felx, &c.fely, &c.felz};
    for (int i = 0; i < c.at_count; ++i)
      for (int axis = 0; axis < 3; ++axis) (*fel[axis])[i] = terms[3 * i + axis];

    populations.assign(n, 0.0);
    add_populations(part, P_.data(), S_.data(), populations);
    MPI_Allreduce(MPI_IN_PLACE, populations.data(), n, MPI_DOUBLE, MPI_SUM, grid_.comm());
  }

 private:
  mpi_session session_;
  process_grid grid_;
  int block_;
  std::optional<block_cyclic> layout_;
  std::optional<elpa_solver> solver_;
  std::vector<double> S_, H_, P_, W_;
};

}  // namespace

bool distributed_step_built() { return true; }

std::unique_ptr<electronic_step> make_distributed_step(work_sharing&, int block) {
  return std::make_unique<distributed_step>(block);
}

}  // namespace tbrelax
