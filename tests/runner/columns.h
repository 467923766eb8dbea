// The table of a `cases` directive, and its values in the place of $column.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/runner/directive.h"

// A row of a table: every column with its value. The first column is the case's name; one named "shows" is
// its title.
struct TableRow {
    Place place;
    std::vector<std::pair<std::string, std::string>> values;
};

bool read_table(const Directive &cases, std::vector<TableRow> &rows, Refusal &refusal);

// Replaces $column and ${column} in the directive and its lines, $$ by a dollar sign, and adds the columns it
// used to `used`.
bool fill_columns(const TableRow &row, Directive &directive, std::set<std::string> &used, Refusal &refusal);

// The letters, digits, "_", "-" and "." of a case's name.
bool is_case_name(std::string_view name);
