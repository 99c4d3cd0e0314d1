#include "io/extxyz.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <fstream>
#include <sstream>
#include <variant>
#include <vector>

#include "io/free_reader.hpp"
#include "io/number_syntax.hpp"
#include "state/common_var.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

using vec3 = std::array<double, 3>;

// One blank-separated item of the line: a key=value pair or a bare word. Quoted values keep
// their blanks; a backslash escapes the next character inside quotes, as ASE writes them.
struct item {
  std::string key;    // empty for a bare word
  std::string value;  // unquoted
  int column = 0;     // 1-based, where the value (or the bare word) starts
  int length = 0;     // of the value as written
};

bool is_blank(char ch) { return ch == ' ' || ch == '\t' || ch == '\r'; }

std::string lower(std::string s) {
  for (char& ch : s) ch = char(std::tolower(static_cast<unsigned char>(ch)));
  return s;
}

class comment_items {
 public:
  comment_items(const std::string& line, const std::string& file) : line_(line), file_(file) {}

  std::vector<item> all() {
    std::vector<item> items;
    while (true) {
      while (pos_ < line_.size() && is_blank(line_[pos_])) ++pos_;
      if (pos_ == line_.size()) return items;
      item it;
      const std::size_t start = pos_;
      std::string word = token(true);
      const std::size_t after_word = pos_;
      while (pos_ < line_.size() && is_blank(line_[pos_])) ++pos_;  // "key = value" too
      if (pos_ < line_.size() && line_[pos_] == '=') {
        ++pos_;
        while (pos_ < line_.size() && is_blank(line_[pos_])) ++pos_;
        it.key = word;
        const std::size_t value_start = pos_;
        it.value = token(false);
        it.column = int(value_start) + 1;
        it.length = int(pos_ - value_start);
      } else {
        pos_ = after_word;
        it.value = word;
        it.column = int(start) + 1;
        it.length = int(pos_ - start);
      }
      items.push_back(std::move(it));
    }
  }

  source_location at(int column, int length) const { return {file_, 2, column, length, line_}; }

 private:
  // A quoted string, a bracketed array or a run of characters up to a blank (or, for a key, '=').
  std::string token(bool key) {
    std::string text;
    if (pos_ < line_.size() && (line_[pos_] == '"' || line_[pos_] == '\'')) {
      const char quote = line_[pos_];
      const std::size_t start = pos_++;
      while (pos_ < line_.size() && line_[pos_] != quote) {
        if (line_[pos_] == '\\' && pos_ + 1 < line_.size()) ++pos_;
        text += line_[pos_++];
      }
      if (pos_ == line_.size()) throw io_error("unterminated quoted value", at(int(start) + 1, int(pos_ - start)));
      ++pos_;
      return text;
    }
    if (!key && pos_ < line_.size() && (line_[pos_] == '[' || line_[pos_] == '{')) {
      const char close = line_[pos_] == '[' ? ']' : '}';
      const std::size_t end = line_.find(close, pos_);
      const std::size_t stop = end == std::string::npos ? line_.size() : end + 1;
      text = line_.substr(pos_, stop - pos_);
      pos_ = stop;
      return text;
    }
    while (pos_ < line_.size() && !is_blank(line_[pos_]) && !(key && line_[pos_] == '=')) text += line_[pos_++];
    return text;
  }

  const std::string& line_;
  const std::string& file_;
  std::size_t pos_ = 0;
};

std::vector<std::string> words_of(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> words;
  for (std::string w; in >> w;) words.push_back(w);
  return words;
}

std::array<vec3, 3> lattice_of(const item& it, const comment_items& items) {
  const auto words = words_of(it.value);
  const auto fault = [&](const std::string& why) {
    return io_error("Lattice must hold nine numbers, ax ay az bx by bz cx cy cz: " + why,
                    items.at(it.column, it.length));
  };
  if (words.size() != 9) throw fault("it holds " + std::to_string(words.size()));
  std::array<vec3, 3> a{};
  for (std::size_t k = 0; k < 9; ++k) {
    const auto v = parse_real(words[k]);
    if (const auto* why = std::get_if<std::string>(&v)) throw fault(*why);
    a[k / 3][k % 3] = std::get<double>(v);
  }
  return a;
}

std::array<bool, 3> pbc_of(const item& it, const comment_items& items) {
  const auto words = words_of(it.value);
  std::array<bool, 3> pbc{};
  bool valid = words.size() == 3;
  for (std::size_t k = 0; valid && k < 3; ++k) {
    valid = words[k] == "T" || words[k] == "F";
    if (valid) pbc[k] = words[k] == "T";
  }
  if (!valid) throw io_error("pbc must hold three flags, each T or F", items.at(it.column, it.length));
  return pbc;
}

