#include "bench/packets/reach.h"

#include <algorithm>

#include "bench/packets/words.h"

namespace packets {

namespace {

using Spans = std::vector<Set::Span>;

constexpr unsigned kLastPort = 65535;
constexpr unsigned kLastProtocol = 255;

// ---- sets as words
// ------------------------------------------------------------------------------------------

std::string joined(const std::vector<std::string> &parts)
{
    std::string text;
    for (const std::string &part : parts) {
        text += (text.empty() ? "" : ", ") + part;
    }
    return text;
}

// What is not in the spans, between two values.
Spans others(const Spans &spans, unsigned first, unsigned last)
{
    Spans gaps;
    unsigned next = first;
    bool open = true;
    for (const Set::Span &span : spans) {
        if (span.first > next) {
            gaps.push_back({next, span.first - 1});
        }
        open = span.last < last;
        next = span.last + 1;
    }
    if (open) {
        gaps.push_back({next, last});
    }
    return gaps;
}

template <typename Name>
std::string list(const Spans &spans, const Name &name)
{
    std::vector<std::string> parts;
    for (const Set::Span &span : spans) {
        parts.push_back(name(span));
    }
    return joined(parts);
}

// The spans or, where that is shorter, what they leave out.
template <typename Name>
std::string words(const Spans &spans, unsigned first, unsigned last, const char *everything, const Name &name)
{
    const Spans left_out = others(spans, first, last);
    if (left_out.empty()) {
        return everything;
    }
    const bool shorter = left_out.size() < spans.size() ||
                         (left_out.size() == spans.size() && left_out.size() == 1 &&
                          left_out[0].last - left_out[0].first < spans[0].last - spans[0].first);
    return shorter ? "all but " + list(left_out, name) : list(spans, name);
}

std::string number_span(const Set::Span &span)
{
    const std::string first = std::to_string(span.first);
    return span.first == span.last ? first : first + "-" + std::to_string(span.last);
}

std::string protocol_words(const Spans &spans)
{
    const auto name = [](const Set::Span &span) {
        return span.first == span.last ? protocol_name(static_cast<int>(span.first))
                                       : "protocols " + number_span(span);
    };
    const Spans left_out = others(spans, 1, kLastProtocol);
    if (left_out.empty()) {
        return "all";
    }
    const bool few = left_out.size() <= spans.size() &&
                     std::all_of(left_out.begin(), left_out.end(),
                                 [](const Set::Span &span) { return span.first == span.last; });
    return few ? "all but " + list(left_out, name) : list(spans, name);
}

std::string address_span(const Set::Span &span)
{
    const unsigned size = span.last - span.first;
    const bool is_net = (size & (size + 1)) == 0 && (span.first & size) == 0;
    if (span.first == span.last) {
        return address_text(span.first);
    }
    if (!is_net) {
        return address_text(span.first) + "-" + address_text(span.last);
    }
    int bits = 32;
    for (unsigned rest = size; rest != 0; rest >>= 1) {
        --bits;
    }
    return address_text(span.first) + "/" + std::to_string(bits);
}

std::string address_words(const Set &set, int first_bit)
{
    return words(set.spans(first_bit, 32), 0, ~0U, "any", address_span);
}

// Addresses that the kernel takes none from (or to) may be added where that makes "any" or "all but ..." of
// it.
std::string address_words(const Set &set, const Set &untaken, int first_bit)
{
    const std::string exact = address_words(set, first_bit);
    const std::string wide = address_words(set | untaken, first_bit);
    const bool says_so = wide == "any" || wide.starts_with("all but ");
    return says_so && wide.size() < exact.size() ? wide : exact;
}

std::string port_words(const Set &set, int first_bit)
{
    return words(set.spans(first_bit, 16), 0, kLastPort, "any", number_span);
}

// Types and codes stand in the place of ports.
std::string icmp_words(const Set &set)
{
    return words(set.spans(kPortBits, 16), 0, kLastPort, "any", [](const Set::Span &span) {
        const unsigned type = span.first >> 8;
        if ((span.first & 255) == 0 && (span.last & 255) == 255) {
            return "type " + number_span({type, span.last >> 8});
        }
        return "type " + std::to_string(type) + " code " + std::to_string(span.first & 255) +
               (span.first == span.last ? ""
                                        : " to type " + std::to_string(span.last >> 8) + " code " +
                                              std::to_string(span.last & 255));
    });
}

std::string circumstance(int bit, const Space &space)
{
    switch (bit) {
        case kScheduleBit:
            return "schedule";
        case kOverBit:
            return "over the limit";
        case kScanBit:
            return "scan seen";
        case kTriggerBit:
            return "triggered port";
        case kWebMarkBit:
            return "web mark";
        default:
            return "payload with \"" + space.texts()[static_cast<size_t>(bit - kTextBits)] + "\"";
    }
}

const char *side_words(Side side)
{
    switch (side) {
        case Side::kLan:
            return "the LAN";
        case Side::kWan:
            return "the Internet";
        case Side::kTunnel:
            return "a tunnel";
        case Side::kRouter:
            return "the router";
    }
    return "";
}

// ---- rows
// ---------------------------------------------------------------------------------------------------

// A set without what says nothing: sides and states, which the question fixes, and bits that a protocol has
// no use for.
Set plain(const Space &space, const Set &packets)
{
    const Set ports = space.protocol(kTcp) | space.protocol(kUdp);
    const Set icmp = space.protocol(kIcmp);
    const Set source_port = Set::bits(kSourcePortBits, 16);
    const Set both_ports = source_port & Set::bits(kPortBits, 16);
    const Set question = Set::bits(kSideBits, 4) & Set::bits(kFlagBits, 6);
    const Set free = (packets & ports) | (packets & icmp).without(source_port) |
                     (packets - ports - icmp).without(both_ports);
    return free.without(question);
}

// Pieces with one fate as one; where it goes does not count for what is dropped.
std::vector<Piece> merged(const std::vector<Piece> &pieces)
{
    std::vector<Piece> whole;
    for (const Piece &piece : pieces) {
        const auto same = [&](const Piece &other) {
            return piece.verdict == other.verdict && piece.hook == other.hook && piece.to == other.to &&
                   piece.decided == other.decided && piece.translated == other.translated &&
                   piece.reason == other.reason && piece.origin == other.origin &&
                   (piece.verdict != Verdict::kAccept || piece.out == other.out);
        };
        const auto known = std::find_if(whole.begin(), whole.end(), same);
        if (known == whole.end()) {
            whole.push_back(piece);
        } else {
            known->packets |= piece.packets;
        }
    }
    return whole;
}

class RowMaker {
  public:
    RowMaker(const Space &space, const Network &network, bool examples)
        : space_(space), examples_(examples), usual_(space.usual(network))
    {
        for (const RouteStep &step : route_steps(network)) {
            if (step.way == Way::kNowhere && step.destination.mask == 0 && step.source.mask != 0) {
                no_source_ |= space.net(false, step.source);
            }
            if (step.way != Way::kForward && step.source.mask == 0 && step.destination.mask != 0) {
                not_forwarded_ |= space.net(true, step.destination);
            }
        }
    }

