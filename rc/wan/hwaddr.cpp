// Hardware address of an interface, as text.
//
// A tool of the WAN services that no command uses.

#include "rc/wan/internal.h"

#include <sys/socket.h>

#include <cstdio>

#include "rc/files.h"
#include "rc/interface.h"

namespace {

constexpr size_t kHwaddrTextSize = sizeof "00:00:00:00:00:00";
static_assert(kHwaddrTextSize == 18);

void write_hwaddr(char *text, const char *bytes)
{
    (void)snprintf(text, kHwaddrTextSize, "%02hhX:%02hhX:%02hhX:%02hhX:%02hhX:%02hhX", bytes[0], bytes[1],
                   bytes[2], bytes[3], bytes[4], bytes[5]);
}

}  // namespace

int get_if_hwaddr(char *text, const char *name)
{
    const Descriptor query(socket(AF_INET, SOCK_DGRAM, 0));
    if (query.fd < 0) {
        perror("user: socket creating failed");
        return -1;
    }
    ifreq answer;
    if (ask_interface(query.fd, SIOCGIFHWADDR, name, answer)) {
        write_hwaddr(text, answer.ifr_hwaddr.sa_data);
    }
    return 1;
}
