// What the files of this folder share with each other and with the tests.
#pragma once

#include <cstdint>

#include "rc/wireless/config.h"

// What the driver is told for one security mode.
struct Security {
    int wsec;           // cipher set
    int wsec_restrict;  // 1: no unencrypted frames
    int wpa_auth;       // key-management set
    int eap;
};

[[nodiscard]] Security choose_security(uint8_t mode);

// Tells the driver the security numbers, the WEP keys and the authentication.
// Choice: a default WEP key outside 1 to 4 names no key: its number less one goes to the driver with an
// empty text.
void set_security(const WifiConfig &config);

// Starts the authenticator that the WPA modes need; nothing for the others.
void start_authenticator(const WifiConfig &config);

// Runs the whole bring-up for a filled record. Always 0.
[[nodiscard]] int wlan_up(WifiConfig config);
