#include "bench/packets/flow.h"

#include <algorithm>
#include <map>
#include <span>
#include <unordered_map>

namespace packets {

namespace {

constexpr Address kWholeMask = ~Address{0};

// How `-i` reads where a chain is called.
enum class Arrival { kBySide, kNone, kLoopback, kAny };

// Where in the kernel a set of packets is.
struct Place {
    const Table *table = nullptr;
    Hook hook = Hook::kPrerouting;
    Arrival arrival = Arrival::kBySide;
    std::optional<Side> out = std::nullopt;
    View to = {};
};

// Packets that a rule ended the way of.
struct Ended {
    const Rule *rule = nullptr;
    Origin origin;
    Set packets;
};

// What is noted of each rule on the way, over all hooks and translations.
struct Observed {
    bool arrives = false;    // something that fits came to its chain
    bool matches = false;    // and to the rule itself
    bool decides = false;    // it ended some packet's way
    bool is_needed = false;  // and without it some would have fared differently
    std::vector<const Rule *> shadowed_by = {};
    std::vector<const Rule *> replaced_by = {};  // rules that would decide in its place
    std::string policy = {};                     // the policy that would
};

using Observations = std::unordered_map<const Rule *, Observed>;

void add_once(std::vector<const Rule *> &rules, const Rule *rule)
{
    if (std::find(rules.begin(), rules.end(), rule) == rules.end()) {
        rules.push_back(rule);
    }
}

class Flow {
  public:
    // `observations`: filled where it is given.
    Flow(const Space &space, const RuleSet &rules, const Network &network,
         Observations *observations = nullptr)
        : space_(space),
          rules_(rules),
          network_(network),
          steps_(route_steps(network)),
          observations_(observations)
    {
    }

    // The packets that fit a rule where they arrive.
    Set fitting(const Rule &rule)
    {
        return hits(rule, space_.packets(), {&rules_.filter, Hook::kForward, Arrival::kAny}, {});
    }

    std::vector<Piece> run(const Set &packets)
    {
        const Set router = packets & space_.side(Side::kRouter);
        arrive(packets - router);
        leave(router);
        return std::move(pieces_);
    }

  private:
    using Marks = std::map<uint32_t, Set>;

    // What is known of packets before the filter tables see them.
    struct Bundle {
        Set packets;
        View to = {};
        const Rule *translated = nullptr;
        Origin origin = {};
        Marks marks = {};
    };

    // ---- hooks ------------------------------------------------------------------------------------------

    void arrive(const Set &packets)
    {
        for (const Bundle &bundle : translate(packets, {&rules_.nat, Hook::kPrerouting})) {
            route(bundle);
        }
    }

    void leave(const Set &packets)
    {
        Set left = packets;
        for (const auto &[net_to, side] : ways_out()) {
            const Set taken = left & space_.net(true, net_to);
            left -= taken;
            for (const Bundle &bundle :
                 translate(taken, {&rules_.nat, Hook::kOutput, Arrival::kNone, side})) {
                leave(bundle);
            }
        }
    }

    std::vector<Bundle> translate(const Set &packets, const Place &place)
    {
        std::vector<Bundle> bundles;
        nat_first(packets & space_.states(kNew), place, true, bundles);
        nat_running(packets & space_.states(kEstablished), place, bundles);
        add(bundles, {packets & space_.states(kRelated | kInvalid)});
        return bundles;
    }

    static void add(std::vector<Bundle> &bundles, Bundle bundle)
    {
        if (!bundle.packets.empty()) {
            bundles.push_back(std::move(bundle));
        }
    }

    // The first packets of connections; what is dropped becomes a piece where `drops` says so, else goes on.
    void nat_first(const Set &packets, const Place &place, bool drops, std::vector<Bundle> &bundles)
    {
        Marks marks;
        std::vector<Ended> ended;
        Set left = run_chain(built_in(place), packets, {place, marks, ended});
        const bool policy_drops = built_in(place).drops;
        for (const Ended &end : ended) {
            if (end.rule->target.action == Action::kDrop && drops) {
                finish(end, place, {end.packets, {}, nullptr, {}, {}}, Verdict::kDrop);
            } else if (end.rule->target.action == Action::kDnat ||
                       end.rule->target.action == Action::kRedirect) {
                translate_hits(end, marks, bundles);
            } else {
                left |= end.packets;
            }
        }
        if (policy_drops && drops) {
            finish_by_policy(left, place, {left, {}, nullptr, {}, {}});
            return;
        }
        add(bundles, {left, {}, nullptr, {}, marks});
    }

