// The whole way up with the image's connection scripts: rc starts the client, the client's script sets the
// address, marks the WAN as up and runs the services that follow, and the bring-up ends.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bench/router.h"
#include "tests/programs.h"

namespace {

const std::string kProviderServers = "nameserver 198.51.100.53\nnameserver 198.51.100.54\n";

bench::Setup setup_of(const char *mode, const char *fixed_dns)
{
    bench::Setup setup;
    setup.image_defaults = true;
    setup.settings = {
        {"wan_mode", mode}, {"wan_fix_dns", fixed_dns}, {"wan_dns1", "203.0.113.53"}, {"wan_dns2", ""}};
    setup.replies = {{"adslctl", "info", "Status: Showtime\n"}};
    setup.effects = {
        {"pppd", "",
         "DNS1=198.51.100.53 DNS2=198.51.100.54 /etc/ppp/ip-up ppp0 nas0 0 203.0.113.7 203.0.113.1"},
        {"udhcpc", "",

         "interface=nas0 ip=203.0.113.7 subnet=255.255.255.128 router=203.0.113.1 "
         "dns='198.51.100.53 198.51.100.54' /etc/udhcpc.script bound"},
        {"udhcpc", "-i nas0 -s /etc/udhcpc.fix.script",
         "interface=nas0 ip=203.0.113.7 subnet=255.255.255.128 router=203.0.113.1 "
         "dns='198.51.100.53 198.51.100.54' /etc/udhcpc.fix.script bound"},
    };
    setup.files = {{"/etc/resolv.conf", "nameserver 192.0.2.1\n"}};
    return setup;
}

bench::Run start_wan_nested()
{
    bench::Run run;
    run.words = {"rc", "wan", "start"};
    run.nested = true;
    return run;
}

// The minute that rc gives a PPP session lasts until the session's script has marked the WAN as up.
bench::Run start_ppp_nested()
{
    bench::Run run = start_wan_nested();
    run.pauses = {{3, "while [ ! -e /tmp/wan_uptime ]; do :; done"}};
    return run;
}

bool has_event(const bench::Trace &trace, bench::Kind kind, const std::string &text)
{
    return std::any_of(trace.events.begin(), trace.events.end(), [&](const bench::Event &event) {
        return event.kind == kind && event.depth > 0 && event.text == text;
    });
}

bool called(const bench::Trace &trace, const std::vector<std::string> &words)
{
    return std::any_of(trace.events.begin(), trace.events.end(), [&](const bench::Event &event) {
        return event.kind == bench::Kind::kTool && event.words == words;
    });
}

void expect_up(const bench::Root &root, const bench::Trace &trace)
{
    EXPECT_FALSE(trace.timed_out);
    EXPECT_EQ(trace.status, 0);
    EXPECT_EQ(root.read("/tmp/wan_uptime"), root.read("/proc/uptime"));
    EXPECT_FALSE(root.exists("/var/run/my_pid"));
    EXPECT_EQ(root.read("/proc/led"), "g3 on\n");
    // The services that follow ran, each in a run of rc inside this one.
    EXPECT_TRUE(has_event(trace, bench::Kind::kOut, "ap_name=(null) action=restart"));
    EXPECT_TRUE(has_event(trace, bench::Kind::kShell, "/bin/echo > /tmp/ntp_start"));
    EXPECT_TRUE(root.exists("/tmp/ntp_start"));
    EXPECT_TRUE(root.exists("/tmp/rules"));
}

TEST(ConnectionScripts, PppoeComesUpAndServicesFollow)
{
    bench::Root root(built_rc(), setup_of("pppoe", "0"));
    const bench::Trace trace = root.run(start_ppp_nested());
    expect_up(root, trace);
    EXPECT_EQ(root.read("/etc/resolv.conf"), kProviderServers);
    EXPECT_EQ(root.read("/etc/ppp/ip-up"), root.read("/usr/etc/ppp/ip-up-demand"));
    EXPECT_FALSE(called(trace, {"/sbin/route", "del", "default"}));
}

TEST(ConnectionScripts, PppoeWithIdleTimeTakesThePlainScript)
{
    bench::Setup setup = setup_of("pppoe", "0");
    setup.settings->push_back({"pppoe_idle", "5"});
    bench::Root root(built_rc(), setup);
    const bench::Trace trace = root.run(start_ppp_nested());
    expect_up(root, trace);
    EXPECT_EQ(root.read("/etc/ppp/ip-up"), root.read("/usr/etc/ppp/ip-up"));
    EXPECT_TRUE(called(trace, {"/sbin/route", "add", "default", "dev", "ppp0"}));
}

TEST(ConnectionScripts, PppoeWithFixedServersKeepsThem)
{
    bench::Setup setup = setup_of("pppoe", "1");
    // The daemon was not told to ask for servers, so it tells none.
    setup.effects[0].command = "/etc/ppp/ip-up ppp0 nas0 0 203.0.113.7 203.0.113.1";
    bench::Root root(built_rc(), setup);
    const bench::Trace trace = root.run(start_ppp_nested());
    expect_up(root, trace);
    EXPECT_EQ(root.read("/etc/resolv.conf"), "nameserver 203.0.113.53\n");
}

TEST(ConnectionScripts, DhcpComesUpAndServicesFollow)
{
    bench::Root root(built_rc(), setup_of("dhcpc", "0"));
    const bench::Trace trace = root.run(start_wan_nested());
    expect_up(root, trace);
    EXPECT_EQ(root.read("/etc/resolv.conf"), kProviderServers);
    EXPECT_TRUE(called(trace, {"/sbin/ifconfig", "nas0", "203.0.113.7", "netmask", "255.255.255.128"}));
    EXPECT_TRUE(called(trace, {"/sbin/route", "add", "default", "gw", "203.0.113.1", "dev", "nas0"}));
}

TEST(ConnectionScripts, DhcpWithFixedServersKeepsThem)
{
    bench::Root root(built_rc(), setup_of("dhcpc", "1"));
    const bench::Trace trace = root.run(start_wan_nested());
    expect_up(root, trace);
    EXPECT_EQ(root.read("/etc/resolv.conf"), "nameserver 203.0.113.53\n");
}

TEST(ConnectionScripts, DhcpLeaseLostTakesTheMarkAway)
{
    bench::Root root(built_rc(), setup_of("dhcpc", "0"));
    root.write("/tmp/wan_uptime", "1.0 1.0\n");
    (void)root.shell("interface=nas0 /etc/udhcpc.script deconfig");
    EXPECT_FALSE(root.exists("/tmp/wan_uptime"));
    EXPECT_EQ(root.read("/etc/resolv.conf"), "nameserver 192.0.2.1\n");
}

}  // namespace
