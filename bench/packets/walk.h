// One packet on its way through the rules, step by step, in the kernel's order: nat PREROUTING for the first
// packet of a connection, the routing decision, filter INPUT or FORWARD, nat POSTROUTING. What the router
// itself sends begins with nat OUTPUT and filter OUTPUT.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/packets/network.h"
#include "bench/packets/packet.h"
#include "bench/packets/rules.h"

namespace packets {

enum class Hook { kPrerouting, kInput, kForward, kOutput, kPostrouting };

const char *hook_name(Hook hook);  // "PREROUTING"...

enum class Verdict { kAccept, kDrop, kReject };

const char *verdict_name(Verdict verdict);  // "accept", "drop", "reject"

// A rule that matched.
struct Step {
    Hook hook = Hook::kPrerouting;
    std::string chain;
    const Rule *rule = nullptr;
};

// What the answer rests on besides the rules.
struct Asked {
    bool schedule = false;
    bool limit = false;
    bool scan = false;
    bool trigger = false;
    bool web_mark = false;
    bool operator==(const Asked &) const = default;
};

struct Walk {
    Verdict verdict = Verdict::kAccept;
    std::optional<Hook> hook;  // INPUT, FORWARD or OUTPUT; none: dropped before
    Side out = Side::kRouter;  // accepted: where it goes
    Endpoint from;             // after translation
    Endpoint to;
    std::vector<Step> steps;
    const Rule *decided = nullptr;  // none: a policy, or the routing decision
    std::string reason;             // what decided: a rule's text, "policy of INPUT", why routing dropped it
    Origin origin;  // behind the decision: that of the last rule on the way to it that has one
    Asked asked;
    std::vector<std::string> notes;
};

// The steps point into `rules`.
Walk walk(const RuleSet &rules, const Network &network, const Packet &packet);

}  // namespace packets