    std::vector<Row> rows(const std::vector<Piece> &pieces)
    {
        for (const Piece &piece : merged(pieces)) {
            if (!piece.packets.empty()) {
                piece_ = &piece;
                by_target(plain(space_, piece.packets));
            }
        }
        return std::move(rows_);
    }

  private:
    // What can be asked for (protocols and ports) and where it is sent.
    struct Target {
        Set asked;
        Set destinations;
    };
    using Targets = std::vector<Target>;

    void by_target(const Set &packets)
    {
        // Targets whose sources and circumstances are the same, by the set of these.
        std::vector<std::pair<Set, Targets>> groups;
        for (const Set::Part &asked : packets.cut(kDestinationBits)) {
            for (const Set::Part &destinations : asked.behind.cut(kSourceBits)) {
                const auto same = [&](const auto &group) { return group.first == destinations.behind; };
                auto group = std::find_if(groups.begin(), groups.end(), same);
                if (group == groups.end()) {
                    group = groups.insert(groups.end(), {destinations.behind, {}});
                }
                group->second.push_back({asked.before, destinations.before});
            }
        }
        for (const auto &[rest, targets] : groups) {
            const Targets turned = by_destination(targets);
            for (const Target &target : count(turned) < count(targets) ? turned : targets) {
                by_protocol(target, rest);
            }
        }
    }

    static size_t count(const Targets &targets)
    {
        size_t rows = 0;
        for (const Target &target : targets) {
            rows += target.asked.cut(kPortBits).size();
        }
        return rows;
    }

