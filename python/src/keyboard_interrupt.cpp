#include "keyboard_interrupt.hpp"

#include <pybind11/pybind11.h>

#include <chrono>
#include <csignal>
#include <memory>

#include "state/errors.hpp"

namespace py = pybind11;

namespace tbrelax::python {

std::function<void()> keyboard_interrupt_check() {
  const py::object threading = py::module_::import("threading");
  if (!threading.attr("current_thread")().is(threading.attr("main_thread")())) return {};
  using clock = std::chrono::steady_clock;
  // Taking the GIL may wait for another Python thread's switch interval (5 ms): at most every
  // 50 ms keeps that wait a small share of the call, and a Ctrl-C is still answered at once.
  auto last = std::make_shared<clock::time_point>(clock::now());
  return [last] {
    const auto now = clock::now();
    if (now - *last < std::chrono::milliseconds(50)) return;
    *last = now;
    py::gil_scoped_acquire gil;
    if (PyErr_CheckSignals() != 0) throw interrupted(SIGINT);
  };
}

}  // namespace tbrelax::python
