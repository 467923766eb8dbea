// PPP: composes and runs the PPP daemon's command, over Ethernet or over ATM, and sees the link up.
//
// Reads:  pppoe_idle pppoa_idle wan_fix_dns wan_dod wan_iptype pppoe_ipaddr pppoa_ipaddr pppoe_service
//         pppoe_username pppoe_password pppoa_username pppoa_password wan_mtu wan_vpi wan_vci wan_encap
// Writes: /proc/sys/net/ipv4/ip_forward /etc/ppp/ip-up /proc/led
// Runs:   echo cp pppd killall
// Needs:  /usr/etc/ppp/ip-up /usr/etc/ppp/ip-up-demand /tmp/debug
//
// The up-script makes /tmp/wan_uptime; until it does, the daemon is killed and started anew every minute.

#include "rc/wan/internal.h"

#include <cstdlib>

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"

namespace {

constexpr unsigned kMinute = 60;

// The finished command holds at most this many characters.
constexpr size_t kLongestCommand = 1024;

// The last words of every command; the daemon runs in the background.
constexpr const char *kEcho = "lcp-echo-failure 6 lcp-echo-interval 10 &";

// Words of the command that may be missing. Deliberate: an empty one leaves its spaces.
struct PppdPieces {
    std::string peer_dns;
    std::string idle;
    std::string fixed_address;
    std::string service;
};

// 0: always on.
int read_idle_minutes(PppKind kind)
{
    switch (kind) {
        case PppKind::kOverEthernet:
            return nvram_int("pppoe_idle");
        case PppKind::kOverAtm:
            return nvram_int("pppoa_idle");
        default:
            return 0;
    }
}

std::string idle_piece(int minutes)
{
    std::string piece;
    if (minutes != 0) {
        append_format(piece, "idle %d", minutes_as_seconds(minutes));
    }
    return piece;
}

// Deliberate: without dial on demand the pairing of script and idle time looks turned round; the plain
// script goes with an idle time, the demand script with a link that is always on.
void choose_up_script(bool on_demand, int idle_minutes)
{
    if (on_demand) {
        run("/bin/echo 1 > /proc/sys/net/ipv4/ip_forward");
        run("/bin/cp /usr/etc/ppp/ip-up-demand /etc/ppp/ip-up");
    } else if (idle_minutes != 0) {
        run("/bin/cp /usr/etc/ppp/ip-up /etc/ppp/ip-up");
    } else {
        run("/bin/cp /usr/etc/ppp/ip-up-demand /etc/ppp/ip-up");
    }
}

// The daemon's local:remote form with the remote side left open.
std::string fixed_address_piece(PppKind kind)
{
    if (nvram_first("wan_iptype") != 'F') {
        return std::string();
    }
    return (kind == PppKind::kOverAtm ? nvram_text("pppoa_ipaddr") : nvram_text("pppoe_ipaddr")) + ':';
}

std::string service_piece(PppKind kind)
{
    std::string piece;
    if (kind == PppKind::kOverEthernet) {
        const std::string service = nvram_text("pppoe_service");
        if (!service.empty()) {
            append_format(piece, "pppoe_srv_name %s", service.c_str());
        }
    }
    return piece;
}

const char *debug_piece()
{
    return file_exists("/tmp/debug") ? "logfile /tmp/ppp_log debug" : "";
}

// Neither name nor password is escaped: a double quote in them breaks the command.
std::string over_ethernet(const PppdPieces &pieces)
{
    const std::string username = nvram_text("pppoe_username");
    const std::string password = nvram_text("pppoe_password");
    const std::string unit = nvram_get("wan_mtu").value_or("1492");
    std::string command;
    append_format(command,
                  "/usr/sbin/pppd plugin pppoe nas0  user \"%s\" password \"%s\" mru %s %s %s nodetach "
                  "defaultroute %s %s maxfail 0 %s %s",
                  username.c_str(), password.c_str(), unit.c_str(), debug_piece(),
                  pieces.fixed_address.c_str(), pieces.peer_dns.c_str(), pieces.idle.c_str(),
                  pieces.service.c_str(), kEcho);
    return command;
}

std::string over_atm(const PppdPieces &pieces)
{
    const std::string vpi = nvram_text("wan_vpi");
    const std::string vci = nvram_text("wan_vci");
    const std::string username = nvram_text("pppoa_username");
    const std::string password = nvram_text("pppoa_password");
    const std::string unit = nvram_get("wan_mtu").value_or("1452");
    const char *encapsulation = nvram_first("wan_encap") == '0' ? "llc-encaps" : "vc-encaps";
    std::string command;
    append_format(command,
                  "/usr/sbin/pppd plugin pppoa %s.%s user \"%s\" password \"%s\" mru %s %s %s nodetach "
                  "defaultroute %s %s maxfail 0 %s qos UBR  %s ",
                  vpi.c_str(), vci.c_str(), username.c_str(), password.c_str(), unit.c_str(), debug_piece(),
                  pieces.fixed_address.c_str(), encapsulation, pieces.peer_dns.c_str(), pieces.idle.c_str(),
                  kEcho);
    return command;
}

// Empty for a kind that is neither.
std::string compose(PppKind kind, const PppdPieces &pieces)
{
    std::string command;
    if (kind == PppKind::kOverEthernet) {
        command = over_ethernet(pieces);
    } else if (kind == PppKind::kOverAtm) {
        command = over_atm(pieces);
    }
    if (command.size() > kLongestCommand) {
        command.resize(kLongestCommand);
    }
    return command;
}

}  // namespace

int set_pppd_cmd(PppKind kind, Start start)
{
    const int idle_minutes = read_idle_minutes(kind);
    PppdPieces pieces;
    pieces.peer_dns = nvram_int("wan_fix_dns") == 0 ? "usepeerdns" : "";
    pieces.idle = idle_piece(idle_minutes);
    const bool on_demand = nvram_on("wan_dod");
    if (on_demand && start == Start::kAgain && idle_minutes != 0) {
        pieces.idle += " demand";
    }
    choose_up_script(on_demand, idle_minutes);
    pieces.fixed_address = fixed_address_piece(kind);
    pieces.service = service_piece(kind);
    const std::string command = compose(kind, pieces);
    const int status = run(command.c_str());
    if (idle_minutes != 0 && start == Start::kAgain) {
        return status;
    }
    // Without limit: a run that gives up would leave the router offline until someone noticed.
    while (wait_ppp(kMinute) != 0) {
        run("/usr/bin/killall -9 pppd");
        run("/bin/echo g7 on > /proc/led");
        run(command.c_str());
    }
    return 0;
}