    // The same, cut by destinations first.
    static Targets by_destination(const Targets &targets)
    {
        constexpr size_t kMost = 64;
        if (targets.size() > kMost) {
            return targets;
        }
        Targets turned;
        for (const Target &target : targets) {
            Set left = target.destinations;
            const size_t known = turned.size();
            for (size_t i = 0; i < known; ++i) {
                const Set both = turned[i].destinations & left;
                if (both.empty()) {
                    continue;
                }
                left -= both;
                const Set alone = turned[i].destinations - both;
                if (!alone.empty()) {
                    turned.push_back({turned[i].asked, alone});
                }
                turned[i] = {turned[i].asked | target.asked, both};
            }
            if (!left.empty()) {
                turned.push_back({target.asked, left});
            }
        }
        return joined_destinations(turned);
    }

    static Targets joined_destinations(const Targets &targets)
    {
        Targets whole;
        for (const Target &target : targets) {
            const auto same = [&](const Target &other) { return other.asked == target.asked; };
            const auto known = std::find_if(whole.begin(), whole.end(), same);
            if (known == whole.end()) {
                whole.push_back(target);
            } else {
                known->destinations |= target.destinations;
            }
        }
        return whole;
    }

    // ICMP has types where others have ports: a row of its own unless it has all.
    void by_protocol(const Target &target, const Set &rest)
    {
        for (const Set::Part &ports : target.asked.cut(kPortBits)) {
            const Set icmp = ports.before & space_.protocol(kIcmp);
            const bool split = !icmp.empty() && !(ports.behind == Set::everything());
            for (const Set &group :
                 split ? std::vector<Set>{ports.before - icmp, icmp} : std::vector<Set>{ports.before}) {
                if (group.empty()) {
                    continue;
                }
                Row row;
                row.protocol = protocol_words(group.spans(kProtocolBits, 8));
                row.ports = group == icmp ? icmp_words(ports.behind) : port_words(ports.behind, kPortBits);
                row.asked = destination_words(target.destinations);
                by_rest(row, group & ports.behind & target.destinations, rest);
            }
        }
    }

    void by_rest(Row row, const Set &so_far, const Set &rest)
    {
        for (const Set::Part &sources : rest.cut(kSourcePortBits)) {
            for (const Set::Part &source_ports : sources.behind.cut(kFlagBits)) {
                row.from = address_words(sources.before, no_source_, kSourceBits);
                row.from_ports = port_words(source_ports.before, kSourcePortBits);
                by_circumstances(row, so_far & sources.before & source_ports.before, source_ports.behind);
            }
        }
    }

    void by_circumstances(const Row &row, const Set &so_far, const Set &circumstances)
    {
        for (const std::map<int, bool> &cube : circumstances.cubes()) {
            Row whole = row;
            Set set = so_far & piece_->packets;
            for (const auto &[bit, value] : cube) {
                (value ? whole.when : whole.unless).push_back(circumstance(bit, space_));
                set &= Set::bit(bit, value);
            }
            if (!set.empty()) {
                finish(whole, set);
            }
        }
    }

    void finish(Row row, const Set &set)
    {
        row.to = destination(row);
        row.verdict = piece_->verdict;
        row.before_filter = !piece_->hook.has_value();
        row.hook = piece_->hook.value_or(Hook::kPrerouting);
        row.out = piece_->out;
        row.reason = piece_->reason;
        row.origin = piece_->origin;
        row.translation_origin = piece_->translation_origin;
        row.packets = set;
        if (examples_) {
            row.example = space_.example(set, usual_);
        }
        rows_.push_back(row);
    }

    std::string destination_words(const Set &set) const
    {
        const bool forwarded = piece_->hook == Hook::kForward && !piece_->to.address;
        return address_words(set, forwarded ? not_forwarded_ : Set(), kDestinationBits);
    }

    std::string destination(const Row &row) const
    {
        const View &to = piece_->to;
        if (!to.address && !to.port) {
            return piece_->verdict == Verdict::kAccept ? side_words(piece_->out) : "";
        }
        const std::string address = to.address ? address_text(*to.address) : row.asked;
        if (to.port) {
            return address + ":" + std::to_string(*to.port);
        }
        const bool one_port =
            !row.ports.empty() && row.ports.find_first_not_of("0123456789") == std::string::npos;
        return one_port ? address + ":" + row.ports : address;
    }

