// The packet filter's rules for people: chain by chain, with the settings behind each rule, and what
// differs between two sets of rules.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "bench/rule_origins.h"
#include "bench/show/printer.h"

namespace bench {

struct FilterRule {
    RuleOrigin origin;
    std::string text;  // its words, without the chain
};

struct FilterChain {
    std::string table;
    std::string name;
    std::string policy = {};  // empty: a chain of rc's own has none
    RuleOrigin policy_origin = {};
    std::vector<FilterRule> rules = {};
};

using FilterChains = std::vector<FilterChain>;

// What a rules file leaves in each chain, in the order in which packets meet it: the kernel's own chains of a
// table first, then those of rc as they are made.
FilterChains filter_chains(const RulesFile &file);

// Every chain as a paragraph, those without rules in one line.
void print_filter(FILE *out, const FilterChains &chains);

// The chains that differ, each as a difference of its own; with style.quick without what stays. False when
// there is none.
bool print_filter_difference(FILE *out, const FilterChains &before, const FilterChains &after,
                             const Style &style);

}  // namespace bench
