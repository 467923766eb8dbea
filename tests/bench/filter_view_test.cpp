// The readable form of a rule set: chains in order, and the setting behind every rule.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

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

std::string view_of(const std::string &rules)
{
    return printed([&](FILE *out) { bench::print_filter(out, bench::filter_chains(rules)); });
}

std::string difference_of(const std::string &before, const std::string &after, const bench::Style &style)
{
    return printed([&](FILE *out) {
        bench::print_filter_difference(out, bench::filter_chains(before), bench::filter_chains(after), style);
    });
}

// The cause shown for the one rule of the view that holds `text`.
std::string cause_of(const std::string &view, const std::string &text)
{
    const size_t at = view.find(text);
    if (at == std::string::npos || view.find(text, at + 1) != std::string::npos) {
        return "not there, or more than once";
    }
    const size_t start = view.rfind('\n', at) + 3;
    return view.substr(start, view.find("  ", start) - start);
}

TEST(FilterView, GroupsByChainInTheOrderOfPackets)
{
    EXPECT_EQ(view_of("iptables -t filter -F\n"
                      "iptables -t nat -X DMZ\n"
                      "iptables -t nat -N DMZ\n"
                      "iptables -t filter -N DOS\n"
                      "iptables -t nat -A PREROUTING -j DMZ\n"
                      "iptables -P INPUT DROP\n"
                      "iptables -A INPUT -i lo -j ACCEPT\n"
                      "iptables -I INPUT -i br0 -j ACCEPT\n"
                      "iptables -P FORWARD DROP\n"
                      "iptables -A DOS -m limit --limit 10/s -j LOG --log-level 4 --log-prefix \"[DOS] \"\n"
                      "iptables -P FORWARD ACCEPT\n"),
              "nat PREROUTING\n"
              "  always                 -j DMZ\n"
              "\n"
              "nat, chains without rules: POSTROUTING DMZ\n"
              "\n"
              "filter INPUT (policy DROP: always)\n"
              "  lan_if                 -i br0 -j ACCEPT\n"
              "  always                 -i lo -j ACCEPT\n"
              "\n"
              "filter FORWARD (policy ACCEPT: fw_disable, fw_acc_lan)\n"
              "\n"
              "filter DOS\n"
              "  fw_spi                 -m limit --limit 10/s -j LOG --log-level 4 --log-prefix \"[DOS] \"\n"
              "\n");
}

TEST(FilterView, TellsTheRedirectsOfTheWebPagesApart)
{
    const std::string marked =
        "iptables -A LOCAL_SERVICE -m mark --mark 0x2643 -d 192.168.0.1 -p tcp --dport 80 -j ACCEPT\n";
    const std::string redirect = "iptables -t nat -A PRE_BASIC -i ppp0 -p tcp --dport 8443 ";
    const std::string to = "-d 203.0.113.9 -j DNAT --to 192.168.0.1:80\n";
    const std::string view = view_of(
        redirect + "-s 198.51.100.1 " + to + redirect + "-s 198.51.100.2/32 " + to + redirect +
        "-m iprange --src-range 198.51.100.3-198.51.100.4 " + to + redirect + to + marked +
        "iptables -t nat -A PRE_BASIC -i br0 -p tcp --dport 80 -d 192.168.0.1 -j DNAT --to 192.168.0.1:80\n" +
        marked);
    EXPECT_EQ(cause_of(view, "-s 198.51.100.1 "), "fw_remote (type 1)");
    EXPECT_EQ(cause_of(view, "-s 198.51.100.2/32"), "fw_remote (type 4)");
    EXPECT_EQ(cause_of(view, "--src-range"), "fw_remote (type 2)");
    EXPECT_EQ(cause_of(view, "8443 -d"), "fw_remote (type 3)");
    EXPECT_EQ(cause_of(view, "-i br0"), "fw_acc_port");
    const size_t first = view.find("filter LOCAL_SERVICE\n  fw_remote ");
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(view.find("\n  fw_acc_port ", first), std::string::npos);
}