    // Packets of running connections are translated as the first ones would be; table nat does not see them.
    void nat_running(const Set &packets, const Place &place, std::vector<Bundle> &bundles)
    {
        if (packets.empty()) {
            return;
        }
        const Set changed = Set::bits(kStateBits, 2) & Set::bit(kTriggerBit);
        const Set first = packets.without(changed) & space_.states(kNew) & Set::bit(kTriggerBit, false);
        std::vector<Bundle> twins;
        nat_first(first, place, false, twins);
        for (Bundle &twin : twins) {
            twin.packets = twin.packets.without(changed) & packets;
            for (auto &[mark, marked] : twin.marks) {
                marked = marked.without(changed);
            }
            add(bundles, std::move(twin));
        }
    }

    void route(const Bundle &bundle)
    {
        Bundle left = bundle;
        for (const RouteStep &step : steps_) {
            Bundle taken = left;
            taken.packets =
                left.packets & net(false, step.source, left.to) & net(true, step.destination, left.to);
            if (taken.packets.empty()) {
                continue;
            }
            left.packets -= taken.packets;
            if (step.way == Way::kNowhere) {
                Piece piece = piece_of(taken, Verdict::kDrop);
                piece.reason = std::string("routing: ") + step.reason;
                pieces_.push_back(piece);
            } else if (step.way == Way::kLocal) {
                filter(taken, {&rules_.filter, Hook::kInput, Arrival::kBySide, std::nullopt, taken.to},
                       Side::kRouter);
            } else {
                filter(taken, {&rules_.filter, Hook::kForward, Arrival::kBySide, step.out, taken.to},
                       step.out);
            }
            if (left.packets.empty()) {
                return;
            }
        }
    }

    void leave(const Bundle &bundle)
    {
        Set left = bundle.packets;
        for (const auto &[net_to, side] : ways_out()) {
            Bundle taken = bundle;
            taken.packets = left & net(true, net_to, bundle.to);
            left -= taken.packets;
            filter(taken, {&rules_.filter, Hook::kOutput, Arrival::kNone, side, bundle.to}, side);
        }
    }

    // Where the router sends what is its own, longest prefix first.
    std::vector<std::pair<Net, Side>> ways_out() const
    {
        std::vector<std::pair<Net, Side>> ways;
        for (const Address own : network_.own_addresses()) {
            ways.push_back({{own, kWholeMask}, Side::kRouter});
        }
        ways.push_back({{0x7f000000, 0xff000000}, Side::kRouter});
        for (const RouteStep &step : steps_) {
            if (step.way == Way::kForward) {
                ways.push_back({step.destination, step.out});
            }
        }
        ways.push_back({{0, 0}, Side::kWan});
        return ways;
    }

    void filter(const Bundle &bundle, const Place &place, Side out)
    {
        if (bundle.packets.empty()) {
            return;
        }
        Marks marks = bundle.marks;
        std::vector<Ended> ended;
        const Set left = run_chain(built_in(place), bundle.packets, {place, marks, ended});
        observe_decisions(ended, bundle, place);
        for (const Ended &end : ended) {
            const Action action = end.rule->target.action;
            const Verdict verdict = action == Action::kAccept ? Verdict::kAccept
                                    : action == Action::kDrop ? Verdict::kDrop
                                                              : Verdict::kReject;
            Bundle rest = bundle;
            rest.packets = end.packets;
            if (verdict != Verdict::kAccept || go_on(rest, place, out)) {
                finish({end.rule, end.origin, rest.packets}, place, rest, verdict, out);
            }
        }
        Bundle rest = bundle;
        rest.packets = left;
        if (built_in(place).drops || go_on(rest, place, out)) {
            finish_by_policy(rest.packets, place, rest, out);
        }
    }

