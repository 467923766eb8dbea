#include "bench/packets/walk.h"

#include <algorithm>

namespace packets {

namespace {

// What a chain made of a packet: an action that ends the table, or kReturn when it comes out at the end.
struct Outcome {
    Action action = Action::kReturn;
    const Rule *rule = nullptr;
};

class Walker {
  public:
    Walker(const RuleSet &rules, const Network &network, const Packet &packet)
        : rules_(rules), network_(network), packet_(packet)
    {
        way_.from = packet.source;
        way_.to = packet.destination;
        in_ = packet.from == Side::kRouter ? nullptr : &network.interface(packet.from);
    }

    Walk run()
    {
        if (packet_.from == Side::kRouter) {
            from_router();
        } else if (prerouting()) {
            route();
        }
        finish();
        return way_;
    }

  private:
    // ---- hooks ------------------------------------------------------------------------------------------

    bool prerouting() { return translate(Hook::kPrerouting); }

    // False: dropped.
    bool translate(Hook hook)
    {
        switch (packet_.state) {
            case kNew:
                return nat(hook);
            case kEstablished:
            case kRelated:
                translate_running();
                return true;
            default:
                return true;
        }
    }

    // A packet of a running connection meets no rule of table nat: it is translated as the first one was.
    void translate_running()
    {
        if (packet_.has_owner) {
            way_.to = packet_.owner;
            way_.notes.emplace_back("translated as an answer to " +
                                    endpoint_text(packet_.owner, packet_.protocol));
            return;
        }
        if (packet_.reply || packet_.state == kRelated) {
            return;
        }
        Packet first = packet_;
        first.state = kNew;
        first.circumstances.triggered = false;
        Walker opening(rules_, network_, first);
        if (opening.nat(packet_.from == Side::kRouter ? Hook::kOutput : Hook::kPrerouting)) {
            way_.to = opening.way_.to;
            if (way_.to != packet_.destination) {
                way_.notes.emplace_back("translated as the connection's first packet");
            }
        }
        mark_web(opening.translated_);
    }

    bool nat(Hook hook)
    {
        const Outcome outcome = run_built_in(rules_.nat, hook);
        switch (outcome.action) {
            case Action::kDrop:
                decide(Verdict::kDrop, outcome, rules_.nat, hook);
                return false;
            case Action::kDnat:
                translate_destination(outcome.rule->target);
                return true;
            case Action::kRedirect:
                redirect(outcome.rule->target);
                return true;
            case Action::kSnat:
            case Action::kMasquerade:
                translate_source(*outcome.rule);
                return true;
            default:
                return !drops_by_policy(rules_.nat, outcome, hook);
        }
    }

    bool drops_by_policy(const Table &table, const Outcome &outcome, Hook hook)
    {
        const Chain *chain = table.find(hook_name(hook));
        if (outcome.action != Action::kReturn || !chain->drops) {
            return false;
        }
        decide(Verdict::kDrop, outcome, table, hook);
        return true;
    }

    void route()
    {
        for (const RouteStep &step : route_steps(network_)) {
            if (!step.source.has(way_.from.address) || !step.destination.has(way_.to.address)) {
                continue;
            }
            if (step.way == Way::kNowhere) {
                way_.verdict = Verdict::kDrop;
                way_.reason = std::string("routing: ") + step.reason;
            } else if (step.way == Way::kLocal) {
                way_.out = Side::kRouter;
                (void)filter(Hook::kInput);
            } else {
                forward(step.out);
            }
            return;
        }
    }

    void forward(Side out)
    {
        way_.out = out;
        out_ = &network_.interface(out);
        if (filter(Hook::kForward)) {
            (void)postrouting();
        }
    }

    bool postrouting()
    {
        in_ = nullptr;
        return packet_.state != kNew || nat(Hook::kPostrouting);
    }

    // Over the loopback interface when it goes to the router itself.
    void from_router()
    {
        out_ = &network_.interface(side_of(network_, way_.to.address));
        if (!translate(Hook::kOutput)) {
            return;
        }
        way_.out = side_of(network_, way_.to.address);
        out_ = &network_.interface(way_.out);
        if (!filter(Hook::kOutput) || !postrouting() || way_.out != Side::kRouter) {
            return;
        }
        in_ = out_;
        out_ = nullptr;
        (void)filter(Hook::kInput);
    }

    bool filter(Hook hook)
    {
        way_.hook = hook;
        const Outcome outcome = run_built_in(rules_.filter, hook);
        const Chain *chain = rules_.filter.find(hook_name(hook));
        Verdict verdict = Verdict::kAccept;
        if (outcome.action == Action::kReject) {
            verdict = Verdict::kReject;
        } else if (outcome.action == Action::kDrop || (outcome.action == Action::kReturn && chain->drops)) {
            verdict = Verdict::kDrop;
        }
        decide(verdict, outcome, rules_.filter, hook);
        return verdict == Verdict::kAccept;
    }

