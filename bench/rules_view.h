// A rule set for people: by chain, in the order in which packets meet the rules, each with what caused it.
#pragma once

#include <string>
#include <string_view>

namespace bench {

// `rules` is the text of /tmp/rules. Result: for each table and chain a heading and one line a rule: the
// setting that caused it ("always" when none did), then the rule's words. Chains without rules are named
// after their table's others.
std::string rules_by_chain(std::string_view rules);

}  // namespace bench
