// In a sandbox without a network namespace the run's interfaces exist only here: queries about them are
// answered as the kernel would, and rc's process number is the one it has in a namespace of its own.
#include <arpa/inet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdarg>

#include "bench/run/preload/real.h"

using preload::real;

namespace {

// The type of a request's number, in which C libraries differ.
template <typename Number>
Number number_taken_by(int (*)(int, Number, ...));
using RequestNumber = decltype(number_taken_by(ioctl));

struct Interface {
    char name[IFNAMSIZ] = "lo";
    char address[32] = "127.0.0.1";
    int bits = 8;
    char hardware[32] = "00:00:00:00:00:00";
};

bool is_shared()
{
    return getenv(inside::kInterfacesName) != nullptr;
}

// An alias such as "br0:1" is the interface as far as its hardware goes.
bool has_name(const Interface &interface, const char *asked)
{
    const size_t length = strcspn(asked, ":");
    return strlen(interface.name) == length && strncmp(interface.name, asked, length) == 0;
}

bool find_interface(const char *asked, Interface &found)
{
    const char *at = inside::environment(inside::kInterfacesName, "");
    found = {};
    while (!has_name(found, asked)) {
        if (sscanf(at, "%15s %31s %d %31[^;]", found.name, found.address, &found.bits, found.hardware) != 4) {
            return false;
        }
        at = strchr(at, ';') + 1;
    }
    return true;
}

bool answer_hardware(const Interface &interface, ifreq &asked)
{
    unsigned bytes[6] = {};
    (void)sscanf(interface.hardware, "%x:%x:%x:%x:%x:%x", &bytes[0], &bytes[1], &bytes[2], &bytes[3],
                 &bytes[4], &bytes[5]);
    memset(&asked.ifr_hwaddr, 0, sizeof asked.ifr_hwaddr);
    asked.ifr_hwaddr.sa_family = strcmp(interface.name, "lo") == 0 ? ARPHRD_LOOPBACK : ARPHRD_ETHER;
    for (size_t i = 0; i < 6; ++i) {
        asked.ifr_hwaddr.sa_data[i] = static_cast<char>(bytes[i]);
    }
    return true;
}

bool answer_address(const Interface &interface, unsigned long request, ifreq &asked)
{
    sockaddr_in inet = {};
    inet.sin_family = AF_INET;
    if (strchr(asked.ifr_name, ':') != nullptr ||
        inet_pton(AF_INET, interface.address, &inet.sin_addr) != 1) {
        errno = EADDRNOTAVAIL;
        return false;
    }
    const in_addr_t mask = interface.bits == 0 ? 0 : htonl(0xFFFFFFFFU << (32 - interface.bits));
    if (request == SIOCGIFNETMASK) {
        inet.sin_addr.s_addr = mask;
    } else if (request == SIOCGIFBRDADDR) {
        const bool has_broadcast = interface.bits <= 30 && strcmp(interface.name, "lo") != 0;
        inet.sin_addr.s_addr = has_broadcast ? inet.sin_addr.s_addr | ~mask : 0;
    }
    memcpy(&asked.ifr_addr, &inet, sizeof inet);
    return true;
}

bool answer(unsigned long request, ifreq &asked)
{
    Interface interface;
    asked.ifr_name[IFNAMSIZ - 1] = '\0';
    if (!find_interface(asked.ifr_name, interface)) {
        errno = ENODEV;
        return false;
    }
    switch (request) {
        case SIOCGIFHWADDR:
            return answer_hardware(interface, asked);
        case SIOCGIFFLAGS:
            asked.ifr_flags = IFF_UP | IFF_RUNNING;
            return true;
        default:
            return answer_address(interface, request, asked);
    }
}

bool is_about_interfaces(unsigned long request)
{
    return request == SIOCGIFADDR || request == SIOCGIFNETMASK || request == SIOCGIFBRDADDR ||
           request == SIOCGIFHWADDR || request == SIOCGIFFLAGS;
}

// Takes memory before the program starts another one: proot loses a heap that begins after that.
__attribute__((constructor)) void begin_heap()
{
    void *volatile memory = malloc(1);
    free(memory);
}

}  // namespace

// The C library's names, with its types and linkage.
// The names, and those of the parameters in the headers, are reserved ones.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {

int ioctl(int fd, RequestNumber request, ...) noexcept
{
    va_list rest;
    va_start(rest, request);
    void *argument = va_arg(rest, void *);
    va_end(rest);
    if (is_shared() && is_about_interfaces(request)) {
        return answer(request, *static_cast<ifreq *>(argument)) ? 0 : -1;
    }
    return real<int(int, RequestNumber, ...)>("ioctl")(fd, request, argument);
}

// A raw socket, which only asks about interfaces here, needs a privilege.
int socket(int domain, int type, int protocol) noexcept
{
    const bool raw = is_shared() && domain == AF_INET && (type & 0xF) == SOCK_RAW;
    return raw ? real<int(int, int, int)>("socket")(domain, (type & ~0xF) | SOCK_DGRAM, 0)
               : real<int(int, int, int)>("socket")(domain, type, protocol);
}

pid_t getpid() noexcept
{
    constexpr pid_t kOuterRun = 2;
    const bool outer = is_shared() && strcmp(inside::environment(inside::kRunName, "0"), "0") == 0;
    return outer ? kOuterRun : real<pid_t()>("getpid")();
}
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