    // What the kernel does behind an accepted hook. Takes what is decided there out of `bundle`; false:
    // nothing left.
    bool go_on(Bundle &bundle, const Place &place, Side out)
    {
        if (place.hook == Hook::kInput) {
            return !bundle.packets.empty();
        }
        Place after = {&rules_.nat, Hook::kPostrouting, Arrival::kNone, out, bundle.to};
        Marks marks = bundle.marks;
        std::vector<Ended> ended;
        (void)run_chain(built_in(after), bundle.packets & space_.states(kNew), {after, marks, ended});
        for (const Ended &end : ended) {
            if (end.rule->target.action == Action::kDrop) {
                finish(end, place, bundle, Verdict::kDrop, out);
                bundle.packets -= end.packets;
            }
        }
        if (built_in(after).drops) {
            finish_by_policy(bundle.packets & space_.states(kNew), place, bundle, out, after);
            bundle.packets -= space_.states(kNew);
        }
        if (place.hook == Hook::kOutput && out == Side::kRouter) {
            filter(bundle, {&rules_.filter, Hook::kInput, Arrival::kLoopback, std::nullopt, bundle.to}, out);
            return false;
        }
        return !bundle.packets.empty();
    }

    // ---- pieces -----------------------------------------------------------------------------------------

    static Piece piece_of(const Bundle &bundle, Verdict verdict)
    {
        Piece piece;
        piece.packets = bundle.packets;
        piece.verdict = verdict;
        piece.to = bundle.to;
        piece.translated = bundle.translated;
        piece.translation_origin = bundle.origin;
        return piece;
    }

    void finish(const Ended &end, const Place &place, const Bundle &bundle, Verdict verdict,
                Side out = Side::kRouter)
    {
        if (end.packets.empty()) {
            return;
        }
        Piece piece = piece_of(bundle, verdict);
        piece.packets = end.packets;
        if (place.table == &rules_.filter) {
            piece.hook = place.hook;
        }
        piece.out = out;
        piece.decided = end.rule;
        piece.reason = end.rule->text;
        piece.origin = end.origin;
        pieces_.push_back(piece);
    }

    void finish_by_policy(const Set &packets, const Place &place, const Bundle &bundle,
                          Side out = Side::kRouter)
    {
        finish_by_policy(packets, place, bundle, out, place);
    }

    // `decider`: the place whose policy it is.
    void finish_by_policy(const Set &packets, const Place &place, const Bundle &bundle, Side out,
                          const Place &decider)
    {
        if (packets.empty()) {
            return;
        }
        const Chain &chain = built_in(decider);
        Piece piece = piece_of(bundle, chain.drops ? Verdict::kDrop : Verdict::kAccept);
        piece.packets = packets;
        if (place.table == &rules_.filter) {
            piece.hook = place.hook;
        }
        piece.out = out;
        piece.reason = std::string("policy of ") + hook_name(decider.hook);
        piece.origin = chain.policy_origin;
        pieces_.push_back(piece);
    }

    // ---- chains -----------------------------------------------------------------------------------------

    const Chain &built_in(const Place &place) const { return *place.table->find(hook_name(place.hook)); }

    // One way through a table: where it is, the marks that packets carry, and what rules have ended.
    struct Walk {
        const Place &place;
        Marks &marks;
        std::vector<Ended> &ended;
    };

    // Result: what comes out at the end.
    Set run_chain(const Chain &chain, Set packets, const Walk &walk, const Origin &caller = {})
    {
        Set returned;
        Taken taken;
        const Set entered = packets;
        size_t taken_to = 0;  // rules before this one have been gone through together
        for (size_t i = 0; i < chain.rules.size(); ++i) {
            const Rule &rule = chain.rules[i];
            if (i < taken_to || &rule == skipped_ || (packets.empty() && observations_ == nullptr)) {
                continue;
            }
            taken_to = end_of_row(chain, i);
            if (taken_to > i + 1) {
                packets = go_through_row({chain.rules.data() + i, taken_to - i}, packets, walk, caller);
                continue;
            }
            const Set hit = hits(rule, packets, walk.place, walk.marks);
            observe(rule, hit, entered, walk, taken);
            if (hit.empty()) {
                continue;
            }
            const Origin &origin = rule.origin.setting.empty() ? caller : rule.origin;
            if (rule.target.action == Action::kReturn) {
                returned |= hit;
                packets -= hit;
            } else if (rule.target.action == Action::kJump) {
                const Chain &called = walk.place.table->chains[rule.target.chain_index];
                packets = (packets - hit) | run_chain(called, hit, walk, origin);
            } else if (ends_table(rule.target.action)) {
                walk.ended.push_back({&rule, origin, hit});
                packets -= hit;
            } else if (rule.target.action == Action::kPnat) {
                set_mark(walk.marks, rule.target.mark, hit & opened());
            }
        }
        return packets | returned;
    }

