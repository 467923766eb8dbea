// The readable form of a rule set: chains in order, what is behind every rule, and what differs.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/show/filter.h"

namespace {

// What `print` prints.
template <typename Print>
std::string printed(const Print &print)
{
    char *text = nullptr;
    size_t size = 0;
    FILE *out = open_memstream(&text, &size);
    print(out);
    fclose(out);
    std::string whole(text, size);
    free(text);
    return whole;
}

// A rules file of lines, each with the setting behind it.
struct Rule {
    std::string line;
    std::string setting = {};
    size_t record = 0;
};

bench::FilterChains chains_of(const std::vector<Rule> &rules)
{
    bench::RulesFile file;
    for (const Rule &rule : rules) {
        file.text += rule.line + "\n";
        file.origins.push_back({{}, rule.record});
        if (!rule.setting.empty()) {
            file.origins.back().settings = {rule.setting};
        }
    }
    return bench::filter_chains(file);
}

std::string view_of(const std::vector<Rule> &rules)
{
    return printed([&](FILE *out) { bench::print_filter(out, chains_of(rules)); });
}

std::string difference_of(const std::vector<Rule> &before, const std::vector<Rule> &after, bool quick = false)
{
    return printed([&](FILE *out) {
        bench::print_filter_difference(out, chains_of(before), chains_of(after), {.quick = quick});
    });
}

TEST(FilterView, GroupsByChainInTheOrderOfPackets)
{
    EXPECT_EQ(view_of({
                  {"iptables -t filter -F"},
                  {"iptables -t nat -X DMZ"},
                  {"iptables -t nat -N DMZ"},
                  {"iptables -t filter -N DOS"},
                  {"iptables -t nat -A PREROUTING -j DMZ"},
                  {"iptables -P INPUT DROP"},
                  {"iptables -A INPUT -i lo -j ACCEPT"},
                  {"iptables -I INPUT -i br0 -j ACCEPT", "lan_if"},
                  {"iptables -P FORWARD DROP"},
                  {"iptables -A DOS -j LOG --log-prefix \"[DOS] \"", "fw_spi"},
                  {"iptables -A DOS -s 192.0.2.1 -j DROP", "fw_in_rules", 12},
                  {"iptables -P FORWARD ACCEPT", "fw_disable"},
              }),
              "nat PREROUTING\n"
              "  always                 -j DMZ\n"
              "\n"
              "nat, chains without rules: POSTROUTING DMZ\n"
              "\n"
              "filter INPUT (policy DROP: always)\n"
              "  lan_if                 -i br0 -j ACCEPT\n"
              "  always                 -i lo -j ACCEPT\n"
              "\n"
              "filter FORWARD (policy ACCEPT: fw_disable)\n"
              "\n"
              "filter DOS\n"
              "  fw_spi                 -j LOG --log-prefix \"[DOS] \"\n"
              "  fw_in_rules 12         -s 192.0.2.1 -j DROP\n"
              "\n");
}

TEST(FilterView, ShowsAChangedPolicyAsAChangedPolicy)
{
    const Rule scan = {"iptables -A FORWARD -j SCAN"};
    const Rule drop = {"iptables -P FORWARD DROP"};
    EXPECT_EQ(difference_of({drop, scan}, {{"iptables -P FORWARD ACCEPT", "fw_disable"}, scan}),
              "filter FORWARD\n"
              "  -policy DROP: always\n"
              "  +policy ACCEPT: fw_disable\n");
    EXPECT_EQ(difference_of({drop, scan}, {drop, scan}), "No difference.\n");
}

TEST(FilterView, ARuleStaysTheSameWhenARecordBeforeItMovesItsNumber)
{
    const std::string old_rule = "iptables -A IN_FILTER -d 192.168.0.2 -j ACCEPT";
    const std::string new_rule = "iptables -A IN_FILTER -d 192.168.0.9 -j ACCEPT";
    EXPECT_EQ(difference_of({{old_rule, "fw_in_rules", 1}},
                            {{new_rule, "fw_in_rules", 1}, {old_rule, "fw_in_rules", 2}}),
              "filter IN_FILTER\n"
              "  @@ -1,1 +1,2 @@\n"
              "  +fw_in_rules 1  -d 192.168.0.9 -j ACCEPT\n"
              "   fw_in_rules 1  -d 192.168.0.2 -j ACCEPT\n");
}

TEST(FilterView, ComparesChainsThatOneSideAloneHas)
{
    const Rule rule = {"iptables -A ELSEWHERE -j DROP", "fw_nat"};
    EXPECT_EQ(difference_of({}, {rule}, true), "filter ELSEWHERE\n  +fw_nat  -j DROP\n");
    EXPECT_EQ(difference_of({rule}, {}, true), "filter ELSEWHERE\n  -fw_nat  -j DROP\n");
}

TEST(FilterView, IsShortForNoRules)
{
    EXPECT_EQ(view_of({}),
              "nat, chains without rules: PREROUTING POSTROUTING\n\n"
              "filter, chains without rules: INPUT FORWARD\n\n");
}

}  // namespace
