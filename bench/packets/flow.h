// All packets at once on their way through the rules, as sets: the whole of them falls into pieces, each with
// one fate.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/packets/network.h"
#include "bench/packets/rules.h"
#include "bench/packets/space.h"
#include "bench/packets/walk.h"

namespace packets {

// What table nat made of the destination; none: it stays.
struct View {
    std::optional<Address> address;
    std::optional<int> port;
    bool operator==(const View &) const = default;
};

struct Piece {
    Set packets;  // as they arrive, before any translation
    Verdict verdict = Verdict::kAccept;
    std::optional<Hook> hook;  // as in Walk
    Side out = Side::kRouter;
    View to;
    const Rule *decided = nullptr;     // none: a policy, or the routing decision
    const Rule *translated = nullptr;  // the rule that gave the destination
    std::string reason;                // as in Walk
    Origin origin;                     // of the last rule on the way to the decision that has one
    Origin translation_origin;
};

// What became of the packets that came to a rule, over all hooks and translations.
struct Traffic {
    Set arrived;
    Set matched;
};

// The pieces of `packets`; together they are the whole of it, and no packet is in two.
std::vector<Piece> flow(const Space &space, const RuleSet &rules, const Network &network, const Set &packets);

enum class Idle {
    kNever,      // no packet can fit its matches
    kShadowed,   // other lines take all that would fit
    kNoTraffic,  // nothing that would fit comes to its chain
    kRedundant,  // without it the packets it decides about would fare the same
};

// A line that could go without a difference to any packet.
struct IdleLine {
    const Rule *rule = nullptr;
    std::string table;
    std::string chain;
    Idle kind = Idle::kNever;
    // Shadowed: the lines that take its packets. Redundant: those that would decide in its place.
    std::vector<const Rule *> covered_by = {};
    std::string policy = {};  // redundant: the policy that would
};

// In the order of tables and chains. Lines that only log or mark are never redundant; a line of table nat is
// at most shadowed.
std::vector<IdleLine> idle_lines(const Space &space, const RuleSet &rules, const Network &network);

}  // namespace packets
