// Every connection mode, started, restarted and stopped, with and without relay, line change, wireless,
// distribution and fast bridge: what must hold in each of them. Whole traces are compared by the scenarios
// beside this file.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "bench/router.h"
#include "tests/programs.h"

namespace {

using Lines = std::vector<std::string>;

enum class Verb { kStart, kRestart, kStop };

struct Case {
    std::string mode;
    Verb verb;
    bool relay_wanted;
    bool relay_runs;
    bool line_changed;
    bool wireless;
    bool distribution;
    bool bridge_loaded;  // the fast bridge module, before
};

const char *verb_word(Verb verb)
{
    switch (verb) {
        case Verb::kStart:
            return "start";
        case Verb::kRestart:
            return "restart";
        default:
            return "stop";
    }
}

std::string name_of(const Case &c)
{
    std::string name = "rc wan ";
    name += verb_word(c.verb);
    name += ", mode \"" + c.mode + "\"";
    name += c.relay_wanted ? ", relay wanted" : "";
    name += c.relay_runs ? ", relay runs" : "";
    name += c.line_changed ? ", line changed" : "";
    name += c.wireless ? ", wireless" : "";
    name += c.distribution ? ", distribution" : "";
    name += c.bridge_loaded ? ", fast bridge loaded" : "";
    return name;
}

// ---- what holds ----------------------------------------------------------------------------------------

bool brings_up(const Case &c)
{
    return c.verb != Verb::kStop && c.mode.size() > 1;
}

bool takes_down(const Case &c)
{
    return c.verb != Verb::kStart;
}

// PPP over ATM and IP over ATM have a path of their own; any other mode goes over the bridged circuit.
bool is_bridged(const Case &c)
{
    return brings_up(c) && c.mode != "pppoa" && c.mode != "ipoa";
}

// The relay is looked at where PPPoE sessions of LAN hosts can pass.
bool serves_relay(const Case &c)
{
    return c.relay_wanted && is_bridged(c) && (c.mode == "pppoe" || c.mode == "dhcpc" || c.mode == "ip");
}

// The commands of a run, in order.
class Commands {
  public:
    explicit Commands(const bench::Trace &trace)
    {
        for (const std::string &line : bench::trace_lines(trace)) {
            if (line.starts_with("sh ")) {
                commands_.push_back(line.substr(3));
            }
        }
    }

    // How many begin so.
    size_t count(const std::string &start) const
    {
        return static_cast<size_t>(
            std::count_if(commands_.begin(), commands_.end(),
                          [&start](const std::string &command) { return command.starts_with(start); }));
    }
    // Where the first or last that begins so is; npos when none does.
    size_t first(const std::string &start) const
    {
        for (size_t i = 0; i < commands_.size(); ++i) {
            if (commands_[i].starts_with(start)) {
                return i;
            }
        }
        return std::string::npos;
    }
    size_t last(const std::string &start) const
    {
        for (size_t i = commands_.size(); i-- > 0;) {
            if (commands_[i].starts_with(start)) {
                return i;
            }
        }
        return std::string::npos;
    }
    bool in_order(const Lines &starts) const
    {
        size_t at = 0;
        for (const std::string &start : starts) {
            while (at < commands_.size() && !commands_[at].starts_with(start)) {
                ++at;
            }
            if (at++ >= commands_.size()) {
                return false;
            }
        }
        return true;
    }

