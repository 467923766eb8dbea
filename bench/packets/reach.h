// Questions about all packets at once, answered with tables: what is let in, what a change opens and closes,
// whether a sentence about the filter holds. Nothing is sampled: the rows of an answer together are the set
// that was asked for.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bench/packets/flow.h"

namespace packets {

// Part of a set, as a product: each of these protocols and ports, from each of these sources, under these
// circumstances.
struct Row {
    std::string protocol;  // "tcp", "tcp, udp", "all but icmp", "all"
    std::string ports;     // destination ports as asked for: "443", "20-21", "any"; of icmp "type 8"
    std::string
        from;  // "any", "198.51.100.0/24", "all but 192.168.0.9"; of those that the kernel takes packets from
    std::string from_ports = "any";
    std::string asked;  // the destination address as asked for
    std::string to;  // where it ends: "192.168.0.20:443"; "the router", "any"... where it is not translated
    std::vector<std::string> when;    // circumstances it needs: "schedule", "payload with \"casino\""...
    std::vector<std::string> unless;  // circumstances that keep it from being so: "over the limit"...
    Verdict verdict = Verdict::kAccept;
    Hook hook = Hook::kForward;
    bool before_filter = false;  // dropped by table nat or the routing decision
    Side out = Side::kRouter;
    std::string reason;
    Origin origin;              // behind the verdict
    Origin translation_origin;  // behind the translation, if any
    Set packets;
    Packet example;  // where it was asked for
};

// New connections from a side: for TCP the packet with SYN alone.
Set new_connections(const Space &space, Side from);
// Packets in running connections that carry data, from a side.
Set running_data(const Space &space, Side from);

std::vector<Row> rows_of(const Space &space, const Network &network, const std::vector<Piece> &pieces,
                         bool examples = true);

// The union of the pieces with this verdict.
Set accepted(const std::vector<Piece> &pieces);

// ---- differences
// --------------------------------------------------------------------------------------------

struct Difference {
    std::vector<Row> opened;
    std::vector<Row> closed;  // with what stops them now
    std::vector<Row> moved;   // accepted before and after, but with another destination: the new one
    bool empty() const { return opened.empty() && closed.empty() && moved.empty(); }
};

// `before` and `after` are pieces of the same set of packets.
Difference difference(const Space &space, const Network &network, const std::vector<Piece> &before,
                      const std::vector<Piece> &after);

// ---- sentences
// ----------------------------------------------------------------------------------------------

// "never wan -> router:80 tcp unless by fw_remote": the words
//     never|always  SIDE[ NET...] -> PLACE[:PORT[-PORT]] [PROTOCOL] [unless CONDITION, CONDITION...]
// SIDE is wan, lan, tunnel or router; NET an address, a subnet or a range its packets come from; PLACE a side
// or an address, of "never" where a packet ends, of "always" where it is sent; CONDITION "by KEY": what rules
// of this setting let in does not count; or "KEY=VALUE": the sentence is about routers without this setting;
// or what only run time knows, in the words of a packet or of a table: "over" or "over the limit", "scan" or
// "scan seen", "triggered" or "triggered port", "schedule=on", "schedule=off": packets then do not count.
struct Condition {
    bool by = false;
    std::string key;
    std::string value;
};

// A circumstance of a packet: its bit and value.
struct Circumstance {
    int bit = 0;
    bool value = true;
};

struct Sentence {
    std::string text;
    bool always = false;
    Side from = Side::kWan;
    std::vector<std::string> nets;
    std::string place;
    int first_port = -1;  // none: every port
    int last_port = -1;
    int protocol = -1;  // none: every protocol
    std::vector<Condition> unless;
    std::vector<Circumstance> left_out;
};

// Throws Error for words that are no sentence.
Sentence parse_sentence(std::string_view text);

// The packets that break it; empty: it holds, and that is a proof. `pieces` are those of its side's new
// connections.
Set broken_by(const Sentence &sentence, const Space &space, const Network &network,
              const std::vector<Piece> &pieces);

}  // namespace packets
