// Login host names: the names under which a LAN host finds the router's pages.
//
// Writes: /etc/hosts

#include "rc/wan/internal.h"

#include "rc/files.h"
#include "rc/product.h"

void write_login_names(const char *address)
{
    if (const File hosts = open_file("/etc/hosts", "w")) {
        (void)fprintf(hosts.get(), "%s www." LOGIN_DOMAIN_1 "\n", address);
        (void)fprintf(hosts.get(), "%s " LOGIN_DOMAIN_1 "\n", address);
        (void)fprintf(hosts.get(), "%s www." LOGIN_DOMAIN_2 "\n", address);
        (void)fprintf(hosts.get(), "%s " LOGIN_DOMAIN_2 "\n", address);
    }
}
