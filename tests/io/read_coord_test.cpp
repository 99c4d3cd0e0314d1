#include "io/read_coord.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "state/errors.hpp"
#include "support/test_support.hpp"

namespace tbrelax {
namespace {

using testing::scoped_cwd;
using testing::temp_dir;
using testing::write_text;

// What one read of input.xyz left behind: the screen, the keyboard lines it did not consume,
// the state, and the fault if there was one.
struct read_outcome {
  std::string screen;
  std::string unread_keys;
  common_var c;
  int status = 0;  // 0, or the status of the fault
  std::string fault;
  source_location where;
};

read_outcome read_file(const std::string& content, const std::string& keys = "k1\nk2\nk3\nk4\n",
                       bool whole_symbols = false) {
  temp_dir dir;
  scoped_cwd cwd(dir.path());
  write_text(dir / "input.xyz", content);
  std::ostringstream screen;
  std::istringstream keyboard(keys);
  console con(screen, keyboard);
  read_outcome out;
  try {
    read_coord(out.c, con, {.path = "input.xyz", .create_if_missing = true, .whole_symbols = whole_symbols});
  } catch (const tb_error& e) {
    out.status = e.status();
    out.fault = e.what();
    out.where = e.where();
  }
  out.screen = screen.str();
  std::getline(keyboard, out.unread_keys, '\0');
  return out;
}

const std::string water = "3\nwater\nO 0.0 0.0 0.117\nH 0.0 0.757 -0.467\nH 0.0 -0.757 -0.467\n";
const std::string pad45(45, ' ');

TEST(ReadCoord, WaterFillsTheState) {
  auto r = read_file(water);
  ASSERT_EQ(r.status, 0) << r.fault;
  // Its screen is checked in full on tbrelax's.
  EXPECT_EQ(r.unread_keys, "k1\nk2\nk3\nk4\n");  // no pause
  const common_var& c = r.c;
  EXPECT_EQ(c.at_count, 3);
  EXPECT_EQ(c.at_type, (std::vector<std::int32_t>{4, 1, 1}));
  EXPECT_EQ(c.wfunc_count, 6);
  EXPECT_EQ(c.el_count, 8);
  EXPECT_EQ(c.nat3, 9);
  EXPECT_EQ(c.amass, (std::vector<double>{16, 16, 16, 1, 1, 1, 1, 1, 1}));
  EXPECT_EQ(c.y, (std::vector<double>{0.0, 0.757, -0.757}));
  EXPECT_EQ(c.z[0], 0.117);
}

// Accepted and refused files: the screen, the pauses (keys consumed), the status, and what the
// state holds afterwards.
TEST(ReadCoord, LayoutsCountsAndTheirScreens) {
  const std::string count_error = " ERROR: Wrong number of atoms in file input.xyz\n";
  const std::string found_three = "  Number of atoms is:            3\n";
  struct outcome {
    std::string content;
    int status;
    std::string screen_start, unread_keys;
    std::vector<std::int32_t> types = {};  // checked where the read succeeds
    int wfunc_count = 0, el_count = 0;
    std::string title = {};
  };
  for (const outcome& o : std::vector<outcome>{
           {"5\nm\nC 0 0 0\nH 1 0 0\nH 0 1 0\nH 0 0 1\nH 1 1 1\n", 0, " Coordinates", "k1\nk2\nk3\nk4\n",
            {2, 1, 1, 1, 1}, 8, 8, "m" + std::string(49, ' ')},
           {"0\nnothing\n", 0, " Coordinates", "k1\nk2\nk3\nk4\n", {}, 0, 0},
           // Titles are one field or a quoted string, at most 50 characters.
           {"1\nwater molecule\nH 0 0 0\n", 0, " Coordinates", "k1\nk2\nk3\nk4\n", {1}, 1, 1, "water" + pad45},
           {"1\n'water molecule'\nH 0 0 0\n", 0, " Coordinates", "k1\nk2\nk3\nk4\n", {1}, 1, 1,
            "water molecule" + std::string(36, ' ')},
           {"1\n" + std::string(60, 'x') + "\nH 0 0 0\n", 0, " Coordinates", "k1\nk2\nk3\nk4\n", {1}, 1, 1,
            std::string(50, 'x')},
           // Separators, blank lines, extra fields, labels read by their first letter, a coordinate
           // continued on the next line, a partial last line.
           {"3\r\nw\r\nO, 0.0, 0.0, 0.117, -0.8\n\n\tH\t0.0  0.757\n-0.467\nHe 0.0 -0.757 -0.467 charge\n\n\n", 0,
            " Coordinates", "k1\nk2\nk3\nk4\n", {4, 1, 1}, 6, 8},
           {"4\nl\nCl 0 0 0\nNa 1 0 0\nOs 2 0 0\nH1 3 0 0\n", 0, " Coordinates", "k1\nk2\nk3\nk4\n", {2, 3, 4, 1}, 13, 16},
           {"2\nw\nH 0 0 0\nH 0 0 1\nH 0 0\n", 0, " Coordinates", "k1\nk2\nk3\nk4\n", {1, 1}, 2, 2},
           // An unknown element before the first atom warns twice with a pause each, and its
           // line is overwritten; after an atom it is a count error.
           {"2\nt\nc 9 9 9\nH 0 0 0\nO 0 0 1\n", 0,
            " WARNING: Inadmissible chemical element: c in input.xyz\n"
            "  You Can use only follow elements: H, C, N, O\n"
            " WARNING: Inadmissible chemical element: c\n"
            " in input.xyz. You Can use only follow elements: H, C, N, O\n Coordinates",
            "k3\nk4\n", {1, 4}, 5, 7},
           {"2\nt\nH 0 0 0\nO 0 0 1\nX 1 1 1\n", 1, count_error, "k2\nk3\nk4\n"},
           {"4\nt\nH 0 0 0\nH 0 0 1\nO 0 1 0\n", 1, count_error + found_three, "k2\nk3\nk4\n"},
           {"2\nt\nH 0 0 0\nH 0 0 1\nO 0 1 0\n", 1, count_error + found_three, "k2\nk3\nk4\n"},
           // An empty title takes the first atom's symbol and that line is lost.
           {"3\n\nO 0.0 0.0 0.117\nH 0.0 0.757 -0.467\nH 0.0 -0.757 -0.467\n", 1,
            count_error + "  Number of atoms is:            2\n", "k2\nk3\nk4\n", {}, 0, 0, "O" + std::string(49, ' ')},
       }) {
    SCOPED_TRACE(o.content);
    const auto r = read_file(o.content);
    EXPECT_EQ(r.status, o.status) << r.fault;
    EXPECT_TRUE(r.screen.starts_with(o.screen_start)) << r.screen;
    if (o.status != 0) {
      EXPECT_EQ(r.screen, o.screen_start);
    }
    EXPECT_EQ(r.unread_keys, o.unread_keys);
    EXPECT_EQ(r.c.allocated, o.status == 0);
    if (!o.title.empty()) {
      EXPECT_EQ(r.c.sssss, o.title);
    }
    if (o.status != 0) continue;
    EXPECT_EQ(r.c.at_type, o.types);
    EXPECT_EQ(r.c.wfunc_count, o.wfunc_count);
    EXPECT_EQ(r.c.el_count, o.el_count);
  }
  EXPECT_EQ(read_file("3\nw\nO, 0.0, 0.0, 0.117\nH 0 0.757\n-0.467\nH 0 0 -0.467\n").c.z,
            (std::vector<double>{0.117, -0.467, -0.467}));
  EXPECT_EQ(read_file("2\nt\nc 9 9 9\nH 0 0 0\nO 0 0 1\n").c.x, (std::vector<double>{0, 0}));
}

TEST(ReadCoord, MalformedInputIsAFatalErrorAtItsPlace) {
  struct bad {
    std::string content, fault;
    int line, column;
  };
  for (const bad& b : std::vector<bad>{
           {"three\nw\n", "'three' is not an integer", 1, 1},
           {"2\nw\nH 0.0 0.0\nH 1.0 0.0 0.0\n", "'H' is not a real number", 4, 1},
       }) {
    auto r = read_file(b.content);
    EXPECT_EQ(r.status, 2) << b.content;
    EXPECT_EQ(r.fault, b.fault);
    EXPECT_EQ(r.where.file, "input.xyz");
    EXPECT_EQ(r.where.line, b.line) << b.content;
    EXPECT_EQ(r.where.column, b.column) << b.content;
    EXPECT_FALSE(r.c.allocated);
  }
}

TEST(ReadCoord, WholeSymbolsNameTheElementOrAreRejectedAtTheirField) {
  auto ok = read_file("5\nw\nO 0 0 0\nh 1 0 0\nH12 0 1 0\n'C' 0 0 1\nn1 1 1 1\n", "", true);
  ASSERT_EQ(ok.status, 0) << ok.fault;
  EXPECT_EQ(ok.c.at_type, (std::vector<std::int32_t>{4, 1, 1, 2, 3}));
  EXPECT_EQ(ok.screen.find("WARNING"), std::string::npos);
  for (const std::string symbol : {"Cl", "Na", "Os", "He", "X", "H-1", "1H", "CO"}) {
    // Before or after a valid atom alike: the field is rejected without a pause.
    for (const std::string& text : {"2\nw\n  " + symbol + " 0 0 0\nH 0 0 1\n", "2\nw\nH 0 0 1\n  " + symbol + " 0 0 0\n"}) {
      auto r = read_file(text, "", true);
      EXPECT_EQ(r.status, 1) << symbol;
      EXPECT_EQ(r.fault, "'" + symbol + "' is not an element of the model: only H, C, N and O");
      EXPECT_EQ(r.where.line, text.starts_with("2\nw\nH") ? 4 : 3) << symbol;
      EXPECT_EQ(r.where.column, 3) << symbol;
      EXPECT_EQ(r.screen, "");
      EXPECT_FALSE(r.c.allocated);
    }
  }
}

}  // namespace
}  // namespace tbrelax