    // ---- many rules in a row --------------------------------------------------------------------------

    using Row = std::span<const Rule>;

    // The end of the rules from `begin` on that each end the way of what fits them and read no marks.
    size_t end_of_row(const Chain &chain, size_t begin) const
    {
        const auto is_plain = [](const Rule &rule) {
            return ends_table(rule.target.action) &&
                   std::none_of(rule.matches.begin(), rule.matches.end(),
                                [](const Match &match) { return std::holds_alternative<MarkMatch>(match); });
        };
        size_t end = begin;
        while (observations_ == nullptr && end < chain.rules.size() && is_plain(chain.rules[end])) {
            ++end;
        }
        return end;
    }

    struct Fitting {
        const Rule *rule;
        Set packets;
    };

    // Rules taken out of the packets one by one leave a big set behind each of them. So the row is halved
    // again and again, and a half sees no more than what fits one of its rules.
    Set go_through_row(Row rules, const Set &packets, const Walk &walk, const Origin &caller)
    {
        std::vector<Fitting> fitting;
        for (const Rule &rule : rules) {
            Set set = hits(rule, Set::everything(), walk.place, walk.marks);
            if (!set.empty()) {
                fitting.push_back({&rule, std::move(set)});
            }
        }
        if (fitting.empty()) {
            return packets;
        }
        std::vector<Set> unions(2 * fitting.size() - 1);
        const Set hit = packets & unite(fitting, unions.data());
        halve(fitting, unions.data(), hit, walk.ended, caller);
        return packets - hit;
    }

    // Fills in what fits any of the rules, then the same for their first half and for their second half.
    static const Set &unite(std::span<const Fitting> rules, Set *unions)
    {
        if (rules.size() == 1) {
            return *unions = rules[0].packets;
        }
        const size_t half = rules.size() / 2;
        const Set &first = unite(rules.first(half), unions + 1);
        return *unions = first | unite(rules.subspan(half), unions + 2 * half);
    }

    // `hit`: packets that each fit one of the rules.
    static void halve(std::span<const Fitting> rules, const Set *unions, const Set &hit,
                      std::vector<Ended> &ended, const Origin &caller)
    {
        if (hit.empty()) {
            return;
        }
        if (rules.size() == 1) {
            const Rule &rule = *rules[0].rule;
            ended.push_back({&rule, rule.origin.setting.empty() ? caller : rule.origin, hit});
            return;
        }
        const size_t half = rules.size() / 2;
        const Set &first = unions[1];
        const Set &second = unions[2 * half];
        halve(rules.first(half), unions + 1, hit & first, ended, caller);
        const Set rest = (first & second).empty() ? hit : hit - first;
        halve(rules.subspan(half), unions + 2 * half, rest & second, ended, caller);
    }

    using Taken = std::vector<std::pair<const Rule *, Set>>;

    // `taken`: what the rules of the chain before this one took out of it.
    void observe(const Rule &rule, const Set &hit, const Set &entered, const Walk &walk, Taken &taken)
    {
        if (observations_ == nullptr || skipped_ != nullptr) {
            return;
        }
        Observed &observed = (*observations_)[&rule];
        observed.matches = observed.matches || !hit.empty();
        if (!hit.empty()) {
            taken.emplace_back(&rule, hit);
        }
        if (observed.matches) {
            return;
        }
        const Set wanted = hits(rule, entered, walk.place, walk.marks);
        observed.arrives = observed.arrives || !wanted.empty();
        for (const auto &[other, packets] : taken) {
            if (!(packets & wanted).empty()) {
                add_once(observed.shadowed_by, other);
            }
        }
    }

