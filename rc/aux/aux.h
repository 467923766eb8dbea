// UPnP and the connection check: the operations of the `upnp` and `check_conn` rows.
#pragma once

// Restarts the UPnP daemon, or only ends it when UPnP is off or the line is bridged. Always 0.
// Choice: for the UPnP identifier, numbers missing in the base address count as 0, and numbers above ff are
// written whole.
int start_upnp();

// Ends the UPnP daemon and waits a second. Always 0.
int stop_upnp();

// Shows on the LEDs whether the WAN link carries traffic, where there is no PPP to tell. Always 0.
// Choice: a default line without a second column makes the connection check ping an empty address.
// Choice: for the connection check, a route tool that ends with a status other than 0 has failed, and nothing
// is said.
int start_check_conn();