    const Space &space_;
    bool examples_;
    std::vector<Set> usual_;
    Set no_source_;      // addresses that the kernel takes no packet from
    Set not_forwarded_;  // addresses that it forwards none to
    const Piece *piece_ = nullptr;
    std::vector<Row> rows_;
};

// ---- differences
// --------------------------------------------------------------------------------------------

// The packets for which two destinations are the same.
Set same_end(const Space &space, const View &one, const View &other)
{
    Set same = Set::everything();
    if (one.address && other.address) {
        same = *one.address == *other.address ? same : Set();
    } else if (one.address || other.address) {
        same = space.net(true, {one.address ? *one.address : *other.address, ~Address{0}});
    }
    if (one.port && other.port) {
        return *one.port == *other.port ? same : Set();
    }
    if (one.port || other.port) {
        const int port = one.port ? *one.port : *other.port;
        same &= space.port(true, port, port);
    }
    return same;
}

// The pieces as far as they are in a set.
std::vector<Piece> within(const std::vector<Piece> &pieces, const Set &set)
{
    std::vector<Piece> inside;
    for (const Piece &piece : pieces) {
        const Set common = piece.packets & set;
        if (!common.empty()) {
            inside.push_back(piece);
            inside.back().packets = common;
        }
    }
    return inside;
}

Set unmoved(const Space &space, const std::vector<Piece> &before, const std::vector<Piece> &after,
            const Set &both)
{
    Set same;
    for (const Piece &old : within(before, both)) {
        for (const Piece &now : within(after, old.packets)) {
            same |= now.packets & same_end(space, old.to, now.to);
        }
    }
    return same;
}

// ---- sentences
// ----------------------------------------------------------------------------------------------

class SentenceReader {
  public:
    explicit SentenceReader(std::string_view text) : text_(text) { split(); }

    Sentence read()
    {
        Sentence sentence;
        sentence.text = text_;
        const std::string verb = next("never or always");
        sentence.always = verb == "always";
        if (verb != "never" && verb != "always") {
            fail("\"never\" or \"always\" comes first");
        }
        sentence.from = side(next("a side"));
        for (std::string word = next("\"->\""); word != "->"; word = next("\"->\"")) {
            (void)source(word);
            sentence.nets.push_back(word);
        }
        place(sentence, next("a place"));
        if (at_ < words_.size() && words_[at_] != "unless") {
            sentence.protocol = protocol_number(words_[at_]);
            if (sentence.protocol < 0) {
                fail("\"" + words_[at_] + "\" is no protocol");
            }
            ++at_;
        }
        conditions(sentence);
        return sentence;
    }

    // The first and last address of "A", "A/BITS" or "A-B".
    static bool source(const std::string &word, Address &first, Address &last)
    {
        const size_t cut = word.find_first_of("/-");
        if (!parse_address(word.substr(0, cut), first)) {
            return false;
        }
        last = first;
        if (cut == std::string::npos) {
            return true;
        }
        const std::string rest = word.substr(cut + 1);
        if (word[cut] == '-') {
            return parse_address(rest, last) && first <= last;
        }
        const bool digits =
            !rest.empty() && rest.size() <= 2 && rest.find_first_not_of("0123456789") == std::string::npos;
        if (!digits || std::stoi(rest) > 32) {
            return false;
        }
        const Net net = net_of(first, std::stoi(rest));
        first = net.address;
        last = net.address | ~net.mask;
        return true;
    }

  private:
    void split()
    {
        for (const char c : text_) {
            if (c == ' ' || c == '\t' || c == ',') {
                fresh_ = true;
            } else {
                if (fresh_) {
                    words_.emplace_back();
                }
                fresh_ = false;
                words_.back() += c;
            }
        }
    }

    [[noreturn]] void fail(const std::string &why) const
    {
        throw Error("sentence \"" + cut(text_) + "\": " + why +
                    "; write never|always SIDE [NET...] -> PLACE[:PORTS] [PROTOCOL] [unless CONDITION...]");
    }

    std::string next(const char *wanted)
    {
        if (at_ == words_.size()) {
            fail(std::string(wanted) + " is missing");
        }
        return words_[at_++];
    }

    Side side(const std::string &word) const
    {
        for (const Side side : kSides) {
            if (word == side_name(side)) {
                return side;
            }
        }
        fail("\"" + word + "\" is no side");
    }

    bool source(const std::string &word) const
    {
        Address first = 0;
        Address last = 0;
        if (!source(word, first, last)) {
            fail("\"" + word + "\" is no address, subnet or range");
        }
        return true;
    }