    // Whether the packets that each rule decided about would have fared the same without it.
    void observe_decisions(const std::vector<Ended> &ended, const Bundle &bundle, const Place &place)
    {
        if (observations_ == nullptr) {
            return;
        }
        for (const Ended &end : ended) {
            Observed &observed = (*observations_)[end.rule];
            observed.decides = true;
            if (observed.is_needed) {
                continue;
            }
            skipped_ = end.rule;
            Marks marks = bundle.marks;
            std::vector<Ended> others;
            const Set left = run_chain(built_in(place), end.packets, {place, marks, others});
            skipped_ = nullptr;
            for (const Ended &other : others) {
                observed.is_needed =
                    observed.is_needed || other.rule->target.action != end.rule->target.action;
                add_once(observed.replaced_by, other.rule);
            }
            if (!left.empty()) {
                const Action policy = built_in(place).drops ? Action::kDrop : Action::kAccept;
                observed.is_needed = observed.is_needed || policy != end.rule->target.action;
                observed.policy = std::string("policy of ") + hook_name(place.hook);
            }
        }
    }

    static void set_mark(Marks &marks, uint32_t mark, const Set &packets)
    {
        for (auto &[other, marked] : marks) {
            marked -= packets;
        }
        marks[mark] |= packets;
    }

    // Packets that port triggering lets in.
    const Set &opened()
    {
        if (!has_opened_) {
            has_opened_ = true;
            for (const Trigger &trigger : network_.triggers) {
                const Set protocols = (trigger.tcp ? space_.protocol(kTcp) : Set()) |
                                      (trigger.udp ? space_.protocol(kUdp) : Set());
                opened_ |= protocols & space_.port(true, trigger.first_port, trigger.last_port);
            }
            opened_ &= space_.side(Side::kWan) & Set::bit(kTriggerBit);
        }
        return opened_;
    }

    // ---- translation ------------------------------------------------------------------------------------

    // One bundle for each destination that the rule gives.
    void translate_hits(const Ended &end, const Marks &marks, std::vector<Bundle> &bundles)
    {
        const Target &target = end.rule->target;
        for (const Side side : kSides) {
            const bool redirect = target.action == Action::kRedirect;
            if (!redirect && side != kSides[0]) {
                break;
            }
            Bundle bundle = {
                redirect ? end.packets & space_.side(side) : end.packets, {}, end.rule, end.origin, marks};
            if (redirect || target.maps_address) {
                bundle.to.address = redirect ? redirected(side) : target.first;
            }
            split_by_port(bundle, target, bundles);
        }
    }

    Address redirected(Side side) const
    {
        if (side == Side::kRouter) {
            return 0x7f000001;
        }
        return side == Side::kWan && network_.wan_address ? *network_.wan_address : network_.lan_address;
    }

    // A port that is in the range already stays.
    void split_by_port(const Bundle &bundle, const Target &target, std::vector<Bundle> &bundles)
    {
        if (!target.maps_port) {
            add_marked(bundles, bundle);
            return;
        }
        const Set inside = space_.port(true, target.first_port, target.last_port);
        Bundle kept = bundle;
        kept.packets &= inside;
        add_marked(bundles, kept);
        Bundle moved = bundle;
        moved.packets -= inside;
        moved.to.port = target.first_port;
        add_marked(bundles, moved);
    }

    void add_marked(std::vector<Bundle> &bundles, Bundle bundle)
    {
        if (bundle.packets.empty()) {
            return;
        }
        Set web = bundle.packets & space_.protocol(kTcp) & Set::bit(kWebMarkBit);
        if (bundle.to.port) {
            web = *bundle.to.port == kWebPort ? web : Set();
        } else {
            web &= space_.port(true, kWebPort, kWebPort);
        }
        if (bundle.to.address) {
            web = network_.is_own(*bundle.to.address) ? web : Set();
        } else {
            web &= own_destinations();
        }
        set_mark(bundle.marks, kWebMark, web);
        add(bundles, std::move(bundle));
    }

    Set own_destinations() const
    {
        Set own;
        for (const Address address : network_.own_addresses()) {
            own |= space_.net(true, {address, kWholeMask});
        }
        return own;
    }

    // ---- matches ----------------------------------------------------------------------------------------

    Set net(bool destination, const Net &net, const View &to) const
    {
        if (destination && to.address) {
            return net.has(*to.address) ? Set::everything() : Set();
        }
        return net.mask == 0 ? Set::everything() : space_.net(destination, net);
    }

