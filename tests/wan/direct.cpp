// Operations of the WAN services that no command reaches, or not alone.

#include <cstdio>

#include "rc/text.h"
#include "rc/wan/internal.h"
#include "tests/direct.h"

namespace {

// get_if_hwaddr INTERFACE: prints the result and the text.
int direct_get_if_hwaddr(int argc, char **argv)
{
    if (argc != 1) {
        return 2;
    }
    char text[18] = "unchanged";
    const int result = get_if_hwaddr(text, argv[0]);
    printf("%d %s\n", result, text);
    return 0;
}

int direct_start_stop_dis_sip_alg(int, char **)
{
    return start_stop_dis_sip_alg();
}

// check_fast_br_exist: prints the result.
int direct_check_fast_br_exist(int, char **)
{
    printf("%d\n", check_fast_br_exist());
    return 0;
}

int direct_remove_fast_br(int, char **)
{
    return remove_fast_br();
}

// start_dhcpc: prints the result.
int direct_start_dhcpc(int, char **)
{
    printf("%d\n", start_dhcpc());
    return 0;
}

// start_ip: prints the result.
int direct_start_ip(int, char **)
{
    printf("%d\n", start_ip());
    return 0;
}

// check_wan_status: prints the result.
int direct_check_wan_status(int, char **)
{
    printf("%d\n", check_wan_status());
    return 0;
}

// wait_ppp SECONDS: prints the result.
int direct_wait_ppp(int argc, char **argv)
{
    if (argc != 1) {
        return 2;
    }
    printf("%d\n", wait_ppp(static_cast<unsigned>(to_int(argv[0]))));
    return 0;
}

// set_pppd_cmd KIND FLAG: prints the result.
int direct_set_pppd_cmd(int argc, char **argv)
{
    if (argc != 2) {
        return 2;
    }
    const auto kind = static_cast<PppKind>(to_int(argv[0]));
    const auto start = static_cast<Start>(to_int(argv[1]));
    printf("%d\n", set_pppd_cmd(kind, start));
    return 0;
}

// ipoa_test VPI VCI
int direct_ipoa_test(int argc, char **argv)
{
    if (argc != 2) {
        return 2;
    }
    ipoa_test(to_int(argv[0]), to_int(argv[1]));
    return 0;
}

}  // namespace

const DirectOperation kWanOperations[] = {
    {"check_fast_br_exist", direct_check_fast_br_exist},
    {"check_wan_status", direct_check_wan_status},
    {"get_if_hwaddr", direct_get_if_hwaddr},
    {"ipoa_test", direct_ipoa_test},
    {"remove_fast_br", direct_remove_fast_br},
    {"set_pppd_cmd", direct_set_pppd_cmd},
    {"start_dhcpc", direct_start_dhcpc},
    {"start_ip", direct_start_ip},
    {"start_stop_dis_sip_alg", direct_start_stop_dis_sip_alg},
    {"wait_ppp", direct_wait_ppp},
    {nullptr, nullptr},
};
