#include "bench/live/network.h"

#include <filesystem>

#include "bench/live/process.h"
#include "bench/router.h"
#include "bench/run/files.h"

namespace live {

namespace {

// Between the places. Without checks of senders and without limits, which belong to the router alone.
constexpr const char *kLinks = R"(
set -e
quiet_kernel() {
    ip netns exec "$1" dash -c 'cd /proc/sys/net
        for f in ipv6/conf/all/disable_ipv6 ipv6/conf/default/disable_ipv6; do [ ! -e $f ] || echo 1 >$f; done
        for f in ipv4/conf/*/rp_filter ipv4/icmp_ratelimit bridge/bridge-nf-call-iptables; do
            [ ! -e $f ] || echo 0 >$f
        done'
}
for place in lan1 lan2 router provider internet; do
    ip -n $place link set lo up
    quiet_kernel $place
done

ip -n router link add br0 address 02:4b:51:00:00:01 type bridge forward_delay 0
ip -n router link add atm0 type bridge
pair() { # PLACE NAME ADDRESS, PLACE NAME ADDRESS
    ip -n $1 link add $2 address $3 type veth peer name $5 address $6 netns $4
}
pair router eth0 02:4b:51:00:00:02 lan1 eth0 02:4b:51:00:10:01
pair router wl0 02:4b:51:00:00:03 lan2 eth0 02:4b:51:00:10:02
pair router dsl0 02:4b:51:00:00:04 provider dsl 02:4b:51:00:20:01
pair router ppp-line 02:4b:51:00:00:05 provider ppp 02:4b:51:00:20:02
pair router atm-line 02:4b:51:00:00:06 provider atm 02:4b:51:00:20:03
pair provider inet 02:4b:51:00:20:04 internet eth0 02:4b:51:00:30:01
for port in eth0 wl0; do
    ip -n router link set $port master br0
    ip -n router link set $port up
done

for place in lan1 lan2; do ip -n $place link set eth0 up; done
ip -n lan1 address add 192.168.0.10/24 dev eth0
ip -n lan2 address add 192.168.0.20/24 dev eth0
for place in lan1 lan2; do ip -n $place route add default via 192.168.0.1; done

ip -n provider -batch - <<END
link set dsl up
link set ppp up
link set atm up
link set inet up
address add 203.0.113.1/24 dev dsl
address add 192.0.2.1/24 dev ppp
address add 198.18.0.1/24 dev atm
address add 198.51.100.1/24 dev inet
address add 198.51.100.53/32 dev lo
END
ip netns exec provider dash -c 'echo 1 >/proc/sys/net/ipv4/ip_forward'

# Every address that is nobody else's is the Internet's.
ip -n internet -batch - <<END
link set eth0 up
address add 198.51.100.10/32 dev eth0
address add 198.51.100.80/32 dev eth0
route add 198.51.100.1 dev eth0
route add 203.0.113.0/24 via 198.51.100.1
route add 192.0.2.0/24 via 198.51.100.1
route add 198.18.0.0/24 via 198.51.100.1
route add 192.168.0.0/16 via 198.51.100.1
rule add priority 40000 table 100
route add local 0.0.0.0/0 dev lo table 100
END
ip -n provider route add default via 198.51.100.10
)";

// Towards the LAN, for a router that does not translate addresses.
constexpr const char *kLanRoute = "192.168.0.0/16 via 203.0.113.10";

constexpr const char *kProviderDhcp = R"(start 203.0.113.10
end 203.0.113.10
interface dsl
max_leases 1
lease_file /run/provider/leases
pidfile /run/provider/pid
option subnet 255.255.255.0
option router 203.0.113.1
option dns 198.51.100.53
option lease 86400
)";

constexpr const char *kNames = R"(198.51.100.80 www.example.net
198.51.100.10 host.example.net
)";

}  // namespace

Network make_network(const std::function<void()> &router_init)
{
    Network network;
    network.lan1 = make_place("lan1");
    network.lan2 = make_place("lan2");
    network.provider = make_place("provider");
    network.internet = make_place("internet");
    network.router = make_place_with_init("router", router_init);
    const Result made =
        run_outside({"dash", "-c", std::string(kLinks) + "ip -n provider route add " + kLanRoute + "\n"});
    if (made.status != 0) {
        throw bench::Error("cannot make the network: " + made.output);
    }
    return network;
}

const Place *find_place(const Network &network, const std::string &name)
{
    for (const Place *place :
         {&network.lan1, &network.lan2, &network.router, &network.provider, &network.internet}) {
        if (place->name == name) {
            return place;
        }
    }
    return nullptr;
}

void plug_cables(bool in)
{
    std::string lines;
    for (const char *cable : {"dsl", "ppp", "atm"}) {
        lines += std::string("ip -n provider link set ") + cable + (in ? " up\n" : " down\n");
    }
    if (in) {
        lines += std::string("ip -n provider route replace ") + kLanRoute + "\n";
    }
    const Result plugged = run_outside({"dash", "-e", "-c", lines});
    if (plugged.status != 0) {
        throw bench::Error("cannot plug the cables: " + plugged.output);
    }
}

void start_outside_services(const Network &network, const std::string &tool)
{
    namespace fs = std::filesystem;
    fs::create_directories("/run/provider");
    fs::create_directories("/run/www");
    bench::write_whole("/run/provider/leases", "");
    bench::write_whole("/run/provider/dhcp", kProviderDhcp);
    bench::write_whole("/run/provider/names", kNames);
    bench::write_whole("/run/www/index.html", "welcome to the Internet\n");
    start_in(network.provider, {"busybox", "udhcpd", "-f", "-a", "1", "/run/provider/dhcp"});
    start_in(network.provider, {tool, "names", "-a", kNameServer, "-h", "/run/provider/names"});
    start_in(network.internet,
             {"busybox", "httpd", "-f", "-p", std::string(kWebServer) + ":80", "-h", "/run/www"});
}

}  // namespace live
