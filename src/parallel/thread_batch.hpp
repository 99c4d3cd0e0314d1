#pragma once
// A batch of independent tasks run on a few threads of this process: the images of an elastic
// band, each evaluated by its own model session.

#include <cstddef>
#include <functional>

namespace tbrelax {

// Runs task(i) once for every i < count on at most `threads` threads (all on the caller's
// thread when threads <= 1). The first exception a task throws is rethrown here once every
// thread has stopped; tasks not yet started are then left out.
void run_in_threads(std::size_t count, int threads, const std::function<void(std::size_t)>& task);

}  // namespace tbrelax
