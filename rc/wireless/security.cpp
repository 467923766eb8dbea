// Wireless security: the cipher and key numbers of each mode, WEP keys, and the WPA authenticator.
//
// Runs:   wlctl nas
// Needs:  a WifiConfig; the driver, up

#include "rc/wireless/internal.h"

#include <string_view>

#include "rc/rc.h"
#include "rc/text.h"

namespace {

enum SecurityMode : uint8_t {
    kOpen = 0,
    kWep = 1,
    kPskFirst = 2,  // WPA, WPA2 and both with a pre-shared key
    kPskLast = 4,
    kRadiusFirst = 5,  // WPA, WPA2 and both with RADIUS; also every number above these
};

constexpr Security kModes[] = {
    // wsec, wsec_restrict, wpa_auth, eap
    {0, 0, 0, 0},    // 0 open
    {1, 1, 0, 0},    // 1 WEP
    {2, 1, 4, 1},    // 2 WPA-PSK, TKIP
    {4, 1, 128, 1},  // 3 WPA2-PSK, AES
    {6, 1, 132, 1},  // 4 WPA/WPA2-PSK, TKIP and AES
    {2, 1, 2, 1},    // 5 WPA with RADIUS, TKIP
    {4, 1, 64, 1},   // 6 WPA2 with RADIUS, AES
    {6, 1, 66, 1},   // 7 WPA/WPA2 with RADIUS, TKIP and AES
};
constexpr size_t kModeCount = sizeof kModes / sizeof kModes[0];
static_assert(kModeCount == 8);

// Deliberate: a mode above the table encrypts nothing, but lets the RADIUS authenticator start.
constexpr Security kUnknownMode = {0, 1, 0, 1};

// Characters of a WEP key of this many bits; 0 for a size that has no keys.
size_t key_characters(uint8_t bits)
{
    switch (bits) {
        case 64:
            return 10;
        case 128:
            return 26;
        default:
            return 0;
    }
}

// Deliberate: the default key comes last and is installed whatever its length. A number that names none
// of the four keys installs an empty text under that number less one.
void add_wep_keys(const WifiConfig &config)
{
    const int default_key = to_int(config.def_key) - 1;
    const size_t characters = key_characters(config.key_len);
    for (int k = 0; k < kWepKeys; ++k) {
        const std::string_view key = config.keys[k];
        if (k != default_key && characters != 0 && key.size() == characters) {
            MY_SYSTEM("/usr/sbin/wlctl addwep -C 0 %d \"%s\"", k, config.keys[k]);
        }
    }
    const bool named = default_key >= 0 && default_key < kWepKeys;
    MY_SYSTEM("/usr/sbin/wlctl addwep -C 0 %d \"%s\"", default_key, named ? config.keys[default_key] : "");
}

}  // namespace

Security choose_security(uint8_t mode)
{
    return mode < kModeCount ? kModes[mode] : kUnknownMode;
}

void set_security(const WifiConfig &config)
{
    const Security chosen = choose_security(config.security);
    MY_SYSTEM("/usr/sbin/wlctl wsec -C 0 %d", chosen.wsec);
    MY_SYSTEM("/usr/sbin/wlctl wsec_restrict -C 0 %d", chosen.wsec_restrict);
    MY_SYSTEM("/usr/sbin/wlctl wpa_auth -C 0 %d", chosen.wpa_auth);
    MY_SYSTEM("/usr/sbin/wlctl eap %d", chosen.eap);
    if (config.security == kWep) {
        add_wep_keys(config);
        MY_SYSTEM("/usr/sbin/wlctl auth -C 0 %d", config.shared_key);
    } else {
        MY_SYSTEM("/usr/sbin/wlctl auth -C 0 0");
    }
}

void start_authenticator(const WifiConfig &config)
{
    const Security chosen = choose_security(config.security);
    if (config.security >= kPskFirst && config.security <= kPskLast) {
        MY_SYSTEM(
            "/usr/sbin/nas -P /var/nas.lan0.pid -H 34954 -l br0 -i wl0 -A -m %d -k \"%s\" -s \"%s\" -w %d "
            "-g 0 -d 0 &",
            chosen.wpa_auth, config.psk_pwd, config.ssid, chosen.wsec);
    }
    if (config.security >= kRadiusFirst) {
        MY_SYSTEM(
            "/usr/sbin/nas -P /var/nas.lan0.pid -H 34954 -l br0 -i wl0 -A -m %d -r \"%s\" -s \"%s\" -w %d "
            "-g 0 -h \"%s\" -p %s -t 36000 &",
            chosen.wpa_auth, config.radius_login_key, config.ssid, chosen.wsec, config.radius_server,
            config.radius_port);
    }
}
