// The table of figures: what was measured, against what, and whether it meets its goal.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace perf {

// One row. Times are in microseconds, memory in KiB, instructions and shares as they are.
struct Figure {
    std::string group;
    std::string name;
    std::string unit;
    double ours = 0;
    std::optional<double> median = {};  // of repeated runs, where `ours` is the least
    std::string against = {};           // what `other` is: the floor, a script
    std::optional<double> other = {};
    std::optional<double> ratio = {};  // ours / other
    bool percent = false;              // the ratio is a share
    std::string goal = {};
    std::optional<bool> met = {};
};

std::string as_text(const std::vector<Figure> &figures);
std::string as_json(const std::vector<Figure> &figures);

// Whether every goal is met.
bool all_met(const std::vector<Figure> &figures);

}  // namespace perf
