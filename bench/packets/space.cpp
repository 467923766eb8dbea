#include "bench/packets/space.h"

#include <algorithm>

namespace packets {

namespace {

struct Group {
    int first;
    int count;
};

constexpr Group kSide = {kSideBits, 2};
constexpr Group kStateGroup = {kStateBits, 2};
constexpr Group kProtocol = {kProtocolBits, 8};
constexpr Group kPort = {kPortBits, 16};
constexpr Group kDestination = {kDestinationBits, 32};
constexpr Group kSource = {kSourceBits, 32};
constexpr Group kSourcePort = {kSourcePortBits, 16};
constexpr Group kFlags = {kFlagBits, 6};

constexpr State kStateOrder[] = {kNew, kEstablished, kRelated, kInvalid};

// Of the group's bits those in `mask` have the values they have in `value`.
Set masked(Group group, unsigned value, unsigned mask)
{
    Set set = Set::everything();
    for (int i = group.count - 1; i >= 0; --i) {
        const unsigned bit = 1U << (group.count - 1 - i);
        if ((mask & bit) != 0) {
            set &= Set::bit(group.first + i, (value & bit) != 0);
        }
    }
    return set;
}

Set equal(Group group, unsigned value)
{
    return masked(group, value, ~0U);
}

Set at_least(Group group, unsigned value)
{
    Set set = Set::everything();
    for (int i = group.count - 1; i >= 0; --i) {
        const Set bit = Set::bit(group.first + i);
        const bool one = (value >> (group.count - 1 - i) & 1) != 0;
        set = one ? bit & set : bit | set;
    }
    return set;
}

Set at_most(Group group, unsigned value)
{
    Set set = Set::everything();
    for (int i = group.count - 1; i >= 0; --i) {
        const Set clear = Set::bit(group.first + i, false);
        const bool one = (value >> (group.count - 1 - i) & 1) != 0;
        set = one ? clear | set : clear & set;
    }
    return set;
}

Set between(Group group, unsigned first, unsigned last)
{
    return at_least(group, first) & at_most(group, last);
}

size_t column(Group group, int i)
{
    return static_cast<size_t>(group.first) + static_cast<size_t>(i);
}

void put(std::vector<bool> &row, Group group, unsigned value)
{
    for (int i = 0; i < group.count; ++i) {
        row[column(group, i)] = (value >> (group.count - 1 - i) & 1) != 0;
    }
}

unsigned value_of(const std::vector<bool> &row, Group group)
{
    unsigned value = 0;
    for (int i = 0; i < group.count; ++i) {
        value = value << 1 | (row[column(group, i)] ? 1U : 0U);
    }
    return value;
}

unsigned state_number(State state)
{
    return static_cast<unsigned>(std::find(std::begin(kStateOrder), std::end(kStateOrder), state) -
                                 std::begin(kStateOrder));
}

}  // namespace

Space::Space(std::vector<std::string> texts)
    : texts_(std::move(texts)), table_(kTextBits + static_cast<int>(texts_.size()) + 1)
{
    packets_ = all_packets() & closed_texts();
}

Set Space::all_packets() const
{
    const Set ports = protocol(kTcp) | protocol(kUdp);
    const Set icmp = protocol(kIcmp);
    const Set no_flags = equal(kFlags, 0);
    const Set no_source_port = equal(kSourcePort, 0);
    const Set others = Set::everything() - ports - icmp - protocol(0);
    return (protocol(kTcp)) | (protocol(kUdp) & no_flags) | (icmp & no_flags & no_source_port) |
           (others & no_flags & no_source_port & equal(kPort, 0));
}

Set Space::closed_texts() const
{
    Set closed = Set::everything();
    for (const std::string &longer : texts_) {
        for (const std::string &part : texts_) {
            if (&longer != &part && longer.find(part) != std::string::npos) {
                closed &= text(part) | !text(longer);
            }
        }
    }
    return closed;
}

Set Space::side(Side side) const
{
    return equal(kSide, static_cast<unsigned>(side));
}

Set Space::states(uint8_t states) const
{
    Set set;
    for (const State state : kStateOrder) {
        if ((states & state) != 0) {
            set |= equal(kStateGroup, state_number(state));
        }
    }
    return set;
}

Set Space::protocol(int number) const
{
    return equal(kProtocol, static_cast<unsigned>(number));
}

Set Space::port(bool destination, int first, int last) const
{
    return between(destination ? kPort : kSourcePort, static_cast<unsigned>(first),
                   static_cast<unsigned>(last));
}

Set Space::icmp(int type, int first_code, int last_code) const
{
    const Group type_group = {kPortBits, 8};
    const Group code_group = {kPortBits + 8, 8};
    return equal(type_group, static_cast<unsigned>(type)) &
           between(code_group, static_cast<unsigned>(first_code), static_cast<unsigned>(last_code));
}

Set Space::net(bool destination, const Net &net) const
{
    return masked(destination ? kDestination : kSource, net.address, net.mask);
}

Set Space::addresses(bool destination, Address first, Address last) const
{
    return between(destination ? kDestination : kSource, first, last);
}

Set Space::flags(uint8_t looked_at, uint8_t set) const
{
    return (set & ~looked_at) != 0 ? Set() : masked(kFlags, set, looked_at);
}

Set Space::text(const std::string &text) const
{
    const auto place = std::find(texts_.begin(), texts_.end(), text);
    if (place == texts_.end()) {
        throw Error("a text in payloads that this space has no bit for: " + text);
    }
    return Set::bit(kTextBits + static_cast<int>(place - texts_.begin()));
}

std::vector<bool> Space::row(const Packet &packet) const
{
    std::vector<bool> row(static_cast<size_t>(kTextBits) + texts_.size());
    put(row, kSide, static_cast<unsigned>(packet.from));
    put(row, kStateGroup, state_number(packet.state));
    put(row, kProtocol, static_cast<unsigned>(packet.protocol));
    put(row, kDestination, packet.destination.address);
    put(row, kSource, packet.source.address);
    if (has_ports(packet.protocol)) {
        put(row, kPort, static_cast<unsigned>(packet.destination.port));
        put(row, kSourcePort, static_cast<unsigned>(packet.source.port));
    } else if (packet.protocol == kIcmp) {
        put(row, kPort, static_cast<unsigned>(packet.icmp_type << 8 | packet.icmp_code));
    }
    put(row, kFlags, packet.protocol == kTcp ? packet.flags : 0U);
    row[kScheduleBit] = packet.circumstances.schedule;
    row[kOverBit] = packet.circumstances.over_limit;
    row[kScanBit] = packet.circumstances.scan;
    row[kTriggerBit] = packet.circumstances.triggered;
    row[kWebMarkBit] = packet.circumstances.web_mark;
    for (size_t i = 0; i < texts_.size(); ++i) {
        row[static_cast<size_t>(kTextBits) + i] = packet.payload.find(texts_[i]) != std::string::npos;
    }
    return row;
}

bool Space::has(const Set &set, const Packet &packet) const
{
    return set.has(row(packet));
}

// The texts with a byte between them that none of them has, so that nothing else comes about where they meet.
std::string Space::payload(const std::vector<bool> &row) const
{
    char between = '\n';
    for (const std::string &text : texts_) {
        between = text.find(between) != std::string::npos ? '\x01' : between;
    }
    std::string payload;
    for (size_t i = 0; i < texts_.size(); ++i) {
        if (row[static_cast<size_t>(kTextBits) + i] && payload.find(texts_[i]) == std::string::npos) {
            payload += (payload.empty() ? "" : std::string(1, between)) + texts_[i];
        }
    }
    return payload;
}

Packet Space::packet(const std::vector<bool> &row) const
{
    Packet packet;
    packet.from = static_cast<Side>(value_of(row, kSide));
    packet.state = kStateOrder[value_of(row, kStateGroup)];
    packet.protocol = static_cast<int>(value_of(row, kProtocol));
    packet.destination.address = value_of(row, kDestination);
    packet.source.address = value_of(row, kSource);
    const unsigned port = value_of(row, kPort);
    if (has_ports(packet.protocol)) {
        packet.destination.port = static_cast<int>(port);
        packet.source.port = static_cast<int>(value_of(row, kSourcePort));
    } else if (packet.protocol == kIcmp) {
        packet.icmp_type = static_cast<int>(port >> 8);
        packet.icmp_code = static_cast<int>(port & 255);
    }
    packet.flags = static_cast<uint8_t>(value_of(row, kFlags));
    packet.circumstances = {row[kScheduleBit], row[kOverBit], row[kScanBit], row[kTriggerBit],
                            row[kWebMarkBit]};
    packet.payload = payload(row);
    return packet;
}

// Wishes in the order of their weight.
std::vector<Set> Space::usual(const Network &network) const
{
    const Net lan = net_of(network.lan_address, network.lan_bits);
    std::vector<Set> wishes = {
        states(kNew),
        Set::bit(kOverBit, false),
        Set::bit(kScanBit, false),
        Set::bit(kTriggerBit, false),
        Set::bit(kWebMarkBit, true),
        Set::bit(kScheduleBit, network.schedule_active),
        protocol(kTcp) | protocol(kUdp) | protocol(kIcmp),
        protocol(kTcp),
        flags(kAllFlags, kSyn),
        network.wan_address ? net(true, {*network.wan_address, ~Address{0}}) : Set::everything(),
        side(Side::kLan) | net(false, {0xc6336407, ~Address{0}}),
        side(Side::kLan) | !net(false, lan),
        (!side(Side::kLan)) | net(false, {lan.address + 100, ~Address{0}}),
        (!side(Side::kLan)) | net(false, lan),
        net(true, {0xc6336407, ~Address{0}}),
        net(true, lan) - net(true, {lan.address, ~Address{0}}),
        port(true, 443, 443) | port(true, 80, 80),
        port(true, 1, 65535),
        port(false, 40000, 40000),
        icmp(8, 0, 0),
    };
    // Payloads carry no more than they must.
    for (size_t i = 0; i < texts_.size(); ++i) {
        wishes.push_back(Set::bit(kTextBits + static_cast<int>(i), false));
    }
    return wishes;
}

Packet Space::example(const Set &set, const std::vector<Set> &usual) const
{
    Set left = set & packets_;
    for (const Set &wish : usual) {
        const Set better = left & wish;
        left = better.empty() ? left : better;
    }
    std::vector<bool> row(static_cast<size_t>(kTextBits) + texts_.size());
    for (const auto &[bit, value] : left.some_row()) {
        row[static_cast<size_t>(bit)] = value;
    }
    return packet(row);
}

namespace {

void add_texts(const Rule &rule, std::vector<std::string> &texts)
{
    for (const Match &match : rule.matches) {
        if (const auto *text = std::get_if<StringMatch>(&match)) {
            texts.push_back(text->text);
        }
    }
}

void add_texts(const Table &table, std::vector<std::string> &texts)
{
    for (const Chain &chain : table.chains) {
        for (const Rule &rule : chain.rules) {
            add_texts(rule, texts);
        }
    }
}

}  // namespace

std::vector<std::string> texts_of(const std::vector<const RuleSet *> &rules)
{
    std::vector<std::string> texts;
    for (const RuleSet *set : rules) {
        add_texts(set->nat, texts);
        add_texts(set->filter, texts);
    }
    std::sort(texts.begin(), texts.end());
    texts.erase(std::unique(texts.begin(), texts.end()), texts.end());
    return texts;
}

}  // namespace packets
