#include "tests/packets/kernel.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace kernel {

namespace {

using packets::Address;
using packets::Packet;
using Bytes = std::vector<uint8_t>;

constexpr uint16_t kSignalType =
    0x88b5;  // frames of no protocol, to know that what was sent before has been dealt with
constexpr int kPatience = 5000;  // milliseconds

// ---- bytes
// --------------------------------------------------------------------------------------------------

void put16(Bytes &bytes, unsigned value)
{
    bytes.push_back(static_cast<uint8_t>(value >> 8));
    bytes.push_back(static_cast<uint8_t>(value & 255));
}

void put32(Bytes &bytes, uint32_t value)
{
    put16(bytes, value >> 16);
    put16(bytes, value & 0xffff);
}

unsigned get16(const uint8_t *bytes)
{
    return static_cast<unsigned>(bytes[0] << 8 | bytes[1]);
}

uint32_t get32(const uint8_t *bytes)
{
    return get16(bytes) << 16 | get16(bytes + 2);
}

unsigned sum(const Bytes &bytes, unsigned start = 0)
{
    unsigned total = start;
    for (size_t i = 0; i < bytes.size(); ++i) {
        total += i % 2 == 0 ? static_cast<unsigned>(bytes[i]) << 8 : bytes[i];
    }
    while (total >> 16 != 0) {
        total = (total & 0xffff) + (total >> 16);
    }
    return total;
}

void set_sum(Bytes &bytes, size_t at, unsigned total)
{
    const unsigned check = ~total & 0xffff;
    bytes[at] = static_cast<uint8_t>(check >> 8);
    bytes[at + 1] = static_cast<uint8_t>(check & 255);
}

Bytes tcp(const Packet &packet)
{
    Bytes bytes;
    put16(bytes, static_cast<unsigned>(packet.source.port));
    put16(bytes, static_cast<unsigned>(packet.destination.port));
    put32(bytes, 1000);
    put32(bytes, (packet.flags & packets::kAck) != 0 ? 2000 : 0);
    put16(bytes, 0x5000U | packet.flags);
    put16(bytes, 8192);
    put32(bytes, 0);
    return bytes;
}

Bytes udp(const Packet &packet)
{
    Bytes bytes;
    put16(bytes, static_cast<unsigned>(packet.source.port));
    put16(bytes, static_cast<unsigned>(packet.destination.port));
    put16(bytes, static_cast<unsigned>(8 + packet.payload.size()));
    put16(bytes, 0);
    return bytes;
}

Bytes echo(const Packet &packet)
{
    Bytes bytes = {static_cast<uint8_t>(packet.icmp_type), static_cast<uint8_t>(packet.icmp_code), 0, 0};
    put16(bytes, static_cast<unsigned>(packet.source.port));
    put16(bytes, 1);
    return bytes;
}

Bytes transport(const Packet &packet)
{
    const bool is_tcp = packet.protocol == packets::kTcp;
    const bool is_icmp = packet.protocol == packets::kIcmp;
    Bytes bytes = is_tcp ? tcp(packet) : is_icmp ? echo(packet) : udp(packet);
    bytes.insert(bytes.end(), packet.payload.begin(), packet.payload.end());
    Bytes pseudo;
    if (!is_icmp) {
        put32(pseudo, packet.source.address);
        put32(pseudo, packet.destination.address);
        put16(pseudo, static_cast<unsigned>(packet.protocol));
        put16(pseudo, static_cast<unsigned>(bytes.size()));
    }
    set_sum(bytes, is_tcp ? 16 : is_icmp ? 2 : 6, sum(bytes, sum(pseudo)));
    return bytes;
}

Bytes ip(const Packet &packet, unsigned id)
{
    const Bytes inner = transport(packet);
    Bytes bytes = {0x45, 0};
    put16(bytes, static_cast<unsigned>(20 + inner.size()));
    put16(bytes, id);
    put16(bytes, 0x4000);
    put16(bytes, 64U << 8 | static_cast<unsigned>(packet.protocol));
    put16(bytes, 0);
    put32(bytes, packet.source.address);
    put32(bytes, packet.destination.address);
    set_sum(bytes, 10, sum(bytes));
    bytes.insert(bytes.end(), inner.begin(), inner.end());
    return bytes;
}

// ---- the namespace
// ------------------------------------------------------------------------------------------

void write_file(const char *path, const std::string &text)
{
    std::ofstream(path) << text;
}

bool enter_namespace()
{
    const uid_t user = geteuid();
    if (unshare(CLONE_NEWNET) == 0) {
        return true;
    }
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
        return false;
    }
    write_file("/proc/self/setgroups", "deny");
    write_file("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    return true;
}

std::string set_up_commands(const packets::Network &network)
{
    const std::string lan =
        packets::address_text(network.lan_address) + "/" + std::to_string(network.lan_bits);
    const std::string wan =
        packets::address_text(*network.wan_address) + "/" + std::to_string(network.wan_bits);
    std::string commands =
        "set -e; exec 2>&1\n"
        "echo 1 >/proc/sys/net/ipv6/conf/all/disable_ipv6 || :\n"
        "ip link set lo up\n"
        "ip link add br0 address 02:00:00:00:00:01 type veth peer name lan0 address 02:00:00:00:00:11\n"
        "ip link add ppp0 address 02:00:00:00:00:02 type veth peer name wan0 address 02:00:00:00:00:12\n"
        "for i in all default br0 ppp0; do echo 0 >/proc/sys/net/ipv4/conf/$i/rp_filter; done\n"
        "for i in br0 ppp0 lan0 wan0; do ip link set $i arp off; ip link set $i up; done\n"
        "ip address add " +
        lan + " broadcast + dev br0\nip address add " + wan +
        " dev ppp0\n"
        "ip route add default dev ppp0\n"
        "echo 1 >/proc/sys/net/ipv4/ip_forward\n";
    for (const packets::Route &route : network.routes) {
        if (route.side == packets::Side::kLan) {
            commands += "ip route add " + packets::address_text(route.net.address) + "/" +
                        std::to_string(__builtin_popcount(route.net.mask)) + " dev br0\n";
        }
    }
    return commands;
}

std::string output_of(const std::string &command, bool &done)
{
    FILE *pipe = popen(command.c_str(), "r");
    std::string output;
    char piece[512];
    size_t got = 0;
    while (pipe != nullptr && (got = fread(piece, 1, sizeof piece, pipe)) > 0) {
        output.append(piece, got);
    }
    done = pipe != nullptr && pclose(pipe) == 0;
    return output;
}

std::string set_up(const std::string &restore_file, const packets::Network &network)
{
    bool done = false;
    std::string output = output_of(set_up_commands(network), done);
    if (!done) {
        return "no network: " + output;
    }
    char name[] = "/tmp/judge-XXXXXX";
    const int file = mkstemp(name);
    const bool written =
        write(file, restore_file.data(), restore_file.size()) == static_cast<ssize_t>(restore_file.size());
    close(file);
    const std::string lock = std::string("XTABLES_LOCKFILE=") + name + ".lock ";
    output = output_of(lock + "iptables-legacy-restore <" + name + " 2>&1", done);
    std::filesystem::remove(name);
    std::filesystem::remove(std::string(name) + ".lock");
    return written && done ? "" : "rules not loaded: " + output;
}

// ---- sockets
// ------------------------------------------------------------------------------------------------

int frame_socket(const char *interface, uint16_t type)
{
    const int s = socket(AF_PACKET, SOCK_RAW, htons(type));
    sockaddr_ll address = {};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(type);
    address.sll_ifindex = static_cast<int>(if_nametoindex(interface));
    (void)bind(s, reinterpret_cast<sockaddr *>(&address), sizeof address);
    return s;
}

class Sockets {
  public:
    Sockets()
        : lan_(frame_socket("lan0", ETH_P_IP)),
          wan_(frame_socket("wan0", ETH_P_IP)),
          signal_(frame_socket("br0", kSignalType)),
          local_{socket(AF_INET, SOCK_RAW, IPPROTO_TCP), socket(AF_INET, SOCK_RAW, IPPROTO_UDP),
                 socket(AF_INET, SOCK_RAW, IPPROTO_ICMP)}
    {
    }

