// The workstation's kernel as a judge: rules really loaded in a network namespace of their own, packets
// really sent.
//
//        lan0 ----- br0  [the router]  ppp0 ----- wan0
//
// Frames go in at lan0 and wan0 and come out there; what is for the router itself comes out of raw sockets.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/packets/network.h"
#include "bench/packets/packet.h"

namespace kernel {

enum class Where { kNowhere, kRouter, kLan, kWan };

struct Arrival {
    Where where = Where::kNowhere;
    packets::Endpoint source;
    packets::Endpoint destination;
};

struct Judgement {
    std::string error;  // not empty: no judge here, or the rules could not be loaded
    std::vector<Arrival> arrivals;
};

// Each packet opens a connection of its own: TCP, UDP or an echo request, with the source port (or the echo's
// number) that it has here, from the LAN or the Internet.
Judgement judge(const std::string &restore_file, const packets::Network &network,
                const std::vector<packets::Packet> &packets);

}  // namespace kernel