vec3 cross(const vec3& u, const vec3& v) {
  return {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
}
double dot(const vec3& u, const vec3& v) { return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]; }
double norm(const vec3& u) { return std::sqrt(dot(u, u)); }

// Periodic vectors that are zero or (to a relative 1e-10, far below any real cell's skew)
// linearly dependent describe no lattice.
void check_periodic_vectors(const periodic_cell& cell, const source_location& where) {
  static constexpr char axis_name[] = {'a', 'b', 'c'};
  std::vector<int> axes;
  for (int i = 0; i < 3; ++i)
    if (cell.pbc[i]) {
      if (norm(cell.a[i]) == 0)
        throw input_rejected(std::string("the periodic lattice vector ") + axis_name[i] + " is zero", where);
      axes.push_back(i);
    }
  constexpr double dependent = 1e-10;
  if (axes.size() == 2) {
    const vec3& u = cell.a[axes[0]];
    const vec3& v = cell.a[axes[1]];
    if (!(norm(cross(u, v)) > dependent * norm(u) * norm(v)))
      throw input_rejected(std::string("the periodic lattice vectors ") + axis_name[axes[0]] + " and " +
                               axis_name[axes[1]] + " are parallel",
                           where);
  } else if (axes.size() == 3) {
    const double volume = dot(cell.a[0], cross(cell.a[1], cell.a[2]));
    if (!(std::abs(volume) > dependent * norm(cell.a[0]) * norm(cell.a[1]) * norm(cell.a[2])))
      throw input_rejected("the lattice vectors a, b and c lie in one plane", where);
  }
}

// Today's title rule for a line that is no extended XYZ: its first free-format field.
std::string plain_title(const std::string& comment, const std::string& file) {
  free_reader reader(file, {comment});
  reader.begin_read();
  const auto text = reader.next_text(title_length);
  if (!text) return "";
  return text->substr(0, text->find_last_not_of(' ') + 1);
}

std::string shortest(double v) {
  char buffer[32];
  return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, v).ptr);
}

}  // namespace

extxyz_comment parse_extxyz_comment(const std::string& comment, const std::string& file) {
  comment_items reader(comment, file);
  const std::vector<item> items = reader.all();
  const auto named = [&](const char* key) {
    return std::find_if(items.begin(), items.end(), [&](const item& it) { return lower(it.key) == key; });
  };
  const auto lattice = named("lattice");
  const auto pbc = named("pbc");
  const auto properties = named("properties");
  extxyz_comment out;
  out.extended = lattice != items.end() || pbc != items.end() || properties != items.end();
  if (!out.extended) {
    out.title = plain_title(comment, file);
    return out;
  }

  if (properties != items.end() && !properties->value.starts_with("species:S:1:pos:R:3"))
    throw io_error("Properties must begin with species:S:1:pos:R:3 (the element, then x, y, z)",
                   reader.at(properties->column, properties->length));
  periodic_cell cell;
  if (lattice != items.end()) {
    cell.a = lattice_of(*lattice, reader);
    cell.pbc = {true, true, true};
  }
  if (pbc != items.end()) cell.pbc = pbc_of(*pbc, reader);
  if (lattice != items.end() || pbc != items.end()) {
    const item& blamed = lattice != items.end() ? *lattice : *pbc;
    const source_location where = reader.at(blamed.column, blamed.length);
    if (lattice == items.end() && cell.periodic())
      throw input_rejected("pbc marks a periodic axis but the line gives no Lattice", where);
    check_periodic_vectors(cell, where);
  }
  if (lattice != items.end()) out.cell = cell;

  if (const auto title = named("title"); title != items.end()) {
    out.title = title->value;
  } else {
    for (const item& it : items)
      if (it.key.empty()) out.title += (out.title.empty() ? "" : " ") + it.value;
  }
  out.title.erase(out.title.find_last_not_of(' ') + 1);
  return out;
}

extxyz_comment read_extxyz_comment(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw io_error("cannot open the file", in_file(path));
  std::string line;
  std::getline(in, line);
  if (!std::getline(in, line)) line.clear();
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return parse_extxyz_comment(line, path);
}

std::string lattice_field(const periodic_cell& cell) {
  std::string text = "Lattice=\"";
  for (int i = 0; i < 3; ++i)
    for (int k = 0; k < 3; ++k) text += (i + k ? " " : "") + shortest(cell.a[i][k]);
  return text + '"';
}

std::string pbc_field(const periodic_cell& cell) {
  return std::string("pbc=\"") + (cell.pbc[0] ? 'T' : 'F') + ' ' + (cell.pbc[1] ? 'T' : 'F') + ' ' +
         (cell.pbc[2] ? 'T' : 'F') + '"';
}

}  // namespace tbrelax
