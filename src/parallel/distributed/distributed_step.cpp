#include <mpi.h>

#include <functional>
#include <optional>

#include "parallel/distributed/elpa_solver.hpp"
#include "parallel/distributed_evaluation.hpp"
#include "parallel/mpi/mpi_processes.hpp"
#include "state/errors.hpp"
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

// A fault on one rank while the others may wait for it in a collective call: ends the job.
using job_abort = std::function<void(std::exception_ptr)>;

class distributed_step final : public electronic_step {
 public:
  distributed_step(int block, job_abort abort) : grid_(MPI_COMM_WORLD), block_(block), abort_(std::move(abort)) {}

  void run(common_var& c, const param& par, const displacement_view& view, electronic_result& out,
           std::vector<double>& populations) override {
    const int n = c.wfunc_count;
    if (!layout_ || layout_->n() != n) {
      solver_.reset();
      layout_.emplace(grid_, n, block_);
      check_memory_everywhere(c);
    }
    try {
      if (!solver_) {
        S_.assign(layout_->local_size(), 0.0);
        H_.assign(layout_->local_size(), 0.0);
        solver_.emplace(grid_, *layout_);
      }
      evaluate(c, par, view, out, populations);
    } catch (...) {
      if (abort_) abort_(std::current_exception());
      throw;
    }
  }

 private:
  // Every rank checks its own part; where one cannot fit, all refuse the molecule alike.
  void check_memory_everywhere(const common_var& c) const {
    std::string fault;
    try {
      check_memory(std::uint64_t(local_matrices) * layout_->local_size() * sizeof(double),
                   storage_purpose(c, false) + " (this rank's part)");
    } catch (const out_of_memory& e) {
      fault = e.what();
    }
    int rank = 0, failed = 0;
    MPI_Comm_rank(grid_.comm(), &rank);
    if (!fault.empty()) failed = rank + 1;
    MPI_Allreduce(MPI_IN_PLACE, &failed, 1, MPI_INT, MPI_MAX, grid_.comm());
    if (failed)
      throw out_of_memory(!fault.empty() ? fault
                                         : "rank " + std::to_string(failed - 1) + " has no room for its part " +
                                               storage_purpose(c, false));
  }

  void evaluate(common_var& c, const param& par, const displacement_view& view, electronic_result& out,
                std::vector<double>& populations) {
    const int n = c.wfunc_count;
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

  mpi_session session_;
  process_grid grid_;
  int block_;
  job_abort abort_;
  std::optional<block_cyclic> layout_;
  std::optional<elpa_solver> solver_;
  std::vector<double> S_, H_, P_, W_;
};

}  // namespace

bool distributed_step_built() { return true; }

std::unique_ptr<electronic_step> make_distributed_step(work_sharing& group, int block) {
  job_abort abort;
  if (const auto* ranks = dynamic_cast<const mpi_processes*>(&group))
    abort = [ranks](std::exception_ptr fault) { ranks->abort_job(fault); };
  return std::make_unique<distributed_step>(block, std::move(abort));
}

}  // namespace tbrelax
