// Wireless settings: the presence test of the radio, and all wireless settings read into one record.
//
// Reads:  wifi_if_on wifi_ssid wifi_channel wifi_auth_type wifi_wep_on wifi_key_len wifi_def_key
//         wifi_key1 wifi_key2 wifi_key3 wifi_key4 wifi_access_control wifi_broadcast_ssid
//         wifi_dot11_mode wifi_dot11_iso wifi_psk_pwd wifi_radius_secret_len wifi_radius_login_key
//         wifi_radius_port wifi_radius_server wifi_region wifi_passphraseKey lan_ipaddr lan_netmask
//         wifi_features wifi_wds wifi_wds_apmode wifi_wds_bridge0mac wifi_wds_bridge%dmac
//         wifi_wds_repeater%dmac
// Sets:   wifi_features
//
// No value is judged here: the bring-up decides what an odd number means. Every text is cut to the room
// its member has, so that no value reaches a neighbour. The order of the reads is kept, since a first
// read may add the key to the working copy.

#include "rc/wireless/config.h"

#include <arpa/inet.h>

#include <cstdio>
#include <string>

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/text.h"
#include "rc/wireless/wireless.h"

namespace {

// A number as eight bits without sign keep it.
uint8_t read_byte(const char *key)
{
    return static_cast<uint8_t>(nvram_int(key));
}

void read_region(char (&region)[2])
{
    const std::string name = nvram_text("wifi_region");
    name.copy(region, sizeof region);
}

void read_wep(WifiConfig &config)
{
    config.shared_key = nvram_int("wifi_auth_type") == 2 ? 1 : 0;
    config.security = read_byte("wifi_wep_on");
    config.key_len = read_byte("wifi_key_len");
    config.def_key[0] = nvram_first("wifi_def_key");
    my_nvram_get("wifi_key1", config.keys[0]);
    my_nvram_get("wifi_key2", config.keys[1]);
    my_nvram_get("wifi_key3", config.keys[2]);
    my_nvram_get("wifi_key4", config.keys[3]);
}

void read_wpa(WifiConfig &config)
{
    my_nvram_get("wifi_psk_pwd", config.psk_pwd);
    config.radius_secret_len = read_byte("wifi_radius_secret_len");
    my_nvram_get("wifi_radius_login_key", config.radius_login_key);
    my_nvram_get("wifi_radius_port", config.radius_port);
    my_nvram_get("wifi_radius_server", config.radius_server);
}

// An empty number of features becomes 1, for good: this is the one setting that reading stores.
int32_t read_features()
{
    std::string features = nvram_text("wifi_features");
    if (features.empty()) {
        nvram_set("wifi_features", "1");
        // Without flash the setting lives in the working copy only; the radio does not depend on it.
        (void)nvram_commit();
        features = nvram_text("wifi_features");
    }
    return to_int(features);
}

void read_bridge_peers(WifiConfig &config)
{
    char key[32];
    for (int slot = 1; slot < kWdsSlots; ++slot) {
        (void)snprintf(key, sizeof key, "wifi_wds_bridge%dmac", slot);
        my_nvram_get(key, config.wds_mac[slot]);
    }
}

void read_repeater_peers(WifiConfig &config)
{
    char key[32];
    for (int slot = 1; slot < kWdsSlots; ++slot) {
        (void)snprintf(key, sizeof key, "wifi_wds_repeater%dmac", slot);
        my_nvram_get(key, config.wds_mac[slot]);
    }
}

// The peers are read whether or not wireless distribution is on; a mode of any other name has none.
void read_wds(WifiConfig &config)
{
    config.wds = read_byte("wifi_wds");
    const std::string mode = nvram_text("wifi_wds_apmode");
    if (mode == "point") {
        config.wds_mode = kWdsPoint;
        my_nvram_get("wifi_wds_bridge0mac", config.wds_mac[0]);
    } else if (mode == "multi") {
        config.wds_mode = kWdsMulti;
        read_bridge_peers(config);
    } else if (mode == "repeater") {
        config.wds_mode = kWdsRepeater;
        read_repeater_peers(config);
    }
}

}  // namespace

int wifi_init()
{
    return open_file("/proc/bus/pci/00", "r") ? 0 : -1;
}

// Deliberate: a backslash or a dollar sign goes through unchanged, also into the command line.
void escape_ssid(std::string_view name, char (&ssid)[sizeof(WifiConfig::ssid)])
{
    size_t length = 0;
    for (const char c : name) {
        const bool escaped = c == '"' || c == '`';
        if (length + (escaped ? 2 : 1) >= sizeof ssid) {
            break;
        }
        if (escaped) {
            ssid[length++] = '\\';
        }
        ssid[length++] = c;
    }
    ssid[length] = '\0';
}

int parse_config(WifiConfig &config)
{
    config = WifiConfig{};
    config.if_on = read_byte("wifi_if_on");
    escape_ssid(nvram_text("wifi_ssid"), config.ssid);
    config.channel = read_byte("wifi_channel");
    read_wep(config);
    config.access_control = read_byte("wifi_access_control");
    config.broadcast_ssid = read_byte("wifi_broadcast_ssid");
    config.dot11_mode = read_byte("wifi_dot11_mode");
    config.dot11_iso = read_byte("wifi_dot11_iso");
    read_wpa(config);
    read_region(config.region);
    my_nvram_get("wifi_passphraseKey", config.passphrase_key);
    config.lan_ip = inet_addr(nvram_text("lan_ipaddr").c_str());
    config.lan_mask = inet_addr(nvram_text("lan_netmask").c_str());
    config.features = read_features();
    read_wds(config);
    return 0;
}

int save_wifi()
{
    return 0;
}
