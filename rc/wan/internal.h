// What the files of the WAN connection share with each other and with their tests.
#pragma once

#include <string>

#include "rc/wan/wan.h"

// ---- line and circuits -----------------------------------------------------------------------------------

// 1: the line is in data mode; 0: it is not, or its tool said nothing.
[[nodiscard]] int check_wan_status();

// Deletes every ATM circuit, not only the WAN's.
// Choice: in the listing of circuits, a line without any word is skipped; a first word is cut at 15
// characters before its "." is looked for. A line longer than 127 characters counts as several.
void clean_vc_table();

// Adds the one circuit that the WAN uses.
void add_wan_circuit(int vpi, int vci);

// Waits the whole time, then tells whether the WAN is up: 0 when it is, -1 when not.
[[nodiscard]] int wait_ppp(unsigned seconds);

// ---- bring-up ---------------------------------------------------------------------------------------

// Ends the bring-up that another run of rc has recorded, if there is one.
// Choice: a **deviation for safety**: a number of 0 or below in the process-id file is never signalled (it
// would reach whole groups of processes), nor one beyond any process id.
void end_other_bring_up();

// Sets the fixed address of the settings and runs the services that follow it. Always 0.
int start_ip();

// Starts the DHCP client, whose script does the rest. Always 0.
int start_dhcpc();

enum class PppKind { kOverEthernet, kOverAtm };

// Composes and runs the PPP daemon's command; an empty one for a kind that is neither. With an idle time and
// not at a first start the result is the status of that run; else it returns 0, but only once the WAN is up.
// Choice: the PPP command is cut at exactly 1024 characters and run by `run`; the result is the status as
// `system` gives it.
// Choice: a kind of PPP that is neither has no idle time.
// Choice: absurd idle minutes wrap around at 32 bits.
int set_pppd_cmd(PppKind kind, Start start);

// ---- fast bridge module -----------------------------------------------------------------------------

// Deliberate: the opposite of its name. 0: the module is loaded; 1: it is not, or there is no telling.
[[nodiscard]] int check_fast_br_exist();

// Loads the module when wireless is on and wireless distribution is off. Always 0.
int add_fast_br();

// Removes the module when it is loaded. Always 0.
int remove_fast_br();

// ---- IP over ATM ------------------------------------------------------------------------------------

// Probes which form the provider speaks and sets `ipoa_mode` to "1483" or "1577".
void ipoa_test(int vpi, int vci);

// Brings the WAN up in that form. Always 0.
// Choice: the address in `/tmp/ipoa_server` ends at the first carriage return or line feed; as a gateway
// it is cut to 15 characters.
// Choice: in the classical form of IP over ATM the second probe may set `ipoa_mode` back; this bring-up
// still completes as it began.
int start_ipoa();

// An address without its last part; whole when it has no ".".
// Choice: an `ipoa_ipaddr` without a "." is its own prefix.
[[nodiscard]] std::string network_prefix(const std::string &address);

// Whether two addresses are equal under a mask. All three are read as inet_network reads them, so a text
// that is no address counts as all ones.
// Choice: text that is no address is all ones under `inet_network`.
[[nodiscard]] bool same_network(const char *one, const char *other, const char *mask);

// ---- what follows a WAN address ---------------------------------------------------------------------

// Loads or unloads the SIP helper modules as `dis_sip_alg` wants. Always 0.
int start_stop_dis_sip_alg();

// Writes the hardware address of interface `name` into `text` (18 bytes, terminator included), upper-case
// hexadecimal with colons; an interface without one leaves `text` as it was. 1: a socket could be made,
// -1: not.
int get_if_hwaddr(char *text, const char *name);

// Writes the fixed name servers to /etc/resolv.conf when `wan_fix_dns` wants them.
void write_name_servers();

// Rewrites /etc/hosts with the router's login host names; a file that cannot be opened stays as it is.
void write_login_names(const char *address);
