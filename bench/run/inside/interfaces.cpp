#include "bench/run/inside/interfaces.h"

#include <arpa/inet.h>
#include <linux/fib_rules.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <linux/veth.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace inside {

namespace {

// A netlink request under construction.
struct Request {
    alignas(4) unsigned char bytes[512];
    size_t length;
};

rtattr *add_attribute(Request &request, unsigned short type, const void *data, size_t size)
{
    auto *attribute = reinterpret_cast<rtattr *>(request.bytes + request.length);
    attribute->rta_type = type;
    attribute->rta_len = static_cast<unsigned short>(RTA_LENGTH(size));
    if (size > 0) {
        memcpy(RTA_DATA(attribute), data, size);
    }
    request.length += RTA_SPACE(size);
    return attribute;
}

// Closes a nested attribute that was opened with no data.
void end_attribute(const Request &request, rtattr *attribute)
{
    attribute->rta_len = static_cast<unsigned short>(request.bytes + request.length -
                                                     reinterpret_cast<unsigned char *>(attribute));
}

template <typename Body>
void begin_request(Request &request, unsigned short type, unsigned short flags, const Body &body)
{
    memset(&request, 0, sizeof request);
    auto *header = reinterpret_cast<nlmsghdr *>(request.bytes);
    header->nlmsg_type = type;
    header->nlmsg_flags = static_cast<unsigned short>(NLM_F_REQUEST | NLM_F_ACK | flags);
    memcpy(NLMSG_DATA(header), &body, sizeof body);
    request.length = NLMSG_SPACE(sizeof body);
}

// Sends the request and waits for the kernel's answer; its error number, 0 for success.
int send_request(Request &request)
{
    const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (fd < 0) {
        return errno;
    }
    reinterpret_cast<nlmsghdr *>(request.bytes)->nlmsg_len = static_cast<unsigned>(request.length);
    int error = EIO;
    alignas(4) unsigned char answer[1024];
    if (send(fd, request.bytes, request.length, 0) == static_cast<ssize_t>(request.length) &&
        recv(fd, answer, sizeof answer, 0) >= static_cast<ssize_t>(NLMSG_LENGTH(sizeof(nlmsgerr)))) {
        const auto *header = reinterpret_cast<nlmsghdr *>(answer);
        error = header->nlmsg_type == NLMSG_ERROR ? -static_cast<const nlmsgerr *>(NLMSG_DATA(header))->error
                                                  : EIO;
    }
    close(fd);
    return error;
}

// A pair of connected interfaces: `name` for the run, the other end (".peerN", which no settings name) stays
// down.
int make_pair(const char *name, const char *peer)
{
    Request request;
    begin_request(request, RTM_NEWLINK, NLM_F_CREATE | NLM_F_EXCL, ifinfomsg{});
    add_attribute(request, IFLA_IFNAME, name, strlen(name) + 1);
    rtattr *info = add_attribute(request, IFLA_LINKINFO, nullptr, 0);
    add_attribute(request, IFLA_INFO_KIND, "veth", 4);
    rtattr *data = add_attribute(request, IFLA_INFO_DATA, nullptr, 0);
    rtattr *other = add_attribute(request, VETH_INFO_PEER, nullptr, 0);
    memset(request.bytes + request.length, 0, sizeof(ifinfomsg));
    request.length += NLMSG_ALIGN(sizeof(ifinfomsg));
    add_attribute(request, IFLA_IFNAME, peer, strlen(peer) + 1);
    end_attribute(request, other);
    end_attribute(request, data);
    end_attribute(request, info);
    return send_request(request);
}

bool set_flag_up(int fd, ifreq &asked)
{
    if (ioctl(fd, SIOCGIFFLAGS, &asked) != 0) {
        return false;
    }
    asked.ifr_flags = static_cast<short>(asked.ifr_flags | IFF_UP);
    return ioctl(fd, SIOCSIFFLAGS, &asked) == 0;
}

void name_request(ifreq &asked, const char *name)
{
    memset(&asked, 0, sizeof asked);
    snprintf(asked.ifr_name, sizeof asked.ifr_name, "%s", name);
}

bool set_hardware(int fd, const char *name, const char *hardware)
{
    ifreq asked;
    name_request(asked, name);
    unsigned bytes[6];
    if (sscanf(hardware, "%x:%x:%x:%x:%x:%x", &bytes[0], &bytes[1], &bytes[2], &bytes[3], &bytes[4],
               &bytes[5]) != 6) {
        return false;
    }
    asked.ifr_hwaddr.sa_family = ARPHRD_ETHER;
    for (size_t i = 0; i < 6; ++i) {
        asked.ifr_hwaddr.sa_data[i] = static_cast<char>(bytes[i]);
    }
    return ioctl(fd, SIOCSIFHWADDR, &asked) == 0;
}

bool set_inet(int fd, const char *name, unsigned long request, in_addr_t address)
{
    ifreq asked;
    name_request(asked, name);
    sockaddr_in inet = {};
    inet.sin_family = AF_INET;
    inet.sin_addr.s_addr = address;
    memcpy(&asked.ifr_addr, &inet, sizeof inet);
    return ioctl(fd, request, &asked) == 0;
}

bool set_address(int fd, const char *name, const char *address, int bits)
{
    in_addr parsed = {};
    if (inet_pton(AF_INET, address, &parsed) != 1) {
        return false;
    }
    const in_addr_t mask = bits == 0 ? 0 : htonl(0xFFFFFFFFU << (32 - bits));
    return set_inet(fd, name, SIOCSIFADDR, parsed.s_addr) && set_inet(fd, name, SIOCSIFNETMASK, mask) &&
           (bits > 30 || set_inet(fd, name, SIOCSIFBRDADDR, parsed.s_addr | ~mask));
}

}  // namespace

bool make_interface(const char *text)
{
    static unsigned short number = 0;
    char name[IFNAMSIZ];
    char address[32];
    char hardware[32];
    int bits = 0;
    if (sscanf(text, "%15s %31s %d %31s", name, address, &bits, hardware) != 4) {
        fprintf(stderr, "bench_init: not an interface: %s\n", text);
        return false;
    }
    char peer[IFNAMSIZ];
    snprintf(peer, sizeof peer, ".peer%hu", ++number);
    const int error = make_pair(name, peer);
    if (error != 0) {
        fprintf(stderr, "bench_init: cannot make interface %s: %s\n", name, strerror(error));
        return false;
    }
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq up;
    name_request(up, name);
    const bool made = fd >= 0 && set_hardware(fd, name, hardware) &&
                      (strcmp(address, "-") == 0 || set_address(fd, name, address, bits)) &&
                      set_flag_up(fd, up);
    if (!made) {
        fprintf(stderr, "bench_init: cannot set up interface %s: %s\n", text, strerror(errno));
    }
    close(fd);
    return made;
}

void loopback_up()
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq asked;
    name_request(asked, "lo");
    (void)set_flag_up(fd, asked);  // the sandbox may have done it
    close(fd);
}

void forbid_sending()
{
    fib_rule_hdr rule = {};
    rule.family = AF_INET;
    rule.table = RT_TABLE_UNSPEC;
    rule.action = FR_ACT_UNREACHABLE;
    Request request;
    begin_request(request, RTM_NEWRULE, NLM_F_CREATE | NLM_F_EXCL, rule);
    const unsigned priority = 1;
    add_attribute(request, FRA_PRIORITY, &priority, sizeof priority);
    (void)send_request(request);  // a kernel without rules: resolvers wait, nothing else changes
}

}  // namespace inside
