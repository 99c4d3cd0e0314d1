#pragma once
// Running tbcalc in a temporary directory and reading numbers out of its JSON documents.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "support/run_program.hpp"
#include "support/test_support.hpp"

namespace tbrelax::testing {

inline run_result tbcalc(const std::vector<std::string>& args, const std::filesystem::path& dir) {
  return run_program(built_program("tbcalc"), args, dir, "");
}

// A command line tbcalc must refuse: the exit status and a piece of the message it must print.
struct refusal {
  std::vector<std::string> args;
  int status;
  std::string message;
};

// Runs `tbcalc command args...` for every case in `dir` and checks status and message.
inline void expect_refusals(const std::string& command, const std::vector<refusal>& cases,
                            const std::filesystem::path& dir) {
  for (const refusal& r : cases) {
    std::vector<std::string> args = {command};
    args.insert(args.end(), r.args.begin(), r.args.end());
    const auto got = tbcalc(args, dir);
    EXPECT_EQ(got.status, r.status) << r.message;
    EXPECT_NE(got.err.find(r.message), std::string::npos) << got.err;
  }
}

// Every number of the value of the first member named `key`: one for a number, all of them in
// order for an array or an object (nested ones flattened), none for null.
inline std::vector<double> json_numbers(const std::string& doc, const std::string& key) {
  std::vector<double> numbers;
  std::size_t at = doc.find("\"" + key + "\": ");
  if (at == std::string::npos) return numbers;
  at += key.size() + 4;
  int depth = 0;
  do {
    const char ch = doc[at];
    if (ch == '[' || ch == '{') ++depth;
    if (ch == ']' || ch == '}') --depth;
    if (ch == '"') at = doc.find('"', at + 1);  // a member name or a string
    if (ch == '-' || (ch >= '0' && ch <= '9')) {
      char* end = nullptr;
      numbers.push_back(std::strtod(doc.c_str() + at, &end));
      at = end - doc.c_str();
      continue;
    }
    ++at;
  } while (depth > 0 && at < doc.size());
  return numbers;
}

inline double json_number(const std::string& doc, const std::string& key) {
  const auto v = json_numbers(doc, key);
  return v.size() == 1 ? v[0] : std::nan("");
}

// Runs Python on `script` with `input` on standard input; the result's status is -1 where
// there is no Python.
inline run_result python(const std::string& script, const std::filesystem::path& dir, const std::string& input = "") {
  const std::filesystem::path program = "/usr/bin/python3";
  if (!std::filesystem::exists(program)) return {};
  return run_program(program, {"-c", script}, dir, input);
}

}  // namespace tbrelax::testing
