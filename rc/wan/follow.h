// What the services that follow a WAN address share with each other and with the tests.
#pragma once

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
