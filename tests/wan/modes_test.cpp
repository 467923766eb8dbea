// Every connection mode, started, restarted and stopped, with and without relay, line change, wireless,
// distribution and fast bridge: whole traces against rules stated here once more, step by step.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bench/difference.h"
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

// ---- the rules -----------------------------------------------------------------------------------------

const std::string kRelay = "/usr/sbin/pppoe-relay -S nas0 -C br0";

// The trace that a case should leave, and what it should leave behind.
struct Story {
    const Case &c;
    Lines lines;
    std::string interface = "old0";
    bool bridge_loaded;
    bool change_flag;

    explicit Story(const Case &of) : c(of), bridge_loaded(of.bridge_loaded), change_flag(of.line_changed) {}

    void plain(const std::string &command) { lines.push_back("sh " + command); }
    void yielding(const std::string &command)
    {
        plain(command);
        lines.push_back("usleep 1");
    }
    void pause() { lines.push_back("usleep 10"); }

    void leds_off()
    {
        plain("/bin/echo g3 off > /proc/led");
        plain("/bin/echo g7 off > /proc/led");
    }

    void remove_bridge_module()
    {
        plain("/sbin/lsmod");
        if (bridge_loaded) {
            plain("/sbin/lsmod");
            plain("/sbin/rmmod fast_br");
            bridge_loaded = false;
        }
    }

    void stop()
    {
        plain("/sbin/rc vpn stop");
        leds_off();
        for (const char *command : {"/bin/rm /tmp/wan_uptime", "/usr/sbin/brctl delif br0 nas0",
                                    "/bin/echo \"#!/bin/sh\" > /etc/ppp/ip-down", "/usr/bin/killall pppd",
                                    "/usr/bin/killall udhcpc", "ps"}) {
            plain(command);
        }
        const bool keep = c.relay_runs && !change_flag;
        if (!keep) {
            yielding("/sbin/ifconfig " + interface + " down");
            plain("/sbin/ifconfig nas0 down");
            plain("/usr/bin/killall br2684ctl");
            plain("/usr/sbin/br2684ctl -d nas0");
        }
        if (!c.relay_wanted) {
            plain("/usr/bin/killall pppoe-relay");
        }
        plain("/usr/bin/killall atmarpd");
        clean_circuits();
    }

    void clean_circuits()
    {
        plain("/usr/sbin/atmctl operate vcc --show > /tmp/vcc");
        yielding("/usr/sbin/atmctl operate vcc --delete 0.1.32");
    }

    void ppp(const std::string &daemon)
    {
        plain("/bin/cp /usr/etc/ppp/ip-up-demand /etc/ppp/ip-up");
        plain(daemon);
        lines.push_back("sleep 60");
    }

    void over_atm_probe()
    {
        plain("/usr/sbin/atmarpd -b");
        pause();
        plain("/usr/sbin/atmarp -c 1");
        pause();
        plain("/sbin/ifconfig atm0 up");
        yielding("/sbin/ifconfig atm1 10.1.2.3 up");
        pause();
        yielding("/sbin/ifconfig atm1 mtu 1480");
        pause();
        for (const char *candidate : {"10.1.2.2", "10.1.2.1", "10.1.2.0"}) {
            const std::string command = std::string("/usr/sbin/atmarp -s ") + candidate + " 0.8.35";
            lines.push_back("out --->" + command);
            yielding(command);
            lines.push_back("sleep 1");
        }
        plain("/sbin/ifconfig atm1 0.0.0.0 down");
        plain("/usr/bin/killall atmarpd");
    }

    void over_atm()
    {
        over_atm_probe();
        yielding("/usr/sbin/rt2684d -i 0 -e -a 0.8.35 &");
        plain("/bin/cp /proc/uptime /tmp/wan_uptime");
        yielding("/sbin/ifconfig nas0 10.1.2.3 netmask 255.255.255.0");
        plain("/sbin/route del default");
        plain("/usr/sbin/rc service restart&");
        yielding("/sbin/route add default gw 10.1.2.254");
    }

