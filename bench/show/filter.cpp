#include "bench/show/filter.h"

#include <algorithm>
#include <vector>

#include "bench/difference.h"
#include "bench/iptables_dialect.h"
#include "bench/show/changes.h"

namespace bench {

namespace {

std::string joined(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

FilterChain &chain_of(FilterChains &chains, const RuleCommand &command)
{
    for (FilterChain &chain : chains) {
        if (chain.table == command.table && chain.name == command.chain) {
            return chain;
        }
    }
    chains.push_back({command.table, command.chain});
    return chains.back();
}

void take(FilterChains &chains, const RuleOrigin &origin, const RuleCommand &command)
{
    if (command.command == 'F' || command.command == 'X' || command.command == '\0') {
        return;
    }
    FilterChain &chain = chain_of(chains, command);
    if (command.command == 'P') {
        chain.policy = joined(command.words);
        chain.policy_origin = origin;
    } else if (command.command == 'A' || command.command == 'I') {
        const FilterRule rule = {origin, joined(command.words)};
        chain.rules.insert(command.command == 'I' ? chain.rules.begin() : chain.rules.end(), rule);
    }
}

void print_chain(FILE *out, const FilterChain &chain)
{
    fprintf(out, "%s %s", chain.table.c_str(), chain.name.c_str());
    if (!chain.policy.empty()) {
        fprintf(out, " (policy %s: %s)", chain.policy.c_str(), origin_text(chain.policy_origin).c_str());
    }
    fputc('\n', out);
    for (const FilterRule &rule : chain.rules) {
        fprintf(out, "  %-22s %s\n", origin_text(rule.origin).c_str(), rule.text.c_str());
    }
    fputc('\n', out);
}

void print_table(FILE *out, const FilterChains &chains, const std::string &table)
{
    std::string empty;
    for (const FilterChain &chain : chains) {
        if (chain.table != table) {
            continue;
        }
        if (chain.rules.empty() && chain.policy.empty()) {
            empty += " " + chain.name;
        } else {
            print_chain(out, chain);
        }
    }
    if (!empty.empty()) {
        fprintf(out, "%s, chains without rules:%s\n\n", table.c_str(), empty.c_str());
    }
}

// The chain, or one of that name without rules.
FilterChain chain_like(const FilterChains &chains, const FilterChain &wanted)
{
    for (const FilterChain &chain : chains) {
        if (chain.table == wanted.table && chain.name == wanted.name) {
            return chain;
        }
    }
    return {wanted.table, wanted.name};
}

std::vector<std::string> rule_texts(const FilterChain &chain)
{
    std::vector<std::string> lines;
    for (const FilterRule &rule : chain.rules) {
        lines.push_back(rule.text);
    }
    return lines;
}

std::vector<std::string> rule_lines(const FilterChain &chain)
{
    std::vector<std::string> lines;
    for (const FilterRule &rule : chain.rules) {
        lines.push_back(origin_text(rule.origin) + "  " + rule.text);
    }
    return lines;
}

// Without what stays and where.
std::string changed_lines(const std::string &difference)
{
    std::string changed;
    for (const std::string &line : text_lines(difference)) {
        if (line.starts_with('+') || line.starts_with('-')) {
            changed += line + "\n";
        }
    }
    return changed;
}

std::string policy_text(const FilterChain &chain)
{
    return chain.policy.empty() ? "" : "policy " + chain.policy + ": " + origin_text(chain.policy_origin);
}

std::string policy_difference(const FilterChain &before, const FilterChain &after)
{
    if (before.policy == after.policy) {
        return "";
    }
    return (before.policy.empty() ? "" : "-" + policy_text(before) + "\n") +
           (after.policy.empty() ? "" : "+" + policy_text(after) + "\n");
}

bool print_chain_difference(const Printer &printer, const FilterChain &before, const FilterChain &after)
{
    // A rule is the same whatever is behind it now: a record before it moves its own number.
    const std::string rules =
        unified_difference(rule_texts(before), rule_texts(after), rule_lines(before), rule_lines(after));
    return print_part(
        printer, after.table + " " + after.name,
        policy_difference(before, after) + (printer.style.quick ? changed_lines(rules) : rules));
}

}  // namespace

FilterChains filter_chains(const RulesFile &file)
{
    FilterChains chains = {
        {"nat", "PREROUTING"}, {"nat", "POSTROUTING"}, {"filter", "INPUT"}, {"filter", "FORWARD"}};
    std::string_view rest = file.text;
    for (size_t number = 0; !rest.empty(); ++number) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        take(chains, number < file.origins.size() ? file.origins[number] : RuleOrigin(), parse_rule(line));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    }
    return chains;
}

void print_filter(FILE *out, const FilterChains &chains)
{
    print_table(out, chains, "nat");
    print_table(out, chains, "filter");
}

bool print_filter_difference(FILE *out, const FilterChains &before, const FilterChains &after,
                             const Style &style)
{
    const Printer printer = {out, style};
    bool any = false;
    for (const FilterChain &chain : after) {
        any |= print_chain_difference(printer, chain_like(before, chain), chain);
    }
    for (const FilterChain &chain : before) {
        const FilterChain now = chain_like(after, chain);
        const bool compared = std::any_of(after.begin(), after.end(), [&](const FilterChain &other) {
            return other.table == chain.table && other.name == chain.name;
        });
        any |= !compared && print_chain_difference(printer, chain, now);
    }
    return differs_or_says_so(out, any);
}

}  // namespace bench
