#include "session_pool.hpp"

#include <algorithm>

namespace tbrelax::python {

session_pool::lease session_pool::take(const std::vector<std::string>& symbols, std::function<void()> interruption_check) {
  int basis_size = 0;
  for (const std::string& s : symbols) basis_size += s == "H" ? 1 : 4;
  std::unique_ptr<model_session> s;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    auto fits = std::find_if(idle_.rbegin(), idle_.rend(),
                             [basis_size](const auto& idle) { return idle->workspace.S.rows() == basis_size; });
    if (fits == idle_.rend() && !idle_.empty()) fits = idle_.rbegin();
    if (fits != idle_.rend()) {
      s = std::move(*fits);
      idle_.erase(std::next(fits).base());
    }
  }
  if (!s) s = std::make_unique<model_session>();
  if (s->c.allocated) release_arrays(s->c);
  s->screen.str("");
  s->screen.clear();
  s->model.interruption_check = std::move(interruption_check);
  return lease(*this, std::move(s));
}

void session_pool::give_back(std::unique_ptr<model_session> s) {
  s->model.interruption_check = nullptr;  // it belongs to the call that ended
  const std::lock_guard<std::mutex> lock(mutex_);
  idle_.push_back(std::move(s));
  if (idle_.size() > max_idle) idle_.erase(idle_.begin());
}

}  // namespace tbrelax::python
