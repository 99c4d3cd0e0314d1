#include "io/read_coord.hpp"

#include <optional>

#include "io/free_reader.hpp"
#include "io/text_file.hpp"
#include "state/element.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

struct atom_line {
  std::string symbol;  // one character, or the whole field for whole symbols
  source_location where;  // of the symbol
  double x = 0, y = 0, z = 0;
};

// The longest symbol field kept whole; a longer one names no element either way.
constexpr std::size_t symbol_field_length = 32;

void set_cell(common_var& c) {
  c.perx = {25.05758, 0.0, 0.0};
  c.pery = {0.0, 39.060900000000004, 0.0};
  c.perz = {0.0, 0.0, 1000000.0};
}

void zero_counts(common_var& c) { c.h_count = c.c_count = c.n_count = c.o_count = 0; }

void count_element(common_var& c, element e) {
  switch (e) {
    case hydrogen: ++c.h_count; break;
    case carbon: ++c.c_count; break;
    case nitrogen: ++c.n_count; break;
    case oxygen: ++c.o_count; break;
  }
}

// Opens the file and reads the two header lines: the declared atom count and the title.
free_reader read_header(const structure_source& source, bool create, std::int32_t& declared, std::string& title) {
  free_reader reader(source.path, load_lines(source.path, create));
  reader.begin_read();
  auto count = reader.next_integer();
  if (!count) throw io_error("the file ends before the number of atoms", reader.end_of_file());
  reader.begin_read();
  auto text = reader.next_text(title_length);
  if (!text) throw io_error("the file ends before the title line", reader.end_of_file());
  declared = *count;
  title = *text;
  return reader;
}

// One atom line; nothing when the file ends during it. The first pass reads the coordinates in
// single precision only to check them.
std::optional<atom_line> read_atom(free_reader& reader, bool single, bool whole_symbols) {
  reader.begin_read();
  atom_line a;
  auto symbol = reader.next_text(whole_symbols ? symbol_field_length : 1);
  if (!symbol) return std::nullopt;
  a.symbol = whole_symbols ? symbol->substr(0, symbol->find_last_not_of(' ') + 1) : *symbol;
  a.where = reader.last_field();
  for (double* q : {&a.x, &a.y, &a.z}) {
    if (single) {
      auto v = reader.next_real_single();
      if (!v) return std::nullopt;
      *q = *v;
    } else {
      auto v = reader.next_real();
      if (!v) return std::nullopt;
      *q = *v;
    }
  }
  return a;
}

// The element of an atom line under the source's symbol rule. A whole symbol naming no element
// of the model is rejected at once.
std::optional<element> element_of(const atom_line& a, const structure_source& source) {
  if (!source.whole_symbols) return element_from_symbol(a.symbol[0]);
  if (auto e = element_from_name(a.symbol)) return e;
  throw input_rejected("'" + a.symbol + "' is not an element of the model: only H, C, N and O", a.where);
}

void reject_count(console& con, const std::string& file, const std::string& fault) {
  con.pause();
  throw input_rejected(fault, {.file = file, .line = 1, .column = 1, .length = 0, .line_text = {}});
}

// First pass: validates every line and counts the atoms; returns the number of atom lines
// counted (valid ones, and unknown elements after the first valid one).
std::int32_t first_pass(common_var& c, console& con, const structure_source& source, std::int32_t& declared) {
  free_reader reader = read_header(source, source.create_if_missing, declared, c.sssss);
  const std::string& file = source.path;
  bool seen_valid = false;
  std::int32_t counted = 0;
  while (auto a = read_atom(reader, true, source.whole_symbols)) {
    if (auto e = element_of(*a, source)) {
      count_element(c, *e);
      seen_valid = true;
      ++counted;
    } else if (!seen_valid) {
      con.print("WARNING: Inadmissible chemical element: ", a->symbol, " in " + file);
      con.print(" You Can use only follow elements: H, C, N, O");
      con.pause();
    } else {
      ++counted;
    }
  }
  return counted;
}

// Second pass: stores the elements and coordinates into the allocated state.
void second_pass(common_var& c, console& con, const structure_source& source) {
  std::int32_t declared = 0;
  free_reader reader = read_header(source, false, declared, c.sssss);
  std::int32_t i = 0;
  while (i < c.at_count) {
    auto a = read_atom(reader, false, source.whole_symbols);
    if (!a) throw io_error("the file ends before atom " + std::to_string(i + 1), reader.end_of_file());
    // Coordinates of a line with an unknown element are overwritten by the next line.
    c.x[i] = a->x;
    c.y[i] = a->y;
    c.z[i] = a->z;
    if (auto e = element_of(*a, source)) {
      c.at_type[i] = *e;
      count_element(c, *e);
      ++i;
    } else {
      con.print("WARNING: Inadmissible chemical element: ", a->symbol);
      con.print("in " + source.path + ". You Can use only follow elements: H, C, N, O");
      con.pause();
    }
  }
}

}  // namespace

void read_coord(common_var& c, console& con, const structure_source& source) {
  set_cell(c);
  zero_counts(c);
  std::int32_t declared = 0;
  const std::int32_t counted = first_pass(c, con, source, declared);
  c.at_count = c.h_count + c.c_count + c.n_count + c.o_count;

  const std::string wrong_count = "ERROR: Wrong number of atoms in file " + source.path;
  if (c.at_count != declared) {
    con.print(wrong_count);
    con.print(" Number of atoms is: ", c.at_count);
    reject_count(con, source.path,
                 "the file declares " + std::to_string(declared) + " atoms but holds " +
                     std::to_string(c.at_count) + " atom lines");
  }
  if (c.at_count != counted) {
    con.print(wrong_count);
    reject_count(con, source.path, "an atom line after the first one names an element other than H, C, N or O");
  }

  allocate_arrays(c, c.at_count);
  zero_counts(c);
  second_pass(c, con, source);
  derive_composition(c);

  con.print("Coordinates have read successfully");
  con.print(c.sssss);
  con.print(" Number of atoms is: ", c.at_count);
  con.print("H: ", c.h_count, "       C: ", c.c_count);
  con.print("N: ", c.n_count, "       O: ", c.o_count);
}

}  // namespace tbrelax
