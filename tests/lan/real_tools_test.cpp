// What rc writes and runs, given to real tools: busybox's DHCP server and client, its route and its ip.
//
// busybox's own syslogd is not among them: it reads lines "selector file", nothing of what our log daemon
// reads. Its DHCP server passes over the line "server" and keeps a lease file of another format elsewhere.
#include <gtest/gtest.h>

#include <string>

#include "bench/router.h"

namespace {

bench::Target rc_beside_this_program()
{
    return bench::host_target(std::filesystem::read_symlink("/proc/self/exe").parent_path() / "rc");
}

bench::Trace run_rc(bench::Root &root, const char *service, const char *action)
{
    bench::Run run;
    run.words = {"rc", service, action};
    return root.run(run);
}

bench::Setup lan_setup()
{
    bench::Setup setup;
    setup.settings = {{"lan_if", "br0"}, {"lan_ipaddr", "192.168.0.1"}, {"lan_netmask", "255.255.255.0"}};
    setup.interfaces = {{"br0", "192.168.0.1", 24, ""}};
    return setup;
}

// A DHCP client on the other end of br0 takes its address from a real server with rc's configuration.
TEST(RealTools, DhcpClientGetsWhatTheConfigurationSays)
{
    bench::Setup setup = lan_setup();
    setup.settings->push_back({"dhcp_start_ip", "192.168.0.33"});
    setup.settings->push_back({"dhcp_end_ip", "192.168.0.33"});
    setup.settings->push_back({"wan_fix_dns", "1"});
    setup.settings->push_back({"wan_dns1", "10.0.0.53"});
    setup.settings->push_back({"wan_dns2", "10.0.1.53"});
    setup.files = {{"/var/lib/misc/udhcpd.leases", ""},
                   {"/tmp/bound", "[ \"$1\" = bound ] && echo \"$ip $subnet $router $dns $lease $serverid\"\n"}};
    bench::Root root(rc_beside_this_program(), setup);
    ASSERT_EQ(run_rc(root, "dhcpd", "create").status, 0);
    const std::string said = root.shell(
        "exec 2>&1; chmod 755 /tmp/bound; busybox ifconfig peer1 up;"
        "busybox udhcpd -f /etc/udhcpd.conf >/tmp/server 2>&1 & server=$!;"
        "busybox udhcpc -i peer1 -n -q -f -t 5 -T 1 -s /tmp/bound 2>/tmp/client;"
        "kill $server");
    EXPECT_EQ(said, "192.168.0.33 255.255.255.0 192.168.0.1 10.0.0.53 10.0.1.53 259200 192.168.0.1\n")
        << root.read("/tmp/server").value_or("") << root.read("/tmp/client").value_or("");
    EXPECT_EQ(root.read("/tmp/server").value_or("").find("can't parse"), std::string::npos);
}

}  // namespace