    // The packets that fit all matches of a rule.
    Set hits(const Rule &rule, const Set &packets, const Place &place, const Marks &marks)
    {
        for (const Match &match : rule.matches) {
            if (!may_fit(match, place)) {
                return {};
            }
        }
        // Small sets first: what fits the rule, then the packets, which may be many scattered ones.
        Set set = place.to == View() ? untranslated(rule) : as_seen(rule, place.to);
        for (const Match &match : rule.matches) {
            if (const auto *interface = std::get_if<InterfaceMatch>(&match)) {
                set &= fit(*interface, place);
            }
        }
        set &= packets;
        for (const Match &match : rule.matches) {
            const auto *mark = std::get_if<MarkMatch>(&match);
            if (mark != nullptr && !set.empty() && place.arrival != Arrival::kAny) {
                set &= fit(*mark, marks);
            }
        }
        return set;
    }

    // The matches of a rule that do not depend on interfaces and marks, for packets that go where they were
    // sent.
    const Set &untranslated(const Rule &rule)
    {
        const auto known = untranslated_.find(&rule);
        return known != untranslated_.end() ? known->second
                                            : untranslated_.emplace(&rule, as_seen(rule, {})).first->second;
    }

    // The same for packets that go to `to`.
    Set as_seen(const Rule &rule, const View &to)
    {
        Set set = fixed(rule);
        for (const Match &match : rule.matches) {
            if (depends_on_view(match)) {
                set &= seen(match, to);
            }
        }
        return set;
    }

    // Whether a match about the destination can fit where the destination is known; quick.
    static bool may_fit(const Match &match, const Place &place)
    {
        if (const auto *address = std::get_if<AddressMatch>(&match)) {
            return !address->destination || !place.to.address ||
                   address->net.has(*place.to.address) != address->negated;
        }
        if (const auto *range = std::get_if<RangeMatch>(&match)) {
            return !range->destination || !place.to.address ||
                   (*place.to.address >= range->first && *place.to.address <= range->last) != range->negated;
        }
        if (const auto *port = std::get_if<PortMatch>(&match)) {
            return !port->destination || !place.to.port ||
                   (*place.to.port >= port->first && *place.to.port <= port->last) != port->negated;
        }
        return true;
    }

    static bool depends_on_view(const Match &match)
    {
        if (const auto *address = std::get_if<AddressMatch>(&match)) {
            return address->destination;
        }
        if (const auto *range = std::get_if<RangeMatch>(&match)) {
            return range->destination;
        }
        const auto *port = std::get_if<PortMatch>(&match);
        return port != nullptr && port->destination;
    }

    // A match about the destination; may_fit has said yes.
    Set seen(const Match &match, const View &to) const
    {
        const bool known =
            std::holds_alternative<PortMatch>(match) ? to.port.has_value() : to.address.has_value();
        return known ? Set::everything() : std::visit([&](const auto &m) { return set_of(m); }, match);
    }

    // The matches of a rule that read the same everywhere.
    const Set &fixed(const Rule &rule)
    {
        const auto known = fixed_.find(&rule);
        if (known != fixed_.end()) {
            return known->second;
        }
        Set set = Set::everything();
        // A line that decides nothing has a limit of its own, which no verdict depends on.
        const bool limited = ends_table(rule.target.action) || rule.target.action == Action::kReturn ||
                             rule.target.action == Action::kJump;
        for (const Match &match : rule.matches) {
            if (!depends_on_view(match) && (limited || !std::holds_alternative<LimitMatch>(match))) {
                set &= std::visit([&](const auto &m) { return set_of(m); }, match);
            }
        }
        return fixed_.emplace(&rule, set).first->second;
    }

    static bool name_fits(const std::string &pattern, const std::string &name)
    {
        return pattern.ends_with('+') ? name.starts_with(pattern.substr(0, pattern.size() - 1))
                                      : name == pattern;
    }

    Set fit(const InterfaceMatch &match, const Place &place) const
    {
        Set fitting;
        if (place.arrival == Arrival::kAny) {
            return Set::everything();
        }
        if (match.output) {
            fitting = place.out && name_fits(match.name, network_.interface(*place.out)) ? Set::everything()
                                                                                         : Set();
        } else if (place.arrival == Arrival::kLoopback) {
            fitting = name_fits(match.name, network_.interface(Side::kRouter)) ? Set::everything() : Set();
        } else if (place.arrival == Arrival::kBySide) {
            for (const Side side : {Side::kLan, Side::kWan, Side::kTunnel}) {
                fitting |= name_fits(match.name, network_.interface(side)) ? space_.side(side) : Set();
            }
        }
        return match.negated ? !fitting : fitting;
    }

