// What only the tests call in this folder.
#pragma once

#include <cstdint>

// The first counter of the first line of /proc/net/dev that contains `name` anywhere: bytes received.
// 0 without such a line, file or counter.
// Choice: the receive counter is read in 64 bits.
[[nodiscard]] uint64_t get_rx_packets(const char *name);

// Ends the firmware-update and provisioning agents, unless an upgrade is at work. Always 0.
int stop_update();

// Ends both agents and starts the provisioning agent anew. Always 0.
int restart_provisioning();
