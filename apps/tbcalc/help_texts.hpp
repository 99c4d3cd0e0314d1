#pragma once
// tbcalc's own words on its command line: the usage line and help of the program and of each
// command.

#include <string>
#include <string_view>

#include "cli.hpp"

namespace tbrelax::tbcalc {

extern const std::string general_usage;  // "Usage: tbcalc COMMAND [OPTIONS] FILE...\n"
extern const std::string general_help;

struct command_text {
  command cmd;
  std::string usage, help;
};

// The command of that name, or nullptr for none.
const command_text* find_command(std::string_view name);

}  // namespace tbrelax::tbcalc
