#pragma once
// Compiler-style messages for faults: "program: file:line:col: error: text", then the line
// with a caret under the field where there is one.

#include <string>
#include <string_view>

#include "state/errors.hpp"

namespace tbrelax {

std::string format_diagnostic(std::string_view program, const tb_error& error);

}  // namespace tbrelax
