// A subcommand of rcbench: a file with a function that makes its Command, and a row in the table of main.cpp.
#pragma once

#include <functional>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "forms/program.h"

namespace rcbench {

using Words = std::vector<std::string>;
using Options = std::vector<forms::Option>;

// Its options write where its work reads: into a record that both hold.
struct Command {
    forms::Program program;
    std::function<int(const Words &words)> work;  // the words without options; result: the exit status
};

struct CommandRow {
    const char *name;
    const char *summary;
    Command (*make)();
};

// All subcommands in the order of the help; the first one is meant when none is named.
std::span<const CommandRow> commands();

// The rows of several groups, one after the other.
Options joined(std::initializer_list<Options> groups);

// ---- the subcommands ------------------------------------------------------------------------------------

Command make_run();
Command make_rules();
Command make_compare();
Command make_completion();
Command make_shell();
Command make_explain();
Command make_packet();
Command make_reach();
Command make_live();
Command make_day();

}  // namespace rcbench
