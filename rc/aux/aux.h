// UPnP and the connection check: the operations of the `upnp` and `check_conn` rows.
#pragma once

// Restarts the UPnP daemon, or only ends it when UPnP is off or the line is bridged. Always 0.
int start_upnp();

// Ends the UPnP daemon and waits a second. Always 0.
int stop_upnp();

// Shows on the LEDs whether the WAN link carries traffic, where there is no PPP to tell. Always 0.
int start_check_conn();
