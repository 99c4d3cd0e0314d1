#pragma once
// Ctrl-C during a long call (a Hessian, a relaxation): the energy model's interruption check,
// for calls that release the GIL while they compute.

#include <functional>

namespace tbrelax::python {

// Called with the GIL held, on the thread that makes the call. On Python's main thread (the only
// one on which Python runs its signal handlers) the check takes the GIL at most every 50 ms,
// runs the pending signal handlers and, when one of them raises (KeyboardInterrupt from
// Ctrl-C), throws `interrupted` with that Python exception left set for the caller; the call
// thus stops at the start of the next evaluation. On other threads: no check.
std::function<void()> keyboard_interrupt_check();

}  // namespace tbrelax::python
