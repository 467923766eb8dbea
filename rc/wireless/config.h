// The wireless settings in one record: filled once, then handed to the bring-up by value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

constexpr int kWepKeys = 4;
constexpr int kWdsSlots = 5;  // slot 0: the peer of a point link; 1 to 4: the peers of the other modes

// A text member holds its value cut to its size minus the closing NUL, except `region`, which has none.
// Numbers are the setting's number cut to the width of the member: 260 in eight bits is 4.
// Choice: the widths of the settings record include the closing NUL, except for the pre-shared key (64
// characters reach the authenticator whole) and the region (two characters, no NUL).
struct WifiConfig {
    uint8_t if_on;              // 0: radio switched off
    char ssid[33];              // escaped for double quotes on a command line
    uint8_t channel;            // 0: automatic
    uint8_t shared_key;         // 1: WEP with shared-key authentication
    uint8_t security;           // 0 to 7, see security.cpp; larger numbers mean something too
    uint8_t key_len;            // WEP key size in bits: 64 or 128
    char def_key[2];            // one character, "1" to "4": the default WEP key
    char keys[kWepKeys][30];    // WEP keys as hexadecimal text
    uint8_t access_control;     // not 0: only the stations of the access list
    uint8_t broadcast_ssid;     // 0: hidden network
    uint8_t dot11_mode;         // 1: 11b only, 3: performance, other: automatic
    uint8_t dot11_iso;          // client isolation
    char psk_pwd[64 + 1];       // WPA pre-shared key: a pass phrase, or 64 hexadecimal digits
    uint8_t radius_secret_len;  // not used by the bring-up
    char radius_login_key[65];
    char radius_port[6];
    char radius_server[65];
    char region[2];           // first two characters of the country or region, no NUL
    char passphrase_key[68];  // not used by the bring-up
    uint32_t lan_ip;          // network order; not used by the bring-up
    uint32_t lan_mask;        // network order; not used by the bring-up
    uint8_t wds;              // 1: wireless distribution on
    uint8_t wds_mode;         // a WdsMode
    char wds_mac[kWdsSlots][32];
    int32_t features;  // not used by the bring-up
};

enum WdsMode : uint8_t { kWdsNone = 0, kWdsPoint = 1, kWdsMulti = 2, kWdsRepeater = 3 };

// Clears the record and fills it from the settings. Always 0.
// Choice: `wifi_auth_type` is compared as a whole number; all other numbers are cut to 8 bits first.
[[nodiscard]] int parse_config(WifiConfig &config);

// Writes `name` to `ssid` with a backslash before each double quote and back-quote, and a closing NUL.
// Stops before the first character that does not fit together with its backslash.
// Choice: the network's name is escaped before it is cut; copying stops at the first character that does
// not fit together with its backslash.
void escape_ssid(std::string_view name, char (&ssid)[sizeof(WifiConfig::ssid)]);
