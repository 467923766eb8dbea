// The difference of two lists of lines in the unified form.
#pragma once

#include <string>
#include <vector>

namespace bench {

// Lines only expected begin with "-", lines only there with "+", common ones around them with a space.
// Empty when both lists are the same.
std::string unified_difference(const std::vector<std::string> &expected,
                               const std::vector<std::string> &actual);

// The same, where each line is shown as another text than that which is compared.
std::string unified_difference(const std::vector<std::string> &expected,
                               const std::vector<std::string> &actual,
                               const std::vector<std::string> &expected_shown,
                               const std::vector<std::string> &actual_shown);

}  // namespace bench
