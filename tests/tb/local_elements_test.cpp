// S, H and the electronic forces from parts of the matrices, cut as a 2 x 2 process grid deals
// blocks: each part's S and H repeat the full assembly bit for bit, and the parts' force terms
// add up to the electronic forces of the whole evaluation.
#include <gtest/gtest.h>

#include "support/molecules.hpp"
#include "tb/assembly.hpp"
#include "tb/local_elements.hpp"

namespace tbrelax {
namespace {

std::vector<int> dealt(int n, int block, int procs, int me) {
  std::vector<int> mine;
  for (int g = 0; g < n; ++g)
    if ((g / block) % procs == me) mine.push_back(g);
  return mine;
}

TEST(MatrixParts, RepeatTheWholeEvaluation) {
  for (int block : {1, 3, 64}) {
    testing::test_model m;
    const common_var before = testing::molecule(testing::benzene_atoms());
    common_var c = before;
    force(c, m.model);
    const matrix &S = m.workspace.S, &H = m.workspace.H, &P = m.workspace.electrons.P, &W = m.workspace.electrons.W;
    const int n = S.rows();
    const displacement_view view(before, force_displacement);
    std::vector<double> terms(3 * before.at_count, 0.0);
    for (int pr = 0; pr < 2; ++pr)
      for (int pc = 0; pc < 2; ++pc) {
        const std::vector<int> rows = dealt(n, block, 2, pr), cols = dealt(n, block, 2, pc);
        const matrix_part part{rows, cols, std::max(1, int(rows.size()))};
        const std::size_t size = std::size_t(part.ld) * cols.size();
        std::vector<double> s(size), h(size), p(size), w(size);
        assemble_part(before, m.par, part, s.data(), h.data());
        for (std::size_t k = 0; k < cols.size(); ++k)
          for (std::size_t r = 0; r < rows.size(); ++r) {
            ASSERT_EQ(s[r + k * part.ld], S(rows[r], cols[k])) << block << ": " << rows[r] << ", " << cols[k];
            ASSERT_EQ(h[r + k * part.ld], H(rows[r], cols[k])) << block << ": " << rows[r] << ", " << cols[k];
            p[r + k * part.ld] = P(rows[r], cols[k]);
            w[r + k * part.ld] = W(rows[r], cols[k]);
          }
        add_force_terms(before, m.par, view, part, s.data(), h.data(), p.data(), w.data(), terms);
      }
    const std::vector<double>* fel[3] = {&c.felx, &c.fely, &c.felz};
    for (int i = 0; i < before.at_count; ++i)
      for (int axis = 0; axis < 3; ++axis) EXPECT_NEAR(terms[3 * i + axis], (*fel[axis])[i], 1e-9) << block;
  }
}

}  // namespace
}  // namespace tbrelax
