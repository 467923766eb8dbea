// Process 1 of a run's namespace: makes the network interfaces, starts the program, and ends only when
// every process of the namespace has ended, so that commands in the background finish and are recorded.
// After the time limit it kills what is left.
#include <arpa/inet.h>
#include <linux/fib_rules.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <linux/veth.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <ctime>

#include "bench/inside.h"

namespace {

// ---- interfaces -----------------------------------------------------------------------------------------

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

// A pair of connected interfaces: `name` for the run, the other end ("peerN") stays down.
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

// Nothing that a run sends leaves for anywhere but its own addresses: a resolver asked for a name gets its
// error at once in place of waiting for an answer that cannot come.
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
    for (size_t i = 0; i < 6; i++) {
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

// An interface as the run file describes it; false, with a message, when it cannot be made.
bool make_interface(const char *text)
{
    static int number = 0;
    char name[IFNAMSIZ];
    char address[32];
    char hardware[32];
    int bits = 0;
    if (sscanf(text, "%15s %31s %d %31s", name, address, &bits, hardware) != 4) {
        fprintf(stderr, "bench_init: not an interface: %s\n", text);
        return false;
    }
    char peer[IFNAMSIZ];
    snprintf(peer, sizeof peer, "peer%d", ++number);
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

// ---- the run --------------------------------------------------------------------------------------------

struct Plan {
    char *words[inside::kMostWords + 1];
    size_t count;
    long limit_ms;
};

bool read_plan(Plan &plan)
{
    inside::Fields fields = inside::read_fields(inside::kRunFile);
    char *letter = nullptr;
    char *value = nullptr;
    size_t length = 0;
    bool interfaces = false;
    while (inside::next_field(fields, letter, length) && inside::next_field(fields, value, length)) {
        if (*letter == 'a' && plan.count < inside::kMostWords) {
            plan.words[plan.count++] = value;
        } else if (*letter == 'l') {
            plan.limit_ms = atol(value);
        } else if (*letter == 'i') {
            interfaces = true;
            if (!make_interface(value)) {
                return false;
            }
        }
    }
    if (interfaces) {
        forbid_sending();
    }
    return true;
}

bool redirect(int fd, const char *path, int flags)
{
    const int opened = open(path, flags, 0600);
    if (opened < 0 || dup2(opened, fd) < 0) {
        fprintf(stderr, "bench_init: cannot open %s: %s\n", path, strerror(errno));
        return false;
    }
    if (opened != fd) {
        close(opened);
    }
    return true;
}

[[noreturn]] void become_program(const Plan &plan, const sigset_t &mask)
{
    static inside::Program program;
    inside::read_program(program);
    setenv(inside::kRunName, "0", 1);
    setenv(inside::kCommandName, "0", 1);
    setenv(inside::kDirectName, "1", 1);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    if (program.first != nullptr) {
        inside::run_program(program, program.first, plan.words);
    }
    fprintf(stderr, "bench_init: cannot run %s: %s\n", program.first == nullptr ? "nothing" : program.first,
            strerror(errno));
    _exit(127);
}

// Milliseconds since some point in the past.
long now_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long>(now.tv_sec * 1000 + now.tv_nsec / 1000000);
}

// Collects every process that has ended; true when none is left.
bool collect(pid_t program)
{
    for (;;) {
        int status = 0;
        const pid_t ended = waitpid(-1, &status, WNOHANG);
        if (ended == program) {
            char text[16];
            snprintf(text, sizeof text, "%d", status);
            inside::write_record(inside::kEntryExit, text);
        } else if (ended < 0) {
            return errno == ECHILD;
        } else if (ended == 0) {
            return false;
        }
    }
}

void wait_for_all(pid_t program, long limit_ms, const sigset_t &child_signal)
{
    const long end = now_ms() + limit_ms;
    bool killed = false;
    while (!collect(program)) {
        const long left = end - now_ms();
        if (left <= 0 && !killed) {
            inside::write_record(inside::kEntryLimit, "");
            kill(-1, SIGKILL);
            killed = true;
        }
        const long wait_ms = killed || left <= 0 ? 1000 : left;
        const timespec wait = {wait_ms / 1000, (wait_ms % 1000) * 1000000};
        (void)sigtimedwait(&child_signal, nullptr, &wait);  // woken by a child or by time: both look again
    }
}

}  // namespace

int main()
{
    static Plan plan;
    plan.limit_ms = 20000;
    sigset_t child_signal;
    sigset_t before;
    sigemptyset(&child_signal);
    sigaddset(&child_signal, SIGCHLD);
    sigprocmask(SIG_BLOCK, &child_signal, &before);
    umask(022);
    loopback_up();
    if (!read_plan(plan)) {
        return 2;
    }
    if (!redirect(STDIN_FILENO, "/dev/null", O_RDONLY) ||
        !redirect(STDOUT_FILENO, "/.bench/out.0", O_WRONLY | O_APPEND | O_CREAT) ||
        !redirect(STDERR_FILENO, inside::kErrors, O_WRONLY | O_APPEND | O_CREAT)) {
        return 2;
    }
    inside::write_record(inside::kEntryReady, "");
    const pid_t program = fork();
    if (program == 0) {
        become_program(plan, before);
    }
    if (program < 0) {
        perror("bench_init: cannot start a process");
        return 2;
    }
    wait_for_all(program, plan.limit_ms, child_signal);
    return 0;
}
