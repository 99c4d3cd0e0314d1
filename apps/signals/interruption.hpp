#pragma once
// SIGINT and SIGTERM in the programs. The handler only records the signal; the energy model's
// interruption check turns it into `interrupted` at the start of the next evaluation, so a run
// stops between two evaluations and never in the middle of writing a file. The recorded signal
// is the one process-wide variable of the programs: a signal handler can reach nothing else.

#include <signal.h>

#include <atomic>
#include <iostream>
#include <string>

#include "state/errors.hpp"

namespace tbrelax::signals {

inline std::atomic<int> received{0};
static_assert(std::atomic<int>::is_always_lock_free, "stored from a signal handler");

extern "C" inline void record_signal(int s) { received.store(s); }

// From now on SIGINT and SIGTERM are recorded instead of ending the process. The handler is
// installed without SA_RESTART, so that a wait for a key (a pause) is cut short too; the failed
// read is then reported as the interruption it is (see interrupted_by_signal).
inline void catch_interruptions() {
  struct sigaction action {};
  action.sa_handler = record_signal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

// The energy model's interruption check.
inline void check_interruption() {
  if (const int s = received.load()) throw interrupted(s);
}

// Ends a run stopped by signal s: one line on standard error, and the status 128 + s.
inline int interrupted_by_signal(const char* program, int s) {
  std::cout.flush();
  std::cerr << program << ": interrupted by " << (s == SIGINT ? "SIGINT" : s == SIGTERM ? "SIGTERM" : "a signal")
            << '\n';
  return interrupted(s).status();
}

}  // namespace tbrelax::signals
