#include "driver/molecule_transfer.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tbrelax {
namespace {

// A molecule crosses between processes to the bit, and a short message is refused, never read
// past its end.
TEST(MoleculeTransfer, RoundTripIsExactAndATruncatedMessageIsRefused) {
  common_var sent;
  load_molecule(sent, {4, 1, 2, 3}, {{0.1, -0.2, 1.0 / 3.0}, {0.9, 0.0, 0.0}, {0.0, 1.4, 0.0}, {0.0, 0.0, -1.1}}, "CO test");
  sent.perx = {10.5, 0, 0};
  sent.perz = {0, 0, 7.25};
  const std::string bytes = pack_molecule(sent);

  common_var got;
  unpack_molecule(bytes, got);
  EXPECT_EQ(got.at_count, 4);
  EXPECT_EQ(got.at_type, sent.at_type);
  EXPECT_EQ(got.sssss, sent.sssss);
  EXPECT_EQ(got.x, sent.x);
  EXPECT_EQ(got.y, sent.y);
  EXPECT_EQ(got.z, sent.z);
  EXPECT_EQ(got.perx, sent.perx);
  EXPECT_EQ(got.perz, sent.perz);
  EXPECT_EQ(got.el_count, sent.el_count);

  common_var short_of_one;
  EXPECT_THROW(unpack_molecule(bytes.substr(0, bytes.size() - 1), short_of_one), std::logic_error);
}

}  // namespace
}  // namespace tbrelax
