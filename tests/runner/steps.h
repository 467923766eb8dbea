// Lines of a trace or of an expected file that are written once, as steps with a name, and used by it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/runner/directive.h"

struct Steps {
    Place place;
    std::vector<BodyLine> lines;
    bool used = false;
};

using NamedSteps = std::map<std::string, Steps>;

// NAME of a directive "steps from NAME", else nothing.
std::string steps_from(const Directive &directive);

// Adds the steps among the directives to `known`.
bool learn_steps(const std::vector<Directive> &directives, NamedSteps &known, Refusal &refusal);

// Moves the `steps` among the directives into `known` and puts their lines in the place of each "@NAME WORDS"
// in a trace, an expected file or a change of one, with the words in the place of {1}, {2}... The lines count
// as written where they are used.
bool fill_steps(std::vector<Directive> &directives, NamedSteps &known, Refusal &refusal);

// Refuses steps of the file itself that no line uses.
bool check_steps_are_used(const NamedSteps &known, Refusal &refusal);
