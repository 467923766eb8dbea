// "Did you mean": the name that was most likely meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace forms {

// The name that differs from `word` by the fewest letters (missing, too many, wrong, two swapped), when that
// is at most one in three of its letters; empty when there is none.
std::string nearest(std::string_view word, const std::vector<std::string> &names);

// " (did you mean NAME?)", or nothing.
std::string did_you_mean(std::string_view word, const std::vector<std::string> &names);

}  // namespace forms
