#pragma once
// Model sessions kept between calls, so that a loop of evaluations of one molecule (an ASE
// optimiser, a scan) allocates and maps its matrices once instead of on every call. Each call
// takes a session for itself alone and gives it back at the end; calls on several threads at
// once take different sessions, so results never depend on what runs beside them.

#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "driver/model_session.hpp"

namespace tbrelax::python {

class session_pool {
 public:
  // Idle sessions kept at most; the oldest is dropped beyond that.
  static constexpr std::size_t max_idle = 4;

  class lease {
   public:
    lease(session_pool& pool, std::unique_ptr<model_session> s) : pool_(pool), s_(std::move(s)) {}
    lease(const lease&) = delete;
    lease& operator=(const lease&) = delete;
    // A session left by a fault (an exception on its way out) is dropped rather than reused.
    ~lease() {
      if (std::uncaught_exceptions() == faults_) pool_.give_back(std::move(s_));
    }
    model_session& operator*() const { return *s_; }
    model_session* operator->() const { return s_.get(); }

   private:
    session_pool& pool_;
    std::unique_ptr<model_session> s_;
    int faults_ = std::uncaught_exceptions();
  };

  // A session with an empty molecular state and screen, preferably one whose storage fits a
  // molecule of these element symbols, whose evaluations run `interruption_check` first.
  lease take(const std::vector<std::string>& symbols, std::function<void()> interruption_check = {});

 private:
  void give_back(std::unique_ptr<model_session> s);

  std::mutex mutex_;
  std::vector<std::unique_ptr<model_session>> idle_;  // the most recently used last
};

}  // namespace tbrelax::python
