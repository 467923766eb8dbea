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
int start_wan(Start start);

// Takes the WAN down in every mode; harmless when nothing is up. Always 0.
int stop_wan();

// ---- what follows a WAN address ---------------------------------------------------------------------

int start_wan_basic();
int stop_wan_basic();

int start_ntp();
int stop_ntp();

int start_ddns_update();

int start_dnrd();
int stop_dnrd();

int start_pot();
int stop_pot();

int start_dnshj();
int stop_dnshj();
