// A change of the lines that belong to a directive: which lines of a base go, and which come in their place.
#pragma once

#include <vector>

#include "tests/runner/directive.h"

// Applies the lines of `change` to the one of `targets` that has what they name. The lines of a change that
// go or stay are together in a target and nowhere else; a change begins at the first line, after "|...",
// and at a line that goes after one that comes. The changes follow each other as in the target.
bool apply_change(const Directive &change, const std::vector<Directive *> &targets, Refusal &refusal);