TEST(FilterView, TellsTheRulesOfBothListsAndTheDmzApart)
{
    const std::string view = view_of(
        "iptables -A IN_FILTER  -i ! ppp0 -j RETURN\n"
        "iptables -t nat -A NAPT   -s   0.0.0.0/0 -d 203.0.113.9 -p tcp --dport 1723:1723  -j DNAT --to "
        "192.168.0.2:1723-1723\n"
        "iptables -A IN_FILTER  -d 192.168.0.2 -p tcp --dport 1723:1723  -j ACCEPT\n"
        "iptables -A IN_FILTER  -p 47 -d 192.168.0.2 -j ACCEPT\n"
        "iptables -A OUT_FILTER  -i ! br0 -j RETURN\n"
        "iptables -A OUT_FILTER   -s   192.168.0.3  -p 47 -j ACCEPT \n"
        "iptables -A IN_FILTER  -p 47 -d 192.168.0.3 -j ACCEPT\n"
        "iptables -t nat -I DMZ -d 203.0.113.9 -p ! icmp -j DNAT --to 192.168.0.40\n"
        "iptables -A IN_FILTER -d 192.168.0.40 -j ACCEPT\n");
    EXPECT_EQ(cause_of(view, "-i ! ppp0"), "wan_ifname");
    EXPECT_EQ(cause_of(view, "-i ! br0"), "lan_if");
    EXPECT_EQ(cause_of(view, "--to 192.168.0.2:"), "fw_in_rules");
    EXPECT_EQ(cause_of(view, "-d 192.168.0.2 -p tcp"), "fw_in_rules");
    EXPECT_EQ(cause_of(view, "-p 47 -d 192.168.0.2"), "fw_in_rules");
    EXPECT_EQ(cause_of(view, "-s 192.168.0.3"), "fw_out_rules");
    EXPECT_EQ(cause_of(view, "-p 47 -d 192.168.0.3"), "fw_out_rules");
    EXPECT_EQ(cause_of(view, "--to 192.168.0.40"), "fw_dmz_enable");
    EXPECT_EQ(cause_of(view, "-d 192.168.0.40 -j"), "fw_dmz_enable");
}

TEST(FilterView, SaysSoWhenItDoesNotKnowARule)
{
    const std::string view = view_of("iptables -A ELSEWHERE -j DROP\n");
    EXPECT_NE(view.find("filter ELSEWHERE\n  ?                      -j DROP\n"), std::string::npos);
}

TEST(FilterView, ShowsAChangedPolicyAsAChangedPolicy)
{
    const std::string rest =
        "iptables -A FORWARD -j SCAN\n"
        "iptables -A FORWARD -j DOS\n";
    EXPECT_EQ(difference_of("iptables -P FORWARD DROP\n" + rest, "iptables -P FORWARD ACCEPT\n" + rest, {}),
              "filter FORWARD\n"
              "  -policy DROP: always\n"
              "  +policy ACCEPT: fw_disable, fw_acc_lan\n");
    EXPECT_EQ(difference_of("iptables -P FORWARD DROP\n" + rest, "iptables -P FORWARD DROP\n" + rest, {}),
              "No difference.\n");
}

TEST(FilterView, ComparesChainsThatOneSideAloneHas)
{
    const std::string rule = "iptables -A ELSEWHERE -j DROP\n";
    EXPECT_EQ(difference_of("", rule, {.quick = true}), "filter ELSEWHERE\n  +?  -j DROP\n");
    EXPECT_EQ(difference_of(rule, "", {.quick = true}), "filter ELSEWHERE\n  -?  -j DROP\n");
}

TEST(FilterView, IsShortForNoRules)
{
    EXPECT_EQ(view_of(""),
              "nat, chains without rules: PREROUTING POSTROUTING\n\n"
              "filter, chains without rules: INPUT FORWARD\n\n");
}

}  // namespace