    void place(Sentence &sentence, const std::string &word) const
    {
        const size_t colon = word.find(':');
        sentence.place = word.substr(0, colon);
        const bool is_side = std::any_of(std::begin(kSides), std::end(kSides),
                                         [&](Side each) { return sentence.place == side_name(each); });
        if (!is_side) {
            (void)source(sentence.place);
        }
        if (colon == std::string::npos) {
            return;
        }
        const std::string ports = word.substr(colon + 1);
        char rest = 0;
        const int fields = sscanf(ports.c_str(), "%d-%d%c", &sentence.first_port, &sentence.last_port, &rest);
        sentence.last_port = fields == 1 ? sentence.first_port : sentence.last_port;
        if (fields < 1 || fields > 2 || sentence.first_port < 0 || sentence.first_port > sentence.last_port ||
            sentence.last_port > static_cast<int>(kLastPort)) {
            fail("\"" + ports + "\" is no port or range of ports");
        }
    }

    void conditions(Sentence &sentence)
    {
        if (at_ == words_.size()) {
            return;
        }
        if (next("") != "unless" || at_ == words_.size()) {
            fail("conditions come behind \"unless\"");
        }
        bool by = false;
        while (at_ < words_.size()) {
            const std::string word = next("");
            if (!by && (word == "or" || circumstance(word, sentence))) {
                continue;
            }
            const size_t equals = word.find('=');
            if (word == "by") {
                by = true;
            } else if (equals != std::string::npos) {
                sentence.unless.push_back({false, word.substr(0, equals), word.substr(equals + 1)});
                by = false;
            } else if (by) {
                sentence.unless.push_back({true, word, ""});
            } else {
                fail("\"" + word +
                     "\" is no condition: there are by KEY, KEY=VALUE, over, scan, triggered, "
                     "schedule=on and schedule=off");
            }
        }
    }

    // What only run time knows, in a packet's words or in those of a table's column WHEN.
    bool circumstance(const std::string &word, Sentence &sentence)
    {
        struct Named {
            const char *word;
            Circumstance circumstance;
            std::vector<const char *> rest;
        };
        static const std::vector<Named> kAll = {{"over", {kOverBit}, {"the", "limit"}},
                                                {"scan", {kScanBit}, {"seen"}},
                                                {"triggered", {kTriggerBit}, {"port"}},
                                                {"schedule=on", {kScheduleBit}, {}},
                                                {"schedule=off", {kScheduleBit, false}, {}}};
        const auto named =
            std::find_if(kAll.begin(), kAll.end(), [&](const Named &one) { return word == one.word; });
        if (named == kAll.end()) {
            return false;
        }
        sentence.left_out.push_back(named->circumstance);
        const auto follows = [&](size_t i) {
            return at_ + i < words_.size() && words_[at_ + i] == named->rest[i];
        };
        size_t count = 0;
        while (count < named->rest.size() && follows(count)) {
            ++count;
        }
        at_ += count == named->rest.size() ? count : 0;
        return true;
    }