    void decide(Verdict verdict, const Outcome &outcome, const Table &table, Hook hook)
    {
        way_.verdict = verdict;
        way_.decided = outcome.action == Action::kReturn ? nullptr : outcome.rule;
        if (way_.decided != nullptr) {
            way_.reason = way_.decided->text;
            way_.origin = decided_origin_;
        } else {
            way_.reason = std::string("policy of ") + hook_name(hook);
            way_.origin = table.find(hook_name(hook))->policy_origin;
        }
    }

    // ---- chains -----------------------------------------------------------------------------------------

    Outcome run_built_in(const Table &table, Hook hook)
    {
        hook_ = hook;
        table_ = &table;
        return run_chain(*table.find(hook_name(hook)));
    }

    Outcome run_chain(const Chain &chain, const Origin &caller = {})
    {
        for (const Rule &rule : chain.rules) {
            if (!matches(rule)) {
                continue;
            }
            way_.steps.push_back({hook_, chain.name, &rule});
            const Origin &origin = rule.origin.setting.empty() ? caller : rule.origin;
            if (rule.target.action == Action::kReturn) {
                return {};
            }
            if (rule.target.action == Action::kJump) {
                const Outcome outcome = run_chain(table_->chains[rule.target.chain_index], origin);
                if (outcome.action != Action::kReturn) {
                    return outcome;
                }
            } else if (ends_table(rule.target.action)) {
                decided_origin_ = origin;
                return {rule.target.action, &rule};
            } else if (rule.target.action == Action::kPnat) {
                mark_triggered(rule.target.mark);
            }
        }
        return {};
    }

    // ---- targets ----------------------------------------------------------------------------------------

    void mark_triggered(uint32_t mark)
    {
        const bool tcp = packet_.protocol == kTcp;
        const bool opened =
            packet_.from == Side::kWan &&
            std::any_of(network_.triggers.begin(), network_.triggers.end(), [&](const Trigger &t) {
                return (tcp ? t.tcp : t.udp && packet_.protocol == kUdp) && way_.to.port >= t.first_port &&
                       way_.to.port <= t.last_port;
            });
        way_.asked.trigger = way_.asked.trigger || opened;
        if (opened && packet_.circumstances.triggered) {
            mark_ = mark;
        }
    }

    static void choose_port(const Target &target, Endpoint &end)
    {
        if (target.maps_port && (end.port < target.first_port || end.port > target.last_port)) {
            end.port = target.first_port;
        }
    }

    void translate_destination(const Target &target)
    {
        if (target.maps_address) {
            way_.to.address = target.first;
            if (target.first != target.last) {
                way_.notes.emplace_back("the kernel picks one address of " + address_text(target.first) +
                                        "-" + address_text(target.last) + "; the first is taken here");
            }
        }
        choose_port(target, way_.to);
        translated_ = true;
        mark_web(true);
    }

    // To the address of the interface it came in by; what the router itself sends, to itself.
    void redirect(const Target &target)
    {
        const bool from_wan = packet_.from == Side::kWan && network_.wan_address;
        way_.to.address = packet_.from == Side::kRouter ? 0x7f000001
                          : from_wan                    ? *network_.wan_address
                                                        : network_.lan_address;
        choose_port(target, way_.to);
        translated_ = true;
        mark_web(true);
    }

    // Marked by the platform: web traffic that was redirected to the router's own pages.
    void mark_web(bool translated)
    {
        if (translated && packet_.protocol == kTcp && network_.is_own(way_.to.address) &&
            way_.to.port == kWebPort) {
            way_.asked.web_mark = true;
            mark_ = packet_.circumstances.web_mark ? kWebMark : mark_;
        }
    }

    void translate_source(const Rule &rule)
    {
        if (rule.target.action == Action::kSnat && rule.target.maps_address) {
            way_.from.address = rule.target.first;
        } else if (rule.target.action == Action::kMasquerade) {
            const bool to_wan = way_.out == Side::kWan && network_.wan_address;
            way_.from.address = to_wan ? *network_.wan_address : network_.lan_address;
        }
        choose_port(rule.target, way_.from);
    }

    // ---- matches ----------------------------------------------------------------------------------------

