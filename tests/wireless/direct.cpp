// Wireless operations that no command reaches by themselves.
#include <cstdio>
#include <cstring>

#include "rc/nvram.h"
#include "rc/wireless/internal.h"
#include "rc/wireless/wireless.h"
#include "tests/direct.h"

namespace {

// The four bytes of a network-order address, as they lie in memory.
void print_address(const char *name, uint32_t address)
{
    unsigned char bytes[4];
    memcpy(bytes, &address, sizeof bytes);
    printf("%s=%d.%d.%d.%d\n", name, bytes[0], bytes[1], bytes[2], bytes[3]);
}

void print_keys(const WifiConfig &config)
{
    printf("shared_key=%d\nsecurity=%d\nkey_len=%d\n", config.shared_key, config.security, config.key_len);
    printf("def_key=%s\n", config.def_key);
    for (int k = 0; k < kWepKeys; ++k) {
        printf("key%d=%s\n", k + 1, config.keys[k]);
    }
}

void print_radius(const WifiConfig &config)
{
    printf("psk_pwd=%s\n", config.psk_pwd);
    printf("radius_secret_len=%d\n", config.radius_secret_len);
    printf("radius_login_key=%s\n", config.radius_login_key);
    printf("radius_port=%s\n", config.radius_port);
    printf("radius_server=%s\n", config.radius_server);
}

void print_wds(const WifiConfig &config)
{
    printf("wds=%d\nwds_mode=%d\n", config.wds, config.wds_mode);
    for (int slot = 0; slot < kWdsSlots; ++slot) {
        printf("wds_mac%d=%s\n", slot, config.wds_mac[slot]);
    }
}

// The record as the settings fill it, one field a line; the memory it lies in is full of 'x' before.
int direct_parse_config(int, char **)
{
    WifiConfig config;
    memset(&config, 'x', sizeof config);
    const int result = parse_config(config);
    printf("if_on=%d\nssid=%s\nchannel=%d\n", config.if_on, config.ssid, config.channel);
    print_keys(config);
    printf("access_control=%d\nbroadcast_ssid=%d\n", config.access_control, config.broadcast_ssid);
    printf("dot11_mode=%d\ndot11_iso=%d\n", config.dot11_mode, config.dot11_iso);
    print_radius(config);
    printf("region=%.2s\n", config.region);
    printf("passphrase_key=%s\n", config.passphrase_key);
    print_address("lan_ip", config.lan_ip);
    print_address("lan_mask", config.lan_mask);
    print_wds(config);
    printf("features=%d\n", config.features);
    return result;
}

int direct_wifi_init(int, char **)
{
    printf("%d\n", wifi_init());
    return 0;
}

int direct_save_wifi(int, char **)
{
    printf("%d\n", save_wifi());
    return 0;
}

// The bring-up for a cleared record, whatever the settings hold, and its result.
int direct_wlan_up(int, char **)
{
    printf("%d\n", wlan_up(WifiConfig{}));
    return 0;
}

// my_nvram_get KEY: into a buffer of eight bytes between two others that must not change.
int direct_my_nvram_get(int argc, char **argv)
{
    struct {
        char before[4] = {'<', '<', '<', '<'};
        char text[8] = {'o', 'l', 'd'};
        char after[4] = {'>', '>', '>', '>'};
    } room;
    my_nvram_get(argc < 1 ? nullptr : argv[0], room.text);
    my_nvram_get(argc < 1 ? nullptr : argv[0], nullptr, 8);
    printf("%.4s%s%.4s\n", room.before, room.text, room.after);
    return 0;
}

}  // namespace

const DirectOperation kWirelessOperations[] = {
    {"parse_config", direct_parse_config}, {"wifi_init", direct_wifi_init},
    {"save_wifi", direct_save_wifi},       {"wlan_up", direct_wlan_up},
    {"my_nvram_get", direct_my_nvram_get}, {nullptr, nullptr},
};
