// A scenario in the making: its directives by their place in time, and how a layer of further ones changes
// them.
#pragma once

#include <string>
#include <vector>

#include "tests/runner/directive.h"

using Directives = std::vector<Directive>;

struct RunPart {
    Directive run;
    Directives after;
};

struct Plan {
    Directives before;
    std::vector<RunPart> runs;
};

// Adds a layer: what it says of a topic replaces what the plan says of it, a run of its own replaces the
// plan's runs, `change` and `without` alter what is there.
bool add_layer(Plan &plan, const Directives &directives, Refusal &refusal);

// All of it; the runs and what is expected of them.
std::string whole_text(const Plan &plan);
std::string expected_text(const Plan &plan);
