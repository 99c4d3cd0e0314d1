#pragma once
// A command run on each of its FILEs and reported together. The files are shared among the
// processes of the group (largest first where there are several); each file's report comes
// to rank 0, which prints them in the order of the command line: text as soon as the files
// before it are done, JSON as one document at the end.

#include <functional>
#include <iosfwd>
#include <string>

#include "cli.hpp"
#include "io/json_writer.hpp"
#include "parallel/work_sharing.hpp"

namespace tbrelax::tbcalc {

// What a command does with one file: compute (faults are thrown and reported by the batch),
// then write the text report to `text` or, for --json, the members of the file's object to
// `json`. Warnings go to `err`.
using file_work = std::function<void(const std::string& path, std::ostream& err, std::ostream& text, json_writer& json)>;

struct batch_layout {
  std::string between;  // text between two files' reports
  bool own_document;    // --json with one FILE: the file's object is the whole document
};

// The worst status of the files (0 on every rank but 0). Under --json, several files (or
// one without own_document) give {"files": [...], "status": worst}: a good file's object
// starts with "status": 0, a failed one is {"status", "file", "error"}.
int run_batch(const options& o, work_sharing& group, std::ostream& out, std::ostream& err, const file_work& work,
              const batch_layout& layout);

}  // namespace tbrelax::tbcalc
