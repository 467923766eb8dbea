// Answers about all packets, as tables for people and as JSON.
#pragma once

#include <string>
#include <vector>

#include "bench/packets/reach.h"
#include "bench/show/json.h"

namespace rcbench {

// A heading, one line a row, or "  nothing".
void print_rows(const std::string &heading, const std::vector<packets::Row> &rows);

// The lines alone; without what is behind the rules where that is not known.
void print_table_of(const std::vector<packets::Row> &rows, bool causes = true);

// The head and rows of the table.
std::vector<std::vector<std::string>> table_of(const std::vector<packets::Row> &rows);

// One object: protocol, ports, from, to, when, unless, setting, record and what is behind them.
bench::Json json_row(packets::Side side, const packets::Row &row);

void print_idle_lines(const std::vector<packets::IdleLine> &lines);
bench::Json json_idle_lines(const std::vector<packets::IdleLine> &lines);

}  // namespace rcbench
