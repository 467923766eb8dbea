// What a run left behind: changed settings and files; and how two runs differ.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/router.h"
#include "bench/show/printer.h"

namespace bench {

// The name under which rc knows a file: /var is a link to /tmp/var.
std::string router_path(const std::string &path);

const char *change_word(FileChange::What what);

// Timeline, standard error if any, changed settings, changed files with their text.
void print_report(FILE *out, const std::vector<std::string> &words, const Trace &trace, const Style &style);

// One file of the router under its name, or a line that it is not there.
void print_file(FILE *out, const std::string &path, const std::optional<std::string> &content,
                const Style &style);

// Whether the second run did anything differently.
bool differs(const Trace &before, const Trace &after);

// What the second run did differently from the first: timeline, settings after, files after. False when
// there is no difference.
bool print_difference(FILE *out, const Trace &before, const Trace &after, const Style &style);

// Prints one part of a difference under its heading; nothing, and false, when both sides are the same.
bool print_part(const Printer &printer, const std::string &heading, const std::string &difference);

// Says that two sides are the same, when they are; passes the answer on.
bool differs_or_says_so(FILE *out, bool differs);

}  // namespace bench
