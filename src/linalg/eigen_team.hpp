#pragma once
// A calling thread and a helper thread sharing rounds of independent pieces.
//
// The caller hands out a round and works on its pieces from the first one up,
// the helper from the last one down; the round ends when every piece is done.
// The caller never waits for a helper that has not taken a piece, so a helper
// that is slow to start or descheduled costs only the pieces it holds. Should
// the caller still wait long for one, the processor is taken to be shared with
// other work, and the caller runs the next rounds alone, for longer after each
// such wait, rather than wait at every round.

#include <atomic>
#include <cstdint>

namespace tbrelax::eigen_detail {

// Returns once ready(value of a) holds, polling spins times, then sleeping until
// a thread that changes a notifies it.
template <class T, class Ready>
void await(const std::atomic<T>& a, Ready ready, int spins = 4000) {
  for (;;) {
    const T x = a.load(std::memory_order_acquire);
    if (ready(x)) return;
    int i = 0;
    for (; i < spins && a.load(std::memory_order_relaxed) == x; ++i) {
#if defined(__x86_64__) || defined(__i386__)
      __builtin_ia32_pause();
#endif
    }
    if (i == spins) a.wait(x, std::memory_order_acquire);
  }
}

class work_team {
 public:
  static constexpr int max_pieces = 255;

  // Caller side: runs piece(m) for every m < pieces and returns when all are
  // done. The pieces must not depend on which thread runs them.
  template <class Piece>
  void run(int pieces, Piece& piece) {
    run_pieces(pieces, [](void* p, int m) { (*static_cast<Piece*>(p))(m); }, &piece);
  }
  // Caller side: the helper returns from serve.
  void finish();

  // Helper side: takes pieces until finish.
  void serve();

 private:
  using piece_function = void (*)(void*, int);
  void run_pieces(int pieces, piece_function f, void* context);
  bool take(bool from_first);

  // Round number (bits 24 and up), pieces in the round (bits 16-23), pieces
  // taken from the first up (bits 8-15) and from the last down (bits 0-7).
  std::atomic<std::uint64_t> ticket_{0};
  std::atomic<int> done_{0};                // pieces of the round finished
  std::atomic<unsigned> events_{0};         // bumped at each round and at the end, for a sleeping helper
  std::atomic<piece_function> function_{nullptr};
  std::atomic<void*> context_{nullptr};
  std::atomic<bool> finished_{false};
  std::uint64_t round_ = 0;
  int alone_ = 0;        // rounds still to run without the helper
  int penalty_ = 64;     // rounds run alone after the next long wait
};

}  // namespace tbrelax::eigen_detail
