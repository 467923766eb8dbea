// Wireless: the presence test of the radio and the operations of the `wlan` row.
#pragma once

// 0 when the first PCI bus, where a wireless adapter sits, is there; -1 otherwise.
// Choice: any file in the place of the first PCI bus means that the radio is there.
[[nodiscard]] int wifi_init();

// Brings the radio up as an access point in the LAN bridge. 0: up, absent or switched off; negative:
// the settings could not be taken over (-1) or the bring-up failed (-3).
int start_wifi();

// Takes the radio down and unloads its driver, whatever state it is in. Always 0.
int stop_wifi();

// The radio has no configuration files: nothing is written. Always 0.
int save_wifi();