    static Set fit(const MarkMatch &match, const Marks &marks)
    {
        Set marked;
        Set fitting;
        for (const auto &[mark, packets] : marks) {
            marked |= packets;
            fitting |= (mark & match.mask) == match.value ? packets : Set();
        }
        if (match.value == 0) {
            fitting |= !marked;
        }
        return match.negated ? !fitting : fitting;
    }

    static Set turned(const Set &set, bool negated) { return negated ? !set : set; }

    Set set_of(const InterfaceMatch &) const { return Set::everything(); }
    Set set_of(const MarkMatch &) const { return Set::everything(); }

    Set set_of(const AddressMatch &match) const
    {
        return turned(space_.net(match.destination, match.net), match.negated);
    }

    Set set_of(const ProtocolMatch &match) const
    {
        return turned(match.number == 0 ? Set::everything() : space_.protocol(match.number), match.negated);
    }

    Set set_of(const PortMatch &match) const
    {
        return turned(space_.port(match.destination, match.first, match.last), match.negated);
    }

    Set set_of(const IcmpMatch &match) const
    {
        const Set types = match.type == 255 ? Set::everything()
                                            : space_.icmp(match.type, match.first_code, match.last_code);
        return turned(types, match.negated);
    }

    Set set_of(const FlagMatch &match) const
    {
        return turned(space_.flags(match.looked_at, match.set), match.negated);
    }
    Set set_of(const StateMatch &match) const { return turned(space_.states(match.states), match.negated); }
    Set set_of(const LimitMatch &) const { return Set::bit(kOverBit, false); }

    Set set_of(const RangeMatch &match) const
    {
        return turned(space_.addresses(match.destination, match.first, match.last), match.negated);
    }

    Set set_of(const StringMatch &match) const { return turned(space_.text(match.text), match.negated); }
    Set set_of(const ScheduleMatch &match) const { return Set::bit(kScheduleBit, !match.negated); }
    Set set_of(const ScanMatch &) const { return Set::bit(kScanBit); }

    const Space &space_;
    const RuleSet &rules_;
    const Network &network_;
    std::vector<RouteStep> steps_;
    Observations *observations_;
    const Rule *skipped_ = nullptr;  // left out while the way without it is tried
    std::vector<Piece> pieces_;
    std::unordered_map<const Rule *, Set> fixed_;
    std::unordered_map<const Rule *, Set> untranslated_;
    Set opened_;
    bool has_opened_ = false;
};

// What a rule's observations make of it; none: it is needed, or does what the verdict does not show.
std::optional<Idle> kind_of(const Observed &observed, bool can_fit)
{
    if (!can_fit) {
        return Idle::kNever;
    }
    if (!observed.matches) {
        return observed.arrives ? Idle::kShadowed : Idle::kNoTraffic;
    }
    return observed.decides && !observed.is_needed ? std::optional(Idle::kRedundant) : std::nullopt;
}

IdleLine idle_line(const Table &table, const Chain &chain, const Rule &rule, Idle kind,
                   const Observed &observed)
{
    IdleLine line = {&rule, table.name, chain.name, kind};
    if (kind == Idle::kShadowed) {
        line.covered_by = observed.shadowed_by;
    } else if (kind == Idle::kRedundant) {
        line.covered_by = observed.replaced_by;
        line.policy = observed.policy;
    }
    return line;
}

}  // namespace

std::vector<IdleLine> idle_lines(const Space &space, const RuleSet &rules, const Network &network)
{
    Observations observations;
    Flow flow(space, rules, network, &observations);
    (void)flow.run(space.packets());
    std::vector<IdleLine> lines;
    const auto add_lines_of = [&](const Table &table, const Chain &chain) {
        for (const Rule &rule : chain.rules) {
            const Observed &observed = observations[&rule];
            if (const auto kind = kind_of(observed, !flow.fitting(rule).empty())) {
                lines.push_back(idle_line(table, chain, rule, *kind, observed));
            }
        }
    };
    for (const Table *table : {&rules.nat, &rules.filter}) {
        for (const Chain &chain : table->chains) {
            add_lines_of(*table, chain);
        }
    }
    return lines;
}

std::vector<Piece> flow(const Space &space, const RuleSet &rules, const Network &network, const Set &packets)
{
    return Flow(space, rules, network).run(packets);
}

}  // namespace packets