  private:
    Lines commands_;
};

size_t times(bool yes)
{
    return yes ? 1 : 0;
}

// The relay is ended when it is not wanted or its circuit changed, and runs afterwards when it ran and was
// not ended, or was started again.
void check_relay(const Case &c, const bench::Root &root, const Commands &commands)
{
    const bool unwanted = takes_down(c) && !c.relay_wanted;
    const bool renewed = serves_relay(c) && c.line_changed;
    EXPECT_EQ(commands.count("/usr/bin/killall pppoe-relay"), times(unwanted) + times(renewed));
    EXPECT_EQ(commands.count("/usr/sbin/pppoe-relay -S nas0 -C br0"),
              times(serves_relay(c) && !c.relay_runs) + times(renewed));
    if (renewed) {
        EXPECT_LT(commands.last("/usr/bin/killall pppoe-relay"), commands.last("/usr/sbin/pppoe-relay"));
    }
    EXPECT_EQ(root.exists("/tmp/dsl_change"), c.line_changed && !serves_relay(c));
}

// The circuit interface outlives a teardown exactly when a relay works over it and the line is the same.
void check_circuit(const Case &c, const Commands &commands)
{
    const bool kept = c.relay_runs && !c.line_changed;
    for (const char *command :
         {"/sbin/ifconfig old0 down", "/usr/bin/killall br2684ctl", "/usr/sbin/br2684ctl -d nas0"}) {
        EXPECT_EQ(commands.count(command), times(takes_down(c) && !kept)) << command;
    }
    const std::string one = "/usr/sbin/atmctl operate vcc --";
    EXPECT_EQ(commands.count(one + "delete 0.1.32"), times(takes_down(c)) + times(brings_up(c)));
    EXPECT_EQ(commands.count(one + "add 0.8.35 "), times(brings_up(c)));
    if (brings_up(c)) {
        EXPECT_TRUE(
            commands.in_order({"/usr/sbin/adslctl info", one + "delete 0.1.32", one + "add 0.8.35 "}));
    }
}

// The fast bridge is loaded for wireless stations without distribution, and gone with distribution or on a
// bridged line.
void check_fast_bridge(const Case &c, const bench::Root &root, const Commands &commands)
{
    const bool loads = c.verb != Verb::kStop && c.wireless && !c.distribution && !c.bridge_loaded;
    const bool goes = is_bridged(c) && (c.mode == "bridge" || (c.wireless && c.distribution));
    const bool is_there = loads || c.bridge_loaded;
    EXPECT_EQ(commands.count("/sbin/insmod /lib/modules/fast_br.ko if1=eth0 if2=wl0"), times(loads));
    EXPECT_EQ(commands.count("/sbin/rmmod fast_br"), times(goes && is_there));
    EXPECT_EQ(root.read("/proc/modules"), is_there && !goes ? "fast_br 1 0\n" : "wl 1 0\n");
}

// Each mode has its one way to a connection, and takes no other's.
void check_connection(const Case &c, const Commands &commands)
{
    const std::vector<std::pair<std::string, std::string>> ways = {
        {"pppoe", "/usr/sbin/pppd plugin pppoe nas0  user \"ethernet\" password \"secret\" mru 1480 "},
        {"pppoa", "/usr/sbin/pppd plugin pppoa 8.35 user \"atm\" password \"secret\" mru 1480 "},
        {"ipoa", "/usr/sbin/rt2684d -i 0 -e -a 0.8.35 &"},
        {"dhcpc", "/usr/sbin/udhcpc -i nas0 -s /etc/udhcpc.script&"},
        {"ip", "/sbin/ifconfig nas0 203.0.113.7 netmask 255.255.255.128"},
        {"bridge", "/usr/sbin/brctl addif br0 nas0"},
    };
    for (const auto &[mode, command] : ways) {
        EXPECT_EQ(commands.count(command), times(brings_up(c) && c.mode == mode)) << command;
    }
    EXPECT_EQ(commands.count("/usr/sbin/rc service restart"),
              times(brings_up(c) && (c.mode == "ip" || c.mode == "ipoa")));
    EXPECT_EQ(commands.count("/usr/sbin/br2684ctl -c 0 -e 1 -a 0.8.35 -b"), times(is_bridged(c)));
    if (is_bridged(c)) {
        EXPECT_TRUE(commands.in_order({"/usr/sbin/br2684ctl -c 0", "/sbin/ifconfig nas0 down",
                                       "/sbin/ifconfig nas0 hw ether 02:00:5e:10:00:01",
                                       "/sbin/ifconfig nas0 up", "/sbin/ifconfig nas0 mtu 1480"}));
    }
}

// A teardown begins with the VPN and is over before the line is looked at; without it nothing is taken down.
void check_teardown(const Case &c, const Commands &commands)
{
    EXPECT_EQ(commands.first("/sbin/rc vpn stop"), takes_down(c) ? 0 : std::string::npos);
    for (const char *command :
         {"/bin/rm /tmp/wan_uptime", "/usr/sbin/brctl delif br0 nas0",
          "/bin/echo \"#!/bin/sh\" > /etc/ppp/ip-down", "/usr/bin/killall pppd", "/usr/bin/killall udhcpc"}) {
        EXPECT_EQ(commands.count(command), times(takes_down(c))) << command;
    }
    EXPECT_EQ(commands.count("/usr/sbin/adslctl info"), times(c.verb != Verb::kStop));
    if (c.verb == Verb::kRestart) {
        EXPECT_LT(commands.first("/usr/bin/killall atmarpd"), commands.first("/usr/sbin/adslctl info"));
    }
    for (const char *led : {"/bin/echo g3 off > /proc/led", "/bin/echo g7 off > /proc/led"}) {
        EXPECT_EQ(commands.count(led), times(takes_down(c)) + times(brings_up(c))) << led;
    }
}

// ---- the router -----------------------------------------------------------------------------------------

bench::Setup setup_of(const Case &c)
{
    bench::Setup setup;
    setup.settings = {
        {"wan_mode", c.mode},
        {"wan_ifname", "old0"},
        {"wan_vpi", "8"},
        {"wan_vci", "35"},
        {"wan_encap", "1"},
        {"wan_macaddr", "02:00:5e:10:00:01"},
        {"wan_mtu", "1480"},
        {"wan_pppoe_relay", c.relay_wanted ? "1" : "0"},
        {"wan_fix_dns", "0"},
        {"wifi_if_on", c.wireless ? "1" : "0"},
        {"wifi_wds", c.distribution ? "1" : "0"},
        {"fix_ipaddr", "203.0.113.7"},
        {"fix_netmask", "255.255.255.128"},
        {"fix_gateway", "203.0.113.1"},
        {"ipoa_ipaddr", "10.1.2.3"},
        {"ipoa_netmask", "255.255.255.0"},
        {"ipoa_gateway", "10.1.2.254"},
        {"pppoe_username", "ethernet"},
        {"pppoe_password", "secret"},
        {"pppoa_username", "atm"},
        {"pppoa_password", "secret"},
    };
    setup.replies = {
        {"adslctl", "info", "adslctl: ADSL driver\nStatus: Showtime\n"},
        {"atmctl", "operate vcc --show", "circuit\n0.1.32 LLC\n"},
        {"ps", "", c.relay_runs ? "1 init\n77 /usr/sbin/pppoe-relay\n" : "1 init\n"},
    };
    // The module list is a file, and loading and removing act on it.
    setup.files = {{"/proc/modules", c.bridge_loaded ? "fast_br 1 0\n" : "wl 1 0\n"}};
    setup.effects = {
        {"lsmod", "", "/bin/cat /proc/modules"},
        {"insmod", "", "/bin/echo fast_br 1 0 >/proc/modules"},
        {"rmmod", "fast_br", "/bin/echo wl 1 0 >/proc/modules"},
    };
    if (c.line_changed) {
        setup.files.push_back({"/tmp/dsl_change", ""});
    }
    return setup;
}

void check(const bench::Target &target, const Case &c)
{
    SCOPED_TRACE(name_of(c));
    bench::Root root(target, setup_of(c));
    bench::Run run;
    run.words = {"rc", "wan", verb_word(c.verb)};
    // The PPP session comes up before the minute is over.
    run.pauses = {{2, "/bin/touch /tmp/wan_uptime"}, {3, "/bin/touch /tmp/wan_uptime"}};
    const bench::Trace trace = root.run(run);
    const Commands commands(trace);
    EXPECT_EQ(trace.status, 0);
    EXPECT_FALSE(root.exists("/var/run/my_pid"));
    EXPECT_EQ(root.setting("wan_ifname"), !brings_up(c) ? "old0" : c.mode[0] == 'p' ? "ppp0" : "nas0");
    check_teardown(c, commands);
    check_circuit(c, commands);
    check_relay(c, root, commands);
    check_fast_bridge(c, root, commands);
    check_connection(c, commands);
}

// Every combination of relay, line change and wireless for a verb. The fast bridge is there before in half
// of those of each.
void add_cases(std::vector<Case> &cases, const std::string &mode, Verb verb)
{
    for (unsigned bits = 0; bits < 32; ++bits) {
        const auto bit = [bits](unsigned number) { return (bits >> number & 1U) != 0; };
        const bool distribution = bit(4);
        const bool wireless = bit(3);
        if (!wireless && distribution && mode != "bridge") {
            continue;  // Looked at only in the bridge's cases.
        }
        cases.push_back({mode, verb, bit(0), bit(1), bit(2), wireless, distribution, bit(0) != bit(2)});
    }
}

std::vector<Case> cases_of(const std::string &mode)
{
    std::vector<Case> cases;
    add_cases(cases, mode, Verb::kStart);
    add_cases(cases, mode, Verb::kRestart);
    // A teardown is the same in every mode.
    if (mode == "ip") {
        add_cases(cases, mode, Verb::kStop);
    }
    return cases;
}

class WanModes : public testing::TestWithParam<const char *> {};

TEST_P(WanModes, EveryCombination)
{
    const bench::Target target = built_rc();
    for (const Case &c : cases_of(GetParam())) {
        check(target, c);
        if (HasFailure()) {
            break;
        }
    }
}

// The target's program, where it is built beside this one: a share of the combinations.
TEST_P(WanModes, OnTheTarget)
{
    const auto target = built_rc_of_target();
    if (!target) {
        GTEST_SKIP() << kNeedsTarget;
    }
    const std::vector<Case> cases = cases_of(GetParam());
    constexpr size_t kShare = 7;
    for (size_t i = 0; i < cases.size() && !HasFailure(); i += kShare) {
        check(*target, cases[i]);
    }
}

INSTANTIATE_TEST_SUITE_P(Wan, WanModes,
                         testing::Values("pppoe", "pppoa", "ipoa", "dhcpc", "ip", "bridge", "px", "none", "p",
                                         ""));

}  // namespace
