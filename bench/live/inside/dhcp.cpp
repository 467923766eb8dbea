// The LAN's DHCP server: busybox's, whose leases stand in the router's file in the router's form all the
// time.
//
// The router's file is a row of 104-byte records (hardware address in 16 bytes, address, seconds, name in 64
// bytes, hardware address again); busybox's begins with the time it was written, followed by 36-byte records
// (seconds left, address, hardware address in 6 bytes, name in 20 bytes). Numbers are in network byte order
// in both.
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <sstream>

#include "bench/live/inside/tool.h"

namespace live_tool {

namespace {

constexpr const char *kRouterLeases = "/var/udhcpd.leases";
constexpr const char *kLeases = "/tmp/var/lib-udhcpd.leases";
constexpr const char *kSettings = "/tmp/var/lib-udhcpd.conf";
constexpr size_t kRouterRecord = 104;
constexpr size_t kRecord = 36;
constexpr int kLook = 100;  // milliseconds between two looks at the leases

std::string number(uint64_t value, int bytes)
{
    std::string text;
    for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) {
        text += static_cast<char>(value >> shift & 255);
    }
    return text;
}

std::string padded(std::string text, size_t size)
{
    text.resize(size);
    return text;
}

// The records up to the first without an address.
std::string from_router(const std::string &bytes)
{
    std::string text = number(static_cast<uint64_t>(time(nullptr)), 8);
    for (size_t at = 0; at + kRouterRecord <= bytes.size(); at += kRouterRecord) {
        const std::string record = bytes.substr(at, kRouterRecord);
        const std::string address = record.substr(16, 4);
        if (address == std::string(4, '\0')) {
            break;
        }
        const std::string name = record.substr(24, 64);
        text += record.substr(20, 4) + address + record.substr(0, 6) +
                padded(padded(name.substr(0, name.find('\0')), 19), 20) + std::string(2, '\0');
    }
    return text;
}

std::string to_router(const std::string &bytes)
{
    std::string text;
    for (size_t at = 8; at + kRecord <= bytes.size(); at += kRecord) {
        const std::string record = bytes.substr(at, kRecord);
        text += padded(record.substr(8, 6), 16) + record.substr(4, 4) + record.substr(0, 4) +
                padded(record.substr(14, 20), 64) + padded(record.substr(8, 6), 16);
    }
    return text;
}

// The router's settings file has a word that busybox's server takes for nothing, and lacks others.
std::string settings_of(const std::string &file)
{
    std::istringstream lines(read_file(file));
    std::string text = std::string("lease_file ") + kLeases + "\npidfile /tmp/var/run/lan-udhcpd.pid\n";
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("server")) {
            text += line + "\n";
        }
    }
    return text;
}

uint32_t seconds_at(const std::string &leases, size_t record)
{
    uint32_t seconds = 0;
    for (size_t i = 0; i < 4; ++i) {
        seconds = seconds << 8 | static_cast<unsigned char>(leases[record + 20 + i]);
    }
    return seconds;
}

// Whether nothing happened but that the seconds left became fewer.
bool only_counts_down(const std::string &now, const std::string &known)
{
    if (now.size() != known.size()) {
        return false;
    }
    for (size_t at = 0; at + kRouterRecord <= now.size(); at += kRouterRecord) {
        if (seconds_at(now, at) > seconds_at(known, at) || now.compare(at, 20, known, at, 20) != 0) {
            return false;
        }
    }
    return true;
}

// Signals that end the server, and the end of the server itself; the one that came, 0 after `patience`.
int wait_for_end(int signals, int patience)
{
    pollfd asked = {signals, POLLIN, 0};
    signalfd_siginfo came = {};
    if (poll(&asked, 1, patience) > 0 && read(signals, &came, sizeof came) == sizeof came) {
        return static_cast<int>(came.ssi_signo);
    }
    return 0;
}

// Brings the router's file up to date for as long as the server lives.
int keep_leases(pid_t server, int signals)
{
    std::string known = to_router(read_file(kLeases));
    for (;;) {
        const int came = wait_for_end(signals, kLook);
        if (came == SIGTERM || came == SIGINT) {
            kill(server, SIGKILL);
        }
        if (came != 0) {
            while (waitpid(server, nullptr, 0) < 0 && errno == EINTR) {
            }
            return 0;
        }
        kill(server, SIGUSR1);  // write the leases
        const std::string now = to_router(read_file(kLeases));
        if (!now.empty() && !only_counts_down(now, known)) {
            known = now;
            write_file(kRouterLeases, now);
        }
    }
}

}  // namespace

int dhcp(const Words &words)
{
    if (words.empty()) {
        return 2;
    }
    sigset_t wanted;
    sigset_t before;
    sigemptyset(&wanted);
    for (const int signal : {SIGTERM, SIGINT, SIGCHLD}) {
        sigaddset(&wanted, signal);
    }
    sigprocmask(SIG_BLOCK, &wanted, &before);
    const int signals = signalfd(-1, &wanted, SFD_CLOEXEC);
    prctl(PR_SET_NAME, "udhcpd");
    write_file(kLeases, from_router(read_file(kRouterLeases)));
    write_file(kSettings, settings_of(words[0]));
    const pid_t server = fork();
    if (server == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        (void)signal(SIGUSR1, SIG_IGN);  // until it is ready for it
        sigprocmask(SIG_SETMASK, &before, nullptr);
        _exit(become("/.live/busybox", {"udhcpd", "-f", "-a", "1", kSettings}));
    }
    return keep_leases(server, signals);
}

}  // namespace live_tool
