#include "io/extxyz.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "driver/batch_input.hpp"
#include "io/xyz_trajectory.hpp"
#include "state/errors.hpp"
#include "state/param.hpp"
#include "support/molecules.hpp"
#include "support/test_support.hpp"

namespace tbrelax {
namespace {

using cell_vectors = std::array<std::array<double, 3>, 3>;
constexpr cell_vectors graphene = {{{2.46, 0, 0}, {-1.23, 2.130422493309719, 0}, {0, 0, 20}}};

TEST(ExtxyzComment, TitleAndCellOfTheLinesThatToolsWrite) {
  struct row {
    const char* line;
    const char* title;
    bool extended, has_cell;
    std::array<bool, 3> pbc;
  };
  const row rows[] = {
      {"water molecule", "water", false, false, {}},  // plain: the first field, as today
      {"'two words' x", "two words", false, false, {}},
      {"", "", false, false, {}},
      {"Properties=species:S:1:pos:R:3 energy=-8.5 title=\"my \\\"w\\\"\"", "my \"w\"", true, false, {}},
      {"Lattice=\"2.46 0 0 -1.23 2.130422493309719 0 0 0 20\" Properties=species:S:1:pos:R:3:forces:R:3 "
       "pbc=\"T T F\" graphene sheet",
       "graphene sheet", true, true, {true, true, false}},
      {"lattice=\"2.46 0 0 -1.23 2.130422493309719 0 0 0 20\" note={1 2}", "", true, true, {true, true, true}},
      {"pbc = \"F F F\" tag=[1, 2] free", "free", true, false, {}},
  };
  for (const row& r : rows) {
    SCOPED_TRACE(r.line);
    const extxyz_comment c = parse_extxyz_comment(r.line, "f.xyz");
    EXPECT_EQ(c.title, r.title);
    EXPECT_EQ(c.extended, r.extended);
    ASSERT_EQ(c.cell.has_value(), r.has_cell);
    if (c.cell) {
      EXPECT_EQ(c.cell->a, graphene);
      EXPECT_EQ(c.cell->pbc, r.pbc);
    }
  }
}

TEST(ExtxyzComment, FaultsPointAtTheValue) {
  struct row {
    const char* line;
    bool rejected;  // input_rejected, else io_error
    int column;
    const char* message;
  };
  const row rows[] = {
      {"Lattice=\"1 0 0 0 1 0 0 0\"", false, 9, "nine numbers, ax ay az bx by bz cx cy cz: it holds 8"},
      {"Lattice=\"1 0 0 0 1 0 0 0 x\"", false, 9, "nine numbers"},
      {"Lattice=\"1 0 0 0 1 0 0 0 1\" pbc=\"T T\"", false, 33, "pbc must hold three flags, each T or F"},
      {"Lattice=\"1 0 0 0 1 0 0 0 1\" pbc=\"T 1 F\"", false, 33, "each T or F"},
      {"Properties=pos:R:3:species:S:1", false, 12, "Properties must begin with species:S:1:pos:R:3"},
      {"Lattice=\"1 0 0 0 1 0 0 0 1", false, 9, "unterminated quoted value"},
      {"Lattice=\"0 0 0 0 1 0 0 0 1\" pbc=\"T T F\"", true, 9, "the periodic lattice vector a is zero"},
      {"Lattice=\"1 0 0 2 0 0 0 0 1\" pbc=\"T T F\"", true, 9, "a and b are parallel"},
      {"Lattice=\"1 0 0 0 1 0 1 1 0\"", true, 9, "a, b and c lie in one plane"},
      {"pbc=\"F T F\"", true, 5, "pbc marks a periodic axis but the line gives no Lattice"},
  };
  for (const row& r : rows) {
    SCOPED_TRACE(r.line);
    try {
      parse_extxyz_comment(r.line, "f.xyz");
      ADD_FAILURE() << "accepted";
    } catch (const tb_error& e) {
      EXPECT_EQ(dynamic_cast<const input_rejected*>(&e) != nullptr, r.rejected);
      EXPECT_NE(std::string(e.what()).find(r.message), std::string::npos) << e.what();
      EXPECT_EQ(e.where().file, "f.xyz");
      EXPECT_EQ(e.where().line, 2);
      EXPECT_EQ(e.where().column, r.column);
    }
  }
  // Vectors of axes that are not periodic may be anything.
  EXPECT_NO_THROW(parse_extxyz_comment("Lattice=\"1 0 0 0 0 0 0 0 0\" pbc=\"T F F\"", "f.xyz"));
}

// A frame the project writes reads back, through the batch tools' reader, with the same title,
// the same cell bit for bit and the same coordinates.
TEST(ExtxyzComment, WrittenFramesReadBackExactly) {
  testing::temp_dir dir;
  common_var c = testing::molecule({{'C', {0.1, 1.0 / 3.0, 0}}, {'C', {1.3, 0.71, -2e-7}}});
  c.sssss = "graphene \"AB\"";
  c.sssss.resize(title_length, ' ');
  periodic_cell cell{graphene, {true, true, false}};
  cell.a[2][1] = 0.1 + 0.2;
  const std::string frame = xyz_frame(c, {{"energy", full_precision(-1.5)}, {"title", quoted_title(c)}}, cell);
  EXPECT_EQ(frame.substr(0, frame.find("Properties")),
            "2\nLattice=\"2.46 0 0 -1.23 2.130422493309719 0 0 0.30000000000000004 20\" ");
  EXPECT_NE(frame.find("title=\"graphene \\\"AB\\\"\" pbc=\"T T F\"\n"), std::string::npos);

  testing::write_text(dir / "g.xyz", frame);
  common_var back;
  param par;
  drive drv;
  std::ostringstream warnings;
  const extxyz_comment comment = read_structure(back, par, drv, (dir / "g.xyz").string(), warnings, true);
  EXPECT_EQ(back.sssss, c.sssss);
  ASSERT_TRUE(comment.cell);
  EXPECT_EQ(comment.cell->a, cell.a);
  EXPECT_EQ(comment.cell->pbc, cell.pbc);
  EXPECT_EQ(back.x, c.x);
  EXPECT_EQ(back.y, c.y);
  EXPECT_EQ(back.z, c.z);
}

}  // namespace
}  // namespace tbrelax