    bool ready() const { return lan_ >= 0 && wan_ >= 0 && signal_ >= 0 && local_[0] >= 0; }

    // False: the kernel did not deal with it in time.
    bool send_packet(const Packet &packet, unsigned id, Arrival &arrival)
    {
        const bool from_lan = packet.from == packets::Side::kLan;
        send_frame(from_lan ? lan_ : wan_, from_lan ? 1 : 2, ETH_P_IP, ip(packet, id));
        // What a packet causes stands behind the first signal, and before the second.
        if (!signal() || !signal()) {
            return false;
        }
        arrival = {};
        for (const int s : local_) {
            drain(s, 0, id, Where::kRouter, arrival);
        }
        drain(lan_, ETH_HLEN, id, Where::kLan, arrival);
        drain(wan_, ETH_HLEN, id, Where::kWan, arrival);
        return true;
    }

  private:
    static void send_frame(int s, uint8_t last, uint16_t type, const Bytes &inner)
    {
        Bytes frame = {2, 0, 0, 0, 0, last, 2, 0, 0, 0, 0, 0x21};
        put16(frame, type);
        frame.insert(frame.end(), inner.begin(), inner.end());
        frame.resize(std::max<size_t>(frame.size(), 60));
        (void)send(s, frame.data(), frame.size(), 0);
    }

