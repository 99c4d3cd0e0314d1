#pragma once
// tbcalc relax --cell: one periodic file relaxed with its cell, reported in text or JSON.

#include <iosfwd>
#include <string>

#include "common.hpp"

namespace tbrelax::tbcalc {

// Reads and relaxes `path`; progress to `progress`, the report to `text` or `json`.
void relax_cell_file(calculation& calc, const std::string& path, const options& o, std::ostream& progress,
                     std::ostream& text, json_writer& json);

}  // namespace tbrelax::tbcalc
