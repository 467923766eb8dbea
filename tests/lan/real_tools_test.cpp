// What rc writes and runs, given to real tools: busybox's DHCP server and client, its route and its ip.
//
// busybox's own syslogd is not among them: it reads lines "selector file", nothing of what our log daemon
// reads. Its DHCP server passes over the line "server" and keeps a lease file of another format elsewhere.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "bench/router.h"
#include "tests/programs.h"

namespace {

bench::Setup lan_setup()
{
    bench::Setup setup;
    setup.settings = {{"lan_if", "br0"}, {"lan_ipaddr", "192.168.0.1"}, {"lan_netmask", "255.255.255.0"}};
    setup.interfaces = {{"br0", "192.168.0.1", 24, ""}};
    return setup;
}

// What a shell script prints that runs in a network of its own, with a directory to work in as $1. It has
// process numbers of its own too: whatever it starts or ends, nothing outside is reached.
std::string in_own_network(const std::filesystem::path &directory, const char *script)
{
    const std::filesystem::path file = directory / "script";
    FILE *out = fopen(file.c_str(), "w");
    (void)fputs(script, out);
    (void)fclose(out);
    const std::string command = "timeout -k 1 20 unshare -rn --pid --fork --kill-child sh '" + file.string() +
                                "' '" + directory.string() + "'";
    FILE *pipe = popen(command.c_str(), "r");
    std::string said;
    char piece[4096];
    for (size_t got = 0; (got = fread(piece, 1, sizeof piece, pipe)) > 0;) {
        said.append(piece, got);
    }
    (void)pclose(pipe);
    return said;
}

bool networks_can_be_made()
{
    return system("unshare -rn --pid --fork busybox ip link add br0 type veth 2>/dev/null") == 0;
}

// A directory that goes away.
struct Directory {
    std::filesystem::path path;
    Directory()
    {
        std::string name = (std::filesystem::temp_directory_path() / "lan.XXXXXX").string();
        path = mkdtemp(name.data());
    }
    ~Directory() { std::filesystem::remove_all(path); }
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    void write(const char *name, const std::string &text) const
    {
        FILE *file = fopen((path / name).c_str(), "w");
        (void)fputs(text.c_str(), file);
        (void)fclose(file);
    }
};

// A DHCP client on the other end of br0 takes its address from a real server with rc's configuration.
TEST(RealTools, DhcpClientGetsWhatTheConfigurationSays)
{
    if (!networks_can_be_made()) {
        GTEST_SKIP() << "needs network namespaces: root, or user namespaces switched on";
    }
    bench::Setup setup = lan_setup();
    setup.settings->push_back({"dhcp_start_ip", "192.168.0.33"});
    setup.settings->push_back({"dhcp_end_ip", "192.168.0.33"});
    setup.settings->push_back({"wan_fix_dns", "1"});
    setup.settings->push_back({"wan_dns1", "10.0.0.53"});
    setup.settings->push_back({"wan_dns2", "10.0.1.53"});
    bench::Root root(built_rc(), setup);
    ASSERT_EQ(root.rc("dhcpd create").status, 0);
    const Directory directory;
    // The lines behind keep the real server's own files in the directory, and tell it of a client of its own:
    // to any other it would offer an address only after asking the network for two seconds.
    directory.write("udhcpd.conf", root.read("/etc/udhcpd.conf").value_or("") +
                                       "lease_file leases\npidfile pid\n"
                                       "static_lease 02:00:00:00:00:02 192.168.0.33\n");
    directory.write("leases", "");
    EXPECT_EQ(in_own_network(directory.path, R"(
cd "$1"
printf '#!/bin/sh\n[ "$1" = bound ] && echo "$ip $subnet $router $dns $lease $serverid"\n' >bound
chmod 755 bound
busybox ip link add br0 type veth
busybox ip addr add 192.168.0.1/24 dev br0
busybox ip link set br0 up
busybox ip link set veth0 address 02:00:00:00:00:02
busybox ip link set veth0 up
busybox udhcpd -f udhcpd.conf >server 2>&1 &
server=$!
busybox udhcpc -i veth0 -n -q -f -t 5 -T 1 -s ./bound 2>/dev/null
kill "$server"
grep "can't parse" server
)"),
              "192.168.0.33 255.255.255.0 192.168.0.1 10.0.0.53 10.0.1.53 259200 192.168.0.1\n");
}

// Every command that installs a route is taken by a real route tool; the kernel then has the routes that
// rc lists, and after the removing commands none of them.
TEST(RealTools, RoutesReachTheKernelAndLeaveIt)
{
    if (!networks_can_be_made()) {
        GTEST_SKIP() << "needs network namespaces: root, or user namespaces switched on";
    }
    bench::Setup setup = lan_setup();
    setup.settings->push_back({"rt_static_route",
                               "a:10.1.2.3:255.255.255.0:192.168.0.2:1:1:1\x01"
                               "b:172.16.5.7:255.255.0.0:192.168.0.3:2:1:1\x01"
                               "c:11.22.33.44:255.0.0.0:192.168.0.4:3:1:1\x01"});
    bench::Root root(built_rc(), setup);
    const Directory directory;
    std::string script;
    for (const char *action : {"start", "stop"}) {
        for (const std::string &command : root.rc(std::string("route ") + action).commands()) {
            if (command.starts_with("/sbin/route ")) {
                script += "busybox " + command.substr(strlen("/sbin/")) + "\n";
            }
        }
        script += "busybox ip route | grep via | tr -s ' ' | sort\n";
    }
    directory.write("routes", script);
    EXPECT_EQ(root.read("/tmp/sroute").value_or(""),
              "10.1.2.0 24 192.168.0.2\n172.16.0.0 16 192.168.0.3\n11.0.0.0 8 192.168.0.4\n");
    EXPECT_EQ(in_own_network(directory.path, R"(
busybox ip link add br0 type veth
busybox ip addr add 192.168.0.1/24 dev br0
busybox ip link set br0 up
busybox ip link set veth0 address 02:00:00:00:00:02
busybox ip link set veth0 up
. "$1/routes" 2>&1
)"),
              "10.1.2.0/24 via 192.168.0.2 dev br0 metric 1 \n"
              "11.0.0.0/8 via 192.168.0.4 dev br0 metric 3 \n"
              "172.16.0.0/16 via 192.168.0.3 dev br0 metric 2 \n");
}

}  // namespace
