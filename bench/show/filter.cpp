#include "bench/show/filter.h"

#include <algorithm>
#include <array>
#include <vector>

#include "bench/difference.h"
#include "bench/iptables_dialect.h"
#include "bench/show/changes.h"

namespace bench {

namespace {

// One kind of line and what causes it. "*" stands for any text; the first row that fits counts.
struct Cause {
    const char *pattern;
    const char *setting;
};

constexpr const char *kRemote = "fw_remote";
constexpr const char *kLocalWeb = "fw_acc_port";
constexpr const char *kInbound = "fw_in_rules";
constexpr const char *kOutbound = "fw_out_rules";

// Lines that have one cause wherever they stand.
// clang-format off
constexpr Cause kCauses[] = {
    {"-P INPUT *",                               "always"},
    {"-P FORWARD DROP",                          "always"},
    {"-P FORWARD ACCEPT",                        "fw_disable, fw_acc_lan"},
    {"-A PREROUTING *",                          "always"},
    {"-A POSTROUTING -j VPN",                    "always"},
    {"-A POSTROUTING -o * -j MASQUERADE",        "fw_nat"},
    {"-I INPUT *",                               "lan_if"},
    {"-A INPUT *",                               "always"},
    {"-A FORWARD *",                             "always"},
    {"-A FW_BASIC -i lo *",                      "always"},
    {"-A FW_BASIC -i ipsec0 *",                  "always"},
    {"-A FW_BASIC -i *",                         "lan_if"},
    {"-A FW_BASIC *",                            "always"},
    {"-A LOCAL_SERVICE -m mark --mark 0x2511 *", "always"},
    {"-A LOCAL_SERVICE -p icmp *",               "fw_response_ping"},
    {"-A DOS *",                                 "fw_spi"},
    {"-A SCAN *",                                "fw_spi"},
    {"-I MINIUPNPD *",                           "wan_ifname"},
    {"-I PRE_BASIC *",                           "fw_import"},
    {"-A PRE_BASIC * -j DROP",                   "fw_nat"},
    {"-A PT *",                                  "always"},
    {"-A IN_FILTER -i ! * -j RETURN",            "wan_ifname"},
    {"-A OUT_FILTER -i ! * -j RETURN",           "lan_if"},
    {"-A NAPT *",                                kInbound},
    {"-A OUT_FILTER *",                          kOutbound},
    {"-A VS *",                                  "fw_vs_enableA"},
    {"-I DMZ *",                                 "fw_dmz_enable"},
    {"-A CFILTER *",                             "always"},
    {"-A BLOCK *",                               "always"},
    {"-A HTTP -m condition *",                   "fw_block"},
    {"-A HTTP -s *",                             "fw_block_trust_enable"},
    {"-A HTTP -m string *",                      "fw_block_keyword"},
    {"-I HTTP *",                                "fw_import"},
};

// Redirects of remote management, by fw_remote_type.
constexpr Cause kRedirects[] = {
    {"-A PRE_BASIC * -m iprange *", "fw_remote (type 2)"},
    {"-A PRE_BASIC * -s */32 *",    "fw_remote (type 4)"},
    {"-A PRE_BASIC * -s *",         "fw_remote (type 1)"},
    {"-A PRE_BASIC *",              "fw_remote (type 3)"},
};
// clang-format on

bool matches(std::string_view pattern, std::string_view text)
{
    const size_t star = pattern.find('*');
    if (star == std::string_view::npos) {
        return pattern == text;
    }
    if (text.substr(0, star) != pattern.substr(0, star)) {
        return false;
    }
    for (size_t skipped = star; skipped <= text.size(); ++skipped) {
        if (matches(pattern.substr(star + 1), text.substr(skipped))) {
            return true;
        }
    }
    return false;
}

template <size_t N>
const char *find_cause(const Cause (&causes)[N], std::string_view text)
{
    for (const Cause &cause : causes) {
        if (matches(cause.pattern, text)) {
            return cause.setting;
        }
    }
    return "?";
}

std::string joined(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

// The word behind `option`, empty when there is none.
std::string value_of(const RuleCommand &rule, std::string_view option)
{
    for (size_t i = 0; i + 1 < rule.words.size(); ++i) {
        if (rule.words[i] == option) {
            return rule.words[i + 1];
        }
    }
    return "";
}

// Says what caused each line of a rules file that is read from top to bottom: lines that look alike are told
// apart by what stands before them.
class Causes {
  public:
    std::string of(const RuleCommand &rule)
    {
        const std::string text =
            std::string("-") + rule.command + " " + rule.chain + " " + joined(rule.words);
        if (rule.chain == "PRE_BASIC" && value_of(rule, "-j") == "DNAT") {
            web_ = redirect(rule, text);
            return web_;
        }
        if (rule.chain == "LOCAL_SERVICE" && value_of(rule, "--mark") == "0x2643") {
            return std::string_view(web_) == kLocalWeb ? kLocalWeb : kRemote;
        }
        if (rule.chain == "IN_FILTER" && value_of(rule, "-j") == "ACCEPT") {
            return let_in(rule);
        }
        const char *cause = find_cause(kCauses, text);
        if (rule.chain == "OUT_FILTER") {
            list_ = kOutbound;
        }
        after_dmz_ = after_dmz_ || rule.chain == "DMZ";
        return cause;
    }

  private:
    // Web access from the LAN redirects the router's own address to itself; remote management comes in at
    // the WAN address.
    static const char *redirect(const RuleCommand &rule, std::string_view text)
    {
        const std::string destination = value_of(rule, "-d");
        if (!destination.empty() && value_of(rule, "--to") == destination + ":80") {
            return kLocalWeb;
        }
        return find_cause(kRedirects, text);
    }

    const char *let_in(const RuleCommand &rule) const
    {
        if (after_dmz_) {
            return "fw_dmz_enable";
        }
        return rule.words[0] == "-p" ? list_ : kInbound;
    }

    const char *web_ = "";
    const char *list_ = kInbound;
    bool after_dmz_ = false;
};

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

void take(FilterChains &chains, Causes &causes, const RuleCommand &command)
{
    if (command.command == 'F' || command.command == 'X' || command.command == '\0') {
        return;
    }
    FilterChain &chain = chain_of(chains, command);
    if (command.command == 'P') {
        chain.policy = joined(command.words);
        chain.policy_cause = causes.of(command);
    } else if (command.command == 'A' || command.command == 'I') {
        const FilterRule rule = {causes.of(command), joined(command.words)};
        chain.rules.insert(command.command == 'I' ? chain.rules.begin() : chain.rules.end(), rule);
    }
}

void print_chain(FILE *out, const FilterChain &chain)
{
    fprintf(out, "%s %s", chain.table.c_str(), chain.name.c_str());
    if (!chain.policy.empty()) {
        fprintf(out, " (policy %s: %s)", chain.policy.c_str(), chain.policy_cause.c_str());
    }
    fputc('\n', out);
    for (const FilterRule &rule : chain.rules) {
        fprintf(out, "  %-22s %s\n", rule.cause.c_str(), rule.text.c_str());
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

std::vector<std::string> rule_lines(const FilterChain &chain)
{
    std::vector<std::string> lines;
    for (const FilterRule &rule : chain.rules) {
        lines.push_back(rule.cause + "  " + rule.text);
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
    return chain.policy.empty() ? "" : "policy " + chain.policy + ": " + chain.policy_cause;
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
    const std::string rules = unified_difference(rule_lines(before), rule_lines(after));
    return print_part(
        printer, after.table + " " + after.name,
        policy_difference(before, after) + (printer.style.quick ? changed_lines(rules) : rules));
}

}  // namespace

FilterChains filter_chains(std::string_view rules_file)
{
    FilterChains chains = {
        {"nat", "PREROUTING"}, {"nat", "POSTROUTING"}, {"filter", "INPUT"}, {"filter", "FORWARD"}};
    Causes causes;
    while (!rules_file.empty()) {
        const std::string_view line = rules_file.substr(0, rules_file.find('\n'));
        take(chains, causes, parse_rule(line));
        rules_file.remove_prefix(std::min(line.size() + 1, rules_file.size()));
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