    void relay()
    {
        plain("ps");
        if (!c.relay_runs) {
            plain(kRelay);
        }
        if (change_flag) {
            plain("/usr/bin/killall pppoe-relay");
            plain(kRelay);
        }
        change_flag = false;
    }

    void mode_step()
    {
        if (c.mode == "dhcpc") {
            lines.push_back("sleep 1");
            yielding("/usr/sbin/udhcpc -i nas0 -s /etc/udhcpc.script&");
        }
        if (c.mode == "ip") {
            yielding("/sbin/ifconfig nas0 203.0.113.7 netmask 255.255.255.128");
            plain("/sbin/route del default");
            yielding("/sbin/route add default gw 203.0.113.1");
            plain("/usr/sbin/rc service restart");
            plain("/bin/cp /proc/uptime /tmp/wan_uptime");
        }
        if (c.mode == "pppoe") {
            plain("/sbin/ifconfig nas0 mtu 1500");
            ppp("/usr/sbin/pppd plugin pppoe nas0  user \"ethernet\" password \"secret\" mru 1480   nodetach "
                "defaultroute usepeerdns  maxfail 0  lcp-echo-failure 6 lcp-echo-interval 10 &");
        }
        if (c.mode == "bridge") {
            plain("/usr/sbin/brctl addif br0 nas0");
            remove_bridge_module();
        }
    }

    void bridged()
    {
        yielding("/usr/sbin/br2684ctl -c 0 -e 1 -a 0.8.35 -b");
        pause();
        plain("/sbin/ifconfig nas0 up");
        plain("/sbin/ifconfig nas0 down");
        yielding("/sbin/ifconfig nas0 hw ether 02:00:5e:10:00:01 ");
        plain("/sbin/ifconfig nas0 up");
        yielding("/sbin/ifconfig nas0 mtu 1480");
        if (c.relay_wanted && (c.mode == "pppoe" || c.mode == "dhcpc" || c.mode == "ip")) {
            relay();
        }
        mode_step();
        if (c.wireless && c.distribution) {
            remove_bridge_module();
        }
    }

    void start()
    {
        plain("/sbin/lsmod");
        if (!bridge_loaded && c.wireless && !c.distribution) {
            plain("/sbin/insmod /lib/modules/fast_br.ko if1=eth0 if2=wl0");
            bridge_loaded = true;
        }
        plain("/usr/sbin/adslctl info");
        plain("ps");
        if (c.mode.size() < 2) {
            return;
        }
        leds_off();
        interface = c.mode[0] == 'p' ? "ppp0" : "nas0";
        clean_circuits();
        yielding("/usr/sbin/atmctl operate vcc --add 0.8.35 aal5 1 unknown --addq 0.8.35 64 0");
        pause();
        if (c.mode == "pppoa") {
            ppp("/usr/sbin/pppd plugin pppoa 8.35 user \"atm\" password \"secret\" mru 1480   nodetach "
                "defaultroute vc-encaps usepeerdns maxfail 0  qos UBR  lcp-echo-failure 6 "
                "lcp-echo-interval 10 & ");
        } else if (c.mode == "ipoa") {
            over_atm();
        } else {
            bridged();
        }
    }
};

Story expected(const Case &c)
{
    Story story(c);
    if (c.verb != Verb::kStart) {
        story.stop();
    }
    if (c.verb != Verb::kStop) {
        story.start();
    }
    // As the bench writes a blank at the end of a line.
    for (std::string &line : story.lines) {
        if (line.ends_with(' ')) {
            line.replace(line.size() - 1, 1, "\\x20");
        }
    }
    return story;
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
    const Story story = expected(c);
    EXPECT_EQ(bench::unified_difference(story.lines, bench::trace_lines(trace)), "");
    EXPECT_EQ(trace.status, 0);
    EXPECT_EQ(root.setting("wan_ifname"), story.interface);
    EXPECT_EQ(root.exists("/tmp/dsl_change"), story.change_flag);
    EXPECT_EQ(root.read("/proc/modules"), story.bridge_loaded ? "fast_br 1 0\n" : "wl 1 0\n");
    EXPECT_FALSE(root.exists("/var/run/my_pid"));
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
        GTEST_SKIP() << "rc is not built for the target";
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