    std::string_view text_;
    std::vector<std::string> words_;
    size_t at_ = 0;
    bool fresh_ = true;
};

// A line may have several settings behind it, with commas between.
bool is_behind(const std::string &key, const std::string &settings)
{
    return (", " + settings + ",").find(" " + key + ",") != std::string::npos;
}

bool exempt(const Sentence &sentence, const Piece &piece)
{
    return std::any_of(sentence.unless.begin(), sentence.unless.end(), [&](const Condition &condition) {
        return condition.by && (is_behind(condition.key, piece.origin.setting) ||
                                is_behind(condition.key, piece.translation_origin.setting));
    });
}

Set addresses(const Space &space, bool destination, const std::string &word)
{
    Address first = 0;
    Address last = 0;
    return SentenceReader::source(word, first, last) ? space.addresses(destination, first, last) : Set();
}

// Hosts on the LAN, or all that a side can send.
Set senders(const Sentence &sentence, const Space &space, const Network &network)
{
    Set set;
    for (const std::string &net : sentence.nets) {
        set |= addresses(space, false, net);
    }
    if (!sentence.nets.empty()) {
        return set;
    }
    if (!sentence.always || sentence.from != Side::kLan) {
        return Set::everything();
    }
    const Net lan = net_of(network.lan_address, network.lan_bits);
    return space.addresses(false, lan.address + 1, (lan.address | ~lan.mask) - 1) -
           space.net(false, {network.lan_address, ~Address{0}});
}

bool is_side(const std::string &place, Side side)
{
    return place == side_name(side);
}

bool names_side(const std::string &place)
{
    return std::any_of(std::begin(kSides), std::end(kSides), [&](Side side) { return is_side(place, side); });
}

Set ports(const Sentence &sentence, const Space &space)
{
    if (sentence.first_port < 0) {
        return Set::everything();
    }
    const Set with_ports = space.protocol(kTcp) | space.protocol(kUdp);
    return with_ports & space.port(true, sentence.first_port, sentence.last_port);
}

// The packets of a piece that end at the sentence's place.
Set ending(const Sentence &sentence, const Space &space, const Piece &piece)
{
    Set set = piece.packets;
    if (names_side(sentence.place)) {
        set = is_side(sentence.place, piece.out) ? set : Set();
    } else if (piece.to.address) {
        Address first = 0;
        Address last = 0;
        (void)SentenceReader::source(sentence.place, first, last);
        set = *piece.to.address >= first && *piece.to.address <= last ? set : Set();
    } else {
        set &= addresses(space, true, sentence.place);
    }
    if (sentence.first_port >= 0 && piece.to.port) {
        const bool inside = *piece.to.port >= sentence.first_port && *piece.to.port <= sentence.last_port;
        return inside ? set : Set();
    }
    return set & ports(sentence, space);
}

// The packets that are sent to the sentence's place.
Set sent(const Sentence &sentence, const Space &space, const Network &network)
{
    Set place;
    if (is_side(sentence.place, Side::kRouter)) {
        place = space.net(true, {network.lan_address, ~Address{0}});
    } else if (is_side(sentence.place, Side::kLan)) {
        const Net lan = net_of(network.lan_address, network.lan_bits);
        place = space.net(true, lan) - space.net(true, {network.lan_address, ~Address{0}});
    } else if (names_side(sentence.place)) {
        throw Error("sentence \"" + sentence.text +
                    "\": of \"always\" the place is router, lan or an address");
    } else {
        place = addresses(space, true, sentence.place);
    }
    return place & ports(sentence, space);
}

}  // namespace

Set new_connections(const Space &space, Side from)
{
    const Set opening = (!space.protocol(kTcp)) | space.flags(kAllFlags, kSyn);
    return space.packets() & space.side(from) & space.states(kNew) & opening;
}

Set running_data(const Space &space, Side from)
{
    return space.packets() & space.side(from) & space.states(kEstablished) & space.protocol(kTcp) &
           space.flags(kAllFlags, kPsh | kAck);
}

std::vector<Row> rows_of(const Space &space, const Network &network, const std::vector<Piece> &pieces,
                         bool examples)
{
    return RowMaker(space, network, examples).rows(pieces);
}

Set accepted(const std::vector<Piece> &pieces)
{
    Set set;
    for (const Piece &piece : pieces) {
        set |= piece.verdict == Verdict::kAccept ? piece.packets : Set();
    }
    return set;
}

Difference difference(const Space &space, const Network &network, const std::vector<Piece> &before,
                      const std::vector<Piece> &after)
{
    const Set was = accepted(before);
    const Set is = accepted(after);
    const Set both = was & is;
    Difference difference;
    difference.opened = rows_of(space, network, within(after, is - was));
    difference.closed = rows_of(space, network, within(after, was - is));
    difference.moved = rows_of(space, network, within(after, both - unmoved(space, before, after, both)));
    return difference;
}

Sentence parse_sentence(std::string_view text)
{
    return SentenceReader(text).read();
}

Set broken_by(const Sentence &sentence, const Space &space, const Network &network,
              const std::vector<Piece> &pieces)
{
    Set asked = new_connections(space, sentence.from) & senders(sentence, space, network);
    if (sentence.protocol >= 0) {
        asked &= space.protocol(sentence.protocol);
    }
    for (const Circumstance &circumstance : sentence.left_out) {
        asked &= Set::bit(circumstance.bit, !circumstance.value);
    }
    Set broken;
    if (sentence.always) {
        asked &= sent(sentence, space, network);
        for (const Piece &piece : pieces) {
            const bool comes = !sentence.nets.empty() || !piece.reason.starts_with("routing: the source");
            const bool stays = piece.verdict == Verdict::kAccept || !comes;
            broken |= stays || exempt(sentence, piece) ? Set() : piece.packets & asked;
        }
        return broken;
    }
    for (const Piece &piece : pieces) {
        if (piece.verdict == Verdict::kAccept && !exempt(sentence, piece)) {
            broken |= ending(sentence, space, piece) & asked;
        }
    }
    return broken;
}

}  // namespace packets
