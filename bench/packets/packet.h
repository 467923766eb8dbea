// One packet, and the text people write for it:
//
//     tcp 198.51.100.7:40000 -> 203.0.113.10:443 syn
//
// PROTOCOL SOURCE[:PORT] -> DESTINATION[:PORT] and words:
//     syn ack fin rst psh urg   TCP flags; none given: syn for a new connection, ack for a running one
//     established related invalid   the connection's state; none given: new
//     reply          an answer within a running connection
//     for=ADDRESS[:PORT]   of an answer or a related packet: the host whose connection it belongs to
//     type=N code=N  of ICMP; none given: an echo request
//     payload=TEXT   what the packet carries; escapes \n \t \\ \xHH
//     schedule=on|off   the kernel's schedule flag, in place of its real state
//     over           more than every rate limit allows
//     scan           the scan detection has spoken
//     triggered      port triggering has opened the port
//     mark=none      the platform has not marked web traffic to the router's own pages
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bench/packets/network.h"
#include "bench/packets/rules.h"

namespace packets {

struct Endpoint {
    Address address = 0;
    int port = 0;
    bool operator==(const Endpoint &) const = default;
};

// What only run time knows.
struct Circumstances {
    bool schedule = false;
    bool over_limit = false;
    bool scan = false;
    bool triggered = false;
    bool web_mark = true;
    bool operator==(const Circumstances &) const = default;
};

struct Packet {
    Side from = Side::kWan;
    int protocol = kTcp;
    Endpoint source;  // ports: TCP and UDP alone
    Endpoint destination;
    int icmp_type = 8;
    int icmp_code = 0;
    uint8_t flags = kSyn;
    State state = kNew;
    // An answer: it runs against the direction in which the connection was opened.
    bool reply = false;
    bool has_owner = false;  // the host that a masqueraded connection belongs to is known
    Endpoint owner;
    std::string payload;
    Circumstances circumstances;
    bool operator==(const Packet &) const = default;
};

bool has_ports(int protocol);
std::string protocol_name(int protocol);  // "tcp"; "protocol 47" where there is no name
// The number of a protocol by name or number; -1: none.
int protocol_number(std::string_view text);

struct PacketText {
    Packet packet;
    std::vector<std::string> filled;  // sentences about what was left out: "to the router's WAN address"
    bool names_schedule = false;      // has the flag's state in its words
};

// `from`: the side it arrives from; none: the one its source belongs to. Throws Error for a text that is no
// packet.
PacketText parse_packet(std::string_view text, const Network &network, std::optional<Side> from);

// The packet in that form again; parse_packet reads it back.
std::string packet_text(const Packet &packet);
std::string endpoint_text(const Endpoint &endpoint, int protocol);

}  // namespace packets
