// VPN operations that no command reaches by themselves.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "rc/vpn/internal.h"
#include "tests/direct.h"

namespace {

// A field that is not zero, as a line.
void print_field(const VpnPolicy &policy, const VpnField &field)
{
    const unsigned char *bytes = reinterpret_cast<const unsigned char *>(&policy) + field.offset;
    const char *text = reinterpret_cast<const char *>(bytes);
    switch (field.kind) {
        case VpnKind::kText:
            (void)(*text != '\0' && printf("%s=%s\n", field.name, text));
            break;
        case VpnKind::kNumber:
            (void)(*bytes != 0 && printf("%s=%d\n", field.name, static_cast<int8_t>(*bytes)));
            break;
        case VpnKind::kHex:
            (void)(get_big_endian(bytes) != 0 && printf("%s=%x\n", field.name, get_big_endian(bytes)));
            break;
        case VpnKind::kDecimal:
            (void)(get_big_endian(bytes) != 0 &&
                   printf("%s=%d\n", field.name, static_cast<int32_t>(get_big_endian(bytes))));
            break;
        case VpnKind::kReserved:
            break;
    }
}

void print_policy(const VpnPolicy &policy, bool first)
{
    for (const VpnField &field : kVpnFields) {
        print_field(policy, field);
        if (first && field.offset == offsetof(VpnPolicy, psk) && wan_ifname(policy)[0] != '\0') {
            (void)printf("wan_ifname=%s\n", wan_ifname(policy));
        }
    }
}

// The policies as the settings fill them: the result, then every record with a field that is not zero.
int direct_parse_conf(int, char **)
{
    VpnTable table = {};
    const VpnPolicy none = {};
    const int result = parse_conf(table);
    printf("result=%d\n", result);
    for (int i = 0; i < kVpnPolicies; ++i) {
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
    for (int i = 0; i < argc; ++i) {
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
    for (int i = 0; i < argc; ++i) {
        char mask[kDottedSize];
        puts(bits2mask(atoi(argv[i]), mask));
    }
    return 0;
}

// ADDRESS BITS...
int direct_mask_ip_with_bits(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
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
    const int parsed = parse_conf(table);
    printf("results=%d %d\n", parsed, vpn_up(table));
    return 0;
}

// The first policy of the settings, its own keys, set up and taken down.
int direct_manual_keying(int, char **)
{
    VpnTable table = {};
    const int parsed = parse_conf(table);
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
