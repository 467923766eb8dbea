// The Internet side, as the service tables, the command frame and other folders call it.
#pragma once

// ---- the line and the connection --------------------------------------------------------------------------

// Starts training the DSL line; does not wait for it. Always 0.
int start_adsl();

enum class Start {
    kAgain,  // a restart: may dial on demand
    kFirst,  // waits for a PPP session
};

// Brings the WAN up in the mode of the settings; nothing when the line is not in data mode. Always 0.
// Choice: a process-id file that cannot be written does not stop the bring-up.
// Choice: `wan_pppoe_relay` is read in every mode that has the bridged circuit, before the mode is
// compared.
int start_wan(Start start);

// Takes the WAN down in every mode; harmless when nothing is up. Always 0.
int stop_wan();

// ---- what follows a WAN address ---------------------------------------------------------------------

int start_wan_basic();
int stop_wan_basic();

int start_ntp();
int stop_ntp();

// Choice: the number in the log of the dynamic-DNS client is read at its start; text there stops nothing.
// Choice: for dynamic DNS, an empty version word is not "A", so the agent string gets its "B".
int start_ddns_update();

// Choice: a server of the DNS relay is the next word after the first "nameserver" of a line; a line without a
// word adds none. Choice: a line of `/etc/resolv.conf` longer than 127 characters is read in pieces. The
// first server that does not fit whole into the 512 characters of the list ends it: a cut address would name
// another host. Choice: the printed line of the DNS relay is the command as run, cut where the command is
// cut.
int start_dnrd();
int stop_dnrd();

int start_pot();
int stop_pot();

int start_dnshj();
int stop_dnshj();
