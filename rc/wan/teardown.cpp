// WAN teardown: takes the Internet side down in every connection mode.
//
// Reads:  wan_ifname wan_pppoe_relay
// Writes: /proc/led /tmp/wan_uptime /etc/ppp/ip-down
// Runs:   rc echo rm brctl killall ps ifconfig rt2684d br2684ctl
// Needs:  /var/run/my_pid /tmp/dsl_change
//
// Safe to run when nothing is up: every step is a kill or a removal that may find nothing. The line itself
// stays trained, and the PPPoE relay stays with its interface where it is wanted.

#include "rc/wan/internal.h"

#include <sys/types.h>
#include <unistd.h>

#include <climits>
#include <csignal>

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"
#include "rc/wan/wan.h"

namespace {

// The circuit's interface and what made it.
void remove_circuit_interface(bool routed)
{
    SYSTEM("/sbin/ifconfig %s down", nvram_text("wan_ifname").c_str());
    run("/sbin/ifconfig nas0 down");
    run("/usr/bin/killall br2684ctl");
    if (routed) {
        run("/usr/sbin/rt2684d -d nas0");
    }
    run("/usr/sbin/br2684ctl -d nas0");
}

}  // namespace

void end_other_bring_up()
{
    const File record = open_file("/var/run/my_pid", "r");
    if (!record) {
        return;
    }
    const long long number = read_number(record.get());
    // 0 and negative numbers would signal whole groups of processes, larger ones name no process.
    if (number <= 0 || number > INT_MAX || number == getpid()) {
        return;
    }
    // A process that is gone needs no ending.
    (void)kill(static_cast<pid_t>(number), SIGTERM);
}

int stop_wan()
{
    end_other_bring_up();
    // Deliberate: this path of rc, and not the bring-up's.
    run("/sbin/rc vpn stop");
    run("/bin/echo g3 off > /proc/led");
    run("/bin/echo g7 off > /proc/led");
    run("/bin/rm /tmp/wan_uptime");
    run("/usr/sbin/brctl delif br0 nas0");
    // The dying PPP daemon finds a down-script that does nothing.
    run("/bin/echo \"#!/bin/sh\" > /etc/ppp/ip-down");
    run("/usr/bin/killall pppd");
    run("/usr/bin/killall udhcpc");
    std::string processes;
    (void)myPipe("ps", processes);
    const bool routed = contains(processes, "rt2684d");
    // A relay serves LAN hosts over the circuit's interface, as long as the line stays as it was.
    if (!contains(processes, "pppoe-relay") || file_exists("/tmp/dsl_change")) {
        remove_circuit_interface(routed);
    }
    if (nvram_first("wan_pppoe_relay") == '0') {
        run("/usr/bin/killall pppoe-relay");
    }
    if (routed) {
        run("/usr/bin/killall rt2684d");
    }
    run("/usr/bin/killall atmarpd");
    clean_vc_table();
    return 0;
}
