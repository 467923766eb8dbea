// WAN bring-up: connects to the Internet over the DSL line in the mode of the settings.
//
// Reads:  wan_mode wan_fix_dns wan_vpi wan_vci wan_encap wan_macaddr wan_mtu wan_pppoe_relay
//         wan_ifname fix_ipaddr fix_netmask fix_gateway wifi_if_on wifi_wds
// Sets:   wan_ifname
// Writes: /var/run/my_pid /proc/led /tmp/dsl_change /tmp/wan_uptime
// Runs:   ps killall echo br2684ctl ifconfig pppoe-relay brctl route rc cp udhcpc
// Needs:  adsl
//
// /var/run/my_pid names the run that is bringing the WAN up, which may wait long for a PPP session: the
// newest run ends the one named there before it puts itself in its place.

#include "rc/wan/internal.h"

#include <unistd.h>

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"
#include "rc/wan/wan.h"

namespace {

// Processes of an earlier connection.
constexpr const char *kLeftovers[] = {"pppd", "br2684ctl", "wizard", "atmarpd"};

constexpr int kClearingRounds = 10;

// Shorter texts name no connection mode.
constexpr size_t kShortestMode = 2;

struct Circuit {
    int vpi;
    int vci;
    int encapsulation;
};

void record_bring_up()
{
    if (const File record = open_file("/var/run/my_pid", "w")) {
        (void)fprintf(record.get(), "%d", static_cast<int>(getpid()));
    }
}

bool leftovers_among(const std::string &processes)
{
    for (const char *name : kLeftovers) {
        if (contains(processes, name)) {
            return true;
        }
    }
    return false;
}

// What survives the last round does not stop the bring-up.
void clear_leftovers()
{
    std::string processes;
    (void)myPipe("ps", processes);
    for (int round = 0; round < kClearingRounds && leftovers_among(processes); ++round) {
        run("/usr/bin/killall wizard");
        (void)stop_wan();
        (void)sleep(1);
        (void)myPipe("ps", processes);
    }
}

Circuit read_circuit()
{
    Circuit circuit;
    circuit.vpi = nvram_int("wan_vpi");
    circuit.vci = nvram_int("wan_vci");
    circuit.encapsulation = nvram_int("wan_encap");
    return circuit;
}

// Makes nas0, the interface of the bridged circuit.
void make_circuit_interface(const Circuit &circuit)
{
    SYSTEM("/usr/sbin/br2684ctl -c 0 -e %d -a 0.%d.%d -b", circuit.encapsulation, circuit.vpi, circuit.vci);
    (void)usleep(10);
    run("/sbin/ifconfig nas0 up");
    const std::string hardware = nvram_text("wan_macaddr");
    if (!hardware.empty()) {
        run("/sbin/ifconfig nas0 down");
        SYSTEM("/sbin/ifconfig nas0 hw ether %s ", hardware.c_str());
        run("/sbin/ifconfig nas0 up");
    }
    SYSTEM("/sbin/ifconfig nas0 mtu %s", nvram_text("wan_mtu").c_str());
}

// Lets LAN hosts make PPPoE sessions of their own over the circuit.
void start_relay(const std::string &mode)
{
    if (!nvram_on("wan_pppoe_relay") || (mode != "pppoe" && mode != "dhcpc" && mode != "ip")) {
        return;
    }
    std::string processes;
    (void)myPipe("ps", processes);
    if (!contains(processes, "pppoe-relay")) {
        run("/usr/sbin/pppoe-relay -S nas0 -C br0");
    }
    if (file_exists("/tmp/dsl_change")) {
        // A relay of before the change holds on to the old circuit.
        run("/usr/bin/killall pppoe-relay");
        run("/usr/sbin/pppoe-relay -S nas0 -C br0");
    }
    remove_file("/tmp/dsl_change");
}

// Any other mode ends with the bare interface.
void connect_over_interface(const std::string &mode, Start start)
{
    if (mode == "dhcpc") {
        (void)start_dhcpc();
    } else if (mode == "ip") {
        (void)start_ip();
    } else if (mode == "pppoe") {
        run("/sbin/ifconfig nas0 mtu 1500");
        (void)set_pppd_cmd(PppKind::kOverEthernet, start);
    } else if (mode == "bridge") {
        run("/usr/sbin/brctl addif br0 nas0");
        (void)remove_fast_br();
    }
}

void bring_up(const std::string &mode, Start start)
{
    run("/bin/echo g3 off > /proc/led");
    run("/bin/echo g7 off > /proc/led");
    nvram_set("wan_ifname", mode[0] == 'p' ? "ppp0" : "nas0");
    write_name_servers();
    const Circuit circuit = read_circuit();
    clean_vc_table();
    add_wan_circuit(circuit.vpi, circuit.vci);
    if (mode == "pppoa") {
        (void)set_pppd_cmd(PppKind::kOverAtm, start);
        return;
    }
    if (mode == "ipoa") {
        (void)start_ipoa();
        return;
    }
    make_circuit_interface(circuit);
    start_relay(mode);
    connect_over_interface(mode, start);
    if (nvram_on("wifi_if_on") && nvram_on("wifi_wds")) {
        (void)remove_fast_br();
    }
}

}  // namespace

// Deliberate: the services run before the uptime file exists, so those that wait for it pass this round over.
int start_ip()
{
    const std::string interface = nvram_text("wan_ifname");
    const std::string address = nvram_text("fix_ipaddr");
    const std::string netmask = nvram_text("fix_netmask");
    SYSTEM("/sbin/ifconfig %s %s netmask %s", interface.c_str(), address.c_str(), netmask.c_str());
    run("/sbin/route del default");
    SYSTEM("/sbin/route add default gw %s", nvram_text("fix_gateway").c_str());
    run("/usr/sbin/rc service restart");
    run("/bin/cp /proc/uptime /tmp/wan_uptime");
    return 0;
}

int start_dhcpc()
{
    (void)sleep(1);
    // Deliberate: the whole word counts here, not its first character as in write_name_servers.
    const bool fixed_dns = nvram_text("wan_fix_dns") == "1";
    const std::string interface = nvram_text("wan_ifname");
    if (fixed_dns) {
        SYSTEM("/usr/sbin/udhcpc -i %s -s /etc/udhcpc.fix.script&", interface.c_str());
    } else {
        SYSTEM("/usr/sbin/udhcpc -i %s -s /etc/udhcpc.script&", interface.c_str());
    }
    return 0;
}

int start_wan(Start start)
{
    (void)add_fast_br();
    // Deliberate: with the line down a bring-up at work and its record stay as they are.
    if (check_wan_status() == 0) {
        return 0;
    }
    end_other_bring_up();
    record_bring_up();
    const std::string mode = nvram_text("wan_mode");
    clear_leftovers();
    if (mode.size() >= kShortestMode) {
        bring_up(mode, start);
    }
    remove_file("/var/run/my_pid");
    return 0;
}