    bool matches(const Rule &rule)
    {
        // Matches that ask run time come last, so that only those that count are named.
        const auto asks = [](const Match &match) {
            return std::holds_alternative<LimitMatch>(match) || std::holds_alternative<ScanMatch>(match) ||
                   std::holds_alternative<ScheduleMatch>(match);
        };
        for (const bool asking : {false, true}) {
            for (const Match &match : rule.matches) {
                if (asks(match) == asking && !std::visit([&](const auto &m) { return fits(m); }, match)) {
                    return false;
                }
            }
        }
        return true;
    }

    bool fits(const InterfaceMatch &match) const
    {
        const std::string *name = match.output ? out_ : in_;
        if (name == nullptr) {
            return match.negated;
        }
        const bool prefix = match.name.ends_with('+');
        const bool same =
            prefix ? name->starts_with(match.name.substr(0, match.name.size() - 1)) : *name == match.name;
        return same != match.negated;
    }

    Address address(bool destination) const { return destination ? way_.to.address : way_.from.address; }

    bool fits(const AddressMatch &match) const
    {
        return match.net.has(address(match.destination)) != match.negated;
    }

    bool fits(const ProtocolMatch &match) const
    {
        return (match.number == 0 || match.number == packet_.protocol) != match.negated;
    }

    bool fits(const PortMatch &match) const
    {
        const int port = match.destination ? way_.to.port : way_.from.port;
        return (port >= match.first && port <= match.last) != match.negated;
    }

    bool fits(const IcmpMatch &match) const
    {
        const bool fit =
            match.type == 255 || (packet_.icmp_type == match.type && packet_.icmp_code >= match.first_code &&
                                  packet_.icmp_code <= match.last_code);
        return fit != match.negated;
    }

    bool fits(const FlagMatch &match) const
    {
        return ((packet_.flags & match.looked_at) == match.set) != match.negated;
    }

    bool fits(const StateMatch &match) const
    {
        return ((packet_.state & match.states) != 0) != match.negated;
    }

    bool fits(const LimitMatch &)
    {
        way_.asked.limit = true;
        return !packet_.circumstances.over_limit;
    }

    bool fits(const RangeMatch &match) const
    {
        const Address at = address(match.destination);
        return (at >= match.first && at <= match.last) != match.negated;
    }

    bool fits(const StringMatch &match) const
    {
        return (packet_.payload.find(match.text) != std::string::npos) != match.negated;
    }

    bool fits(const MarkMatch &match) const { return ((mark_ & match.mask) == match.value) != match.negated; }

    bool fits(const ScheduleMatch &match)
    {
        way_.asked.schedule = true;
        return packet_.circumstances.schedule != match.negated;
    }

    bool fits(const ScanMatch &)
    {
        way_.asked.scan = true;
        return packet_.circumstances.scan;
    }

    // ---- the end ----------------------------------------------------------------------------------------

    void finish()
    {
        const bool turned = way_.verdict == Verdict::kAccept && packet_.state == kNew && translated_ &&
                            packet_.from == Side::kLan && way_.out == Side::kLan &&
                            way_.from == packet_.source;
        if (turned) {
            way_.notes.emplace_back(
                "the answer goes straight from " + address_text(way_.to.address) + " to " +
                address_text(way_.from.address) +
                " without passing the router, from an address that was not asked: no connection "
                "comes about");
        }
        if (way_.verdict == Verdict::kAccept && packet_.from == Side::kWan && way_.out == Side::kWan) {
            way_.notes.emplace_back(address_text(way_.to.address) +
                                    " is not on the LAN: the packet goes out by " + network_.wan_if +
                                    ", where it came in");
        }
    }

    const RuleSet &rules_;
    const Network &network_;
    const Packet &packet_;
    Walk way_;
    Hook hook_ = Hook::kPrerouting;
    const Table *table_ = nullptr;
    const std::string *in_ = nullptr;
    const std::string *out_ = nullptr;
    uint32_t mark_ = 0;
    bool translated_ = false;
    Origin decided_origin_;
};

}  // namespace

const char *hook_name(Hook hook)
{
    switch (hook) {
        case Hook::kPrerouting:
            return "PREROUTING";
        case Hook::kInput:
            return "INPUT";
        case Hook::kForward:
            return "FORWARD";
        case Hook::kOutput:
            return "OUTPUT";
        case Hook::kPostrouting:
            return "POSTROUTING";
    }
    return "";
}

const char *verdict_name(Verdict verdict)
{
    switch (verdict) {
        case Verdict::kAccept:
            return "accept";
        case Verdict::kDrop:
            return "drop";
        case Verdict::kReject:
            return "reject";
    }
    return "";
}

Walk walk(const RuleSet &rules, const Network &network, const Packet &packet)
{
    return Walker(rules, network, packet).run();
}

}  // namespace packets