    bool signal()
    {
        send_frame(lan_, 1, kSignalType, {});
        pollfd wanted = {signal_, POLLIN, 0};
        uint8_t bytes[256];
        return poll(&wanted, 1, kPatience) == 1 && recv(signal_, bytes, sizeof bytes, 0) > 0;
    }

    static void drain(int s, size_t header, unsigned id, Where where, Arrival &arrival)
    {
        uint8_t bytes[2048];
        for (ssize_t got = 0; (got = recv(s, bytes, sizeof bytes, MSG_DONTWAIT)) > 0;) {
            const uint8_t *packet = bytes + header;
            if (static_cast<size_t>(got) < header + 28 || get16(packet + 4) != id) {
                continue;
            }
            const bool ports = packet[9] == packets::kTcp || packet[9] == packets::kUdp;
            arrival.where = where;
            arrival.source = {get32(packet + 12), ports ? static_cast<int>(get16(packet + 20)) : 0};
            arrival.destination = {get32(packet + 16), ports ? static_cast<int>(get16(packet + 22)) : 0};
        }
    }

    int lan_;
    int wan_;
    int signal_;
    int local_[3];
};

// ---- the child
// ----------------------------------------------------------------------------------------------

void pin_to_one_processor()
{
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<size_t>(sched_getcpu()), &one);
    (void)sched_setaffinity(0, sizeof one, &one);
}

std::string run(const std::string &restore_file, const packets::Network &network,
                const std::vector<Packet> &packets, std::vector<Arrival> &arrivals)
{
    if (!enter_namespace()) {
        return "no network namespace";
    }
    const std::string error = set_up(restore_file, network);
    if (!error.empty()) {
        return error;
    }
    pin_to_one_processor();
    Sockets sockets;
    if (!sockets.ready()) {
        return "no raw sockets";
    }
    unsigned id = 0x1000;
    for (const Packet &packet : packets) {
        Arrival arrival;
        if (!sockets.send_packet(packet, ++id, arrival)) {
            return "the kernel is silent";
        }
        arrivals.push_back(arrival);
    }
    return "";
}

}  // namespace

Judgement judge(const std::string &restore_file, const packets::Network &network,
                const std::vector<Packet> &packets)
{
    int ends[2];
    if (pipe(ends) != 0) {
        return {"no pipe", {}};
    }
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        std::vector<Arrival> arrivals;
        std::string error = run(restore_file, network, packets, arrivals);
        error.resize(1024);
        (void)!write(ends[1], error.data(), error.size());
        (void)!write(ends[1], arrivals.data(), arrivals.size() * sizeof(Arrival));
        _exit(0);
    }
    close(ends[1]);
    std::string bytes;
    char piece[4096];
    for (ssize_t got = 0; (got = read(ends[0], piece, sizeof piece)) > 0;) {
        bytes.append(piece, static_cast<size_t>(got));
    }
    close(ends[0]);
    (void)waitpid(child, nullptr, 0);
    Judgement judgement;
    judgement.error = bytes.size() < 1024 ? "the judge died" : bytes.substr(0, bytes.find('\0'));
    if (judgement.error.empty()) {
        judgement.arrivals.resize((bytes.size() - 1024) / sizeof(Arrival));
    }
    if (!judgement.arrivals.empty()) {
        memcpy(judgement.arrivals.data(), bytes.data() + 1024, judgement.arrivals.size() * sizeof(Arrival));
    }
    return judgement;
}

}  // namespace kernel
