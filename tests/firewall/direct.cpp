// Operations of the packet filter and its schedule that no command reaches alone.

#include <cstdio>

#include "rc/firewall/internal.h"
#include "tests/direct.h"

namespace {

// check_sche: prints the result after what it prints itself.
int direct_check_sche(int, char **)
{
    printf("%d\n", check_sche());
    return 0;
}

// create_schedule RECORD: its lines on standard output.
int direct_create_schedule(int argc, char **argv)
{
    if (argc != 1) {
        return 2;
    }
    create_schedule(argv[0], stdout);
    return 0;
}

// ip_type ADDRESS: prints the form's number.
int direct_ip_type(int argc, char **argv)
{
    if (argc != 1) {
        return 2;
    }
    printf("%d\n", static_cast<int>(ip_type(argv[0])));
    return 0;
}

}  // namespace

const DirectOperation kFirewallOperations[] = {
    {"check_sche", direct_check_sche},
    {"create_schedule", direct_create_schedule},
    {"ip_type", direct_ip_type},
    {nullptr, nullptr},
};
