// VPN operations that no command reaches by themselves.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "rc/vpn/internal.h"
#include "tests/direct.h"

namespace {

void print_text(const char *name, const char *value)
{
    if (value[0] != '\0') {
        printf("%s=%s\n", name, value);
    }
}

void print_number(const char *name, int value)
{
    if (value != 0) {
        printf("%s=%d\n", name, value);
    }
}

void print_hex(const char *name, uint32_t value)
{
    if (value != 0) {
        printf("%s=%x\n", name, value);
    }
}

void print_side(const VpnPolicy &policy)
{
    print_number("local_type", policy.local_type);
    print_text("local_net", policy.local_net);
    print_text("local_mask", policy.local_mask);
    print_text("local_addr", policy.local_addr);
    print_number("local_id_type", policy.local_id_type);
    print_text("local_id", policy.local_id);
    print_number("remote_gw_type", policy.remote_gw_type);
    print_text("remote_gw", policy.remote_gw);
    print_number("remote_type", policy.remote_type);
    print_text("remote_net", policy.remote_net);
    print_text("remote_mask", policy.remote_mask);
    print_text("remote_addr", policy.remote_addr);
    print_number("remote_id_type", policy.remote_id_type);
    print_text("remote_id", policy.remote_id);
}

void print_wan(const VpnPolicy &policy, bool first)
{
    print_text("wan_ifname", first ? wan_ifname(policy) : "");
    print_text("wan_ip", policy.wan_ip);
    print_text("wan_gateway", policy.wan_gateway);
    print_text("wan_netmask", policy.wan_netmask);
    print_text("wan_broadcast", policy.wan_broadcast);
}

// Every field of a record that is not zero, a line each, in the record's order.
void print_policy(const VpnPolicy &policy, bool first)
{
    print_number("enabled", policy.enabled);
    print_text("name", policy.name);
    print_text("psk", policy.psk);
    print_wan(policy, first);
    print_side(policy);
    print_number("keying", policy.keying);
    print_number("enc_alg", policy.enc_alg);
    print_number("auth_alg", policy.auth_alg);
    print_hex("spi_in", get_word(policy.spi_in));
    print_hex("spi_out", get_word(policy.spi_out));
    print_text("enc_key", policy.enc_key);
    print_text("auth_key", policy.auth_key);
    print_number("exchange_mode", policy.exchange_mode);
    print_number("connect_mode", policy.connect_mode);
    print_number("dh_group", policy.dh_group);
    print_number("pfs", policy.pfs);
    print_number("option25", policy.option25);
    print_number("lifetime", lifetime_of(policy));
    print_text("keepalive_addr", policy.keepalive_addr);
    print_number("keepalive_on", policy.keepalive_on);
}

// The policies as the settings fill them: the result, then every record with a field that is not zero.
int direct_parse_conf(int, char **)
{
    VpnTable table = {};
    const VpnPolicy none = {};
    const int result = parse_conf(table.policies);
    printf("result=%d\n", result);
    for (int i = 0; i < kVpnPolicies; i++) {
        if (memcmp(&table.policies[i], &none, sizeof none) != 0) {
            printf("[%d]\n", i);
            print_policy(table.policies[i], i == 0);
        }
    }
    return 0;
}

// The addresses of an interface; without a word the interface's name is a null pointer.
int direct_my_get_if(int argc, char **argv)
{
    char texts[4][18] = {"unset", "unset", "unset", "unset"};
    const int result = my_get_if(argc > 0 ? argv[0] : nullptr, texts[0], texts[1], texts[2], texts[3]);
    printf("result=%d\nip=%s\nnetmask=%s\nbroadcast=%s\ngateway=%s\n", result, texts[0], texts[1], texts[2],
           texts[3]);
    return 0;
}

int direct_my_get_if_no_ip(int argc, char **argv)
{
    char texts[3][18] = {};
    printf("result=%d\n", my_get_if(argc > 0 ? argv[0] : "", nullptr, texts[0], texts[1], texts[2]));
    return 0;
}

// Each of these prints the result for every word, and for a null pointer when there is none.
int print_results(int argc, char **argv, int (*helper)(const char *))
{
    if (argc == 0) {
        printf("%d\n", helper(nullptr));
    }
    for (int i = 0; i < argc; i++) {
        printf("%d\n", helper(argv[i]));
    }
    return 0;
}

int direct_tmss_mask2bits(int argc, char **argv)
{
    return print_results(argc, argv, tmss_mask2bits);
}

int direct_mask2bits(int argc, char **argv)
{
    return print_results(argc, argv, mask2bits);
}

int direct_range2bits(int argc, char **argv)
{
    return print_results(argc, argv, range2bits);
}

int direct_bits2mask(int argc, char **argv)
{
    for (int i = 0; i < argc; i++) {
        char mask[kDottedSize];
        puts(bits2mask(atoi(argv[i]), mask));
    }
    return 0;
}

// ADDRESS BITS...
int direct_mask_ip_with_bits(int argc, char **argv)
{
    for (int i = 1; i < argc; i++) {
        char address[kDottedSize];
        snprintf(address, sizeof address, "%s", argv[0]);
        puts(mask_ip_with_bits(address, atoi(argv[i])));
    }
    return 0;
}

// KEY HEXLEN, HEXLEN at most 48
int direct_convert_key(int argc, char **argv)
{
    char key[57] = "unset";
    const int result = argc < 2 ? -1 : convert_key(argv[0], key, atoi(argv[1]));
    printf("%d %s\n", result, key);
    return 0;
}

int direct_create_vpn(int, char **)
{
    printf("result=%d\n", create_vpn());
    return 0;
}

// Twice in one process, as the start of the firewall and the start of the tunnels do it.
int direct_start_vpn_fw_twice(int, char **)
{
    const int first = start_vpn_fw(nullptr);
    const int second = start_vpn_fw(nullptr);
    printf("results=%d %d\n", first, second);
    return 0;
}

// The filter closed first, then opened, then closed again: `rc service restart` does so.
int direct_stop_start_stop_vpn_fw(int, char **)
{
    const int first = stop_vpn_fw();
    const int second = start_vpn_fw(nullptr);
    const int third = stop_vpn_fw();
    printf("results=%d %d %d\n", first, second, third);
    return 0;
}

int direct_start_vpn_twice(int, char **)
{
    const int first = start_vpn();
    const int second = start_vpn();
    printf("results=%d %d\n", first, second);
    return 0;
}

int direct_stop_vpn(int, char **)
{
    printf("result=%d\n", stop_vpn());
    return 0;
}

int direct_vpn_down_null(int, char **)
{
    printf("result=%d\n", vpn_down(nullptr));
    return 0;
}

// The policies of the settings, brought up: the result.
int direct_vpn_up(int, char **)
{
    VpnTable table = {};
    const int parsed = parse_conf(table.policies);
    printf("results=%d %d\n", parsed, vpn_up(table.policies));
    return 0;
}

// The first policy of the settings, its own keys, set up and taken down.
int direct_manual_keying(int, char **)
{
    VpnTable table = {};
    const int parsed = parse_conf(table.policies);
    const int up = setup_manual_keying(table.policies[0]);
    const int down = manual_keying_down(table.policies[0]);
    printf("results=%d %d %d\n", parsed, up, down);
    return 0;
}

}  // namespace

const DirectOperation kVpnOperations[] = {
    {"parse_conf", direct_parse_conf},
    {"my_get_if", direct_my_get_if},
    {"my_get_if_no_ip", direct_my_get_if_no_ip},
    {"tmss_mask2bits", direct_tmss_mask2bits},
    {"mask2bits", direct_mask2bits},
    {"range2bits", direct_range2bits},
    {"bits2mask", direct_bits2mask},
    {"mask_ip_with_bits", direct_mask_ip_with_bits},
    {"convert_key", direct_convert_key},
    {"create_vpn", direct_create_vpn},
    {"start_vpn_fw_twice", direct_start_vpn_fw_twice},
    {"stop_start_stop_vpn_fw", direct_stop_start_stop_vpn_fw},
    {"start_vpn_twice", direct_start_vpn_twice},
    {"stop_vpn", direct_stop_vpn},
    {"vpn_down_null", direct_vpn_down_null},
    {"vpn_up", direct_vpn_up},
    {"manual_keying", direct_manual_keying},
    {nullptr, nullptr},
};
