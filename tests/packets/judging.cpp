#include "tests/packets/judging.h"

#include <set>

#include "bench/packets/reach.h"
#include "bench/packets/restore.h"
#include "tests/packets/kernel.h"

namespace agreement {

namespace {

using packets::Packet;
using packets::Side;
using packets::Verdict;
using packets::Walk;

bool is_multicast_or_reserved(packets::Address address)
{
    return address >= 0xe0000000 && address != 0xffffffff;
}

// Today's kernels take the lowest address of a network for a host, and broadcast addresses for senders.
bool is_edge_of_lan(packets::Address address)
{
    return address == 0xc0a80000 || address == 0xc0a800ff;
}

// Addresses of "this network" and loopback addresses, which today's kernels route more freely.
bool is_of_no_host(packets::Address address)
{
    return address >> 24 == 0 || address >> 24 == 127;
}

// What the kernel of the day and today's treat otherwise, and what takes more than one packet to show, stays
// out.
bool can_be_judged(const Packet &packet, const Walk &walk)
{
    return !is_edge_of_lan(packet.source.address) && packet.destination.address != 0xc0a80000 &&
           !is_multicast_or_reserved(packet.destination.address) &&
           !is_multicast_or_reserved(packet.source.address) && !is_of_no_host(packet.source.address) &&
           !is_of_no_host(packet.destination.address) &&
           (walk.verdict != Verdict::kAccept || walk.out != Side::kTunnel) && walk.notes.empty();
}

// A packet that opens a connection of its own.
Packet opening(const Packets &random, Dice &dice, const packets::Circumstances &now, size_t number)
{
    Packet packet = random.packet(dice);
    packet.from = dice.one_in(2) ? Side::kLan : Side::kWan;
    if (packet.protocol != packets::kTcp && packet.protocol != packets::kUdp) {
        packet.protocol = packets::kIcmp;
        packet.icmp_type = 8;
        packet.icmp_code = 0;
        packet.destination.port = 0;
    }
    packet.source.port = 20000 + static_cast<int>(number);
    packet.flags = packet.protocol != packets::kTcp ? uint8_t{0}
                   : dice.one_in(3)                 ? static_cast<uint8_t>(packets::kPsh | packets::kAck)
                                                    : static_cast<uint8_t>(packets::kSyn);
    packet.payload = packet.flags == packets::kSyn ? "" : packet.payload;
    packet.state = packets::kNew;
    packet.circumstances = now;
    return packet;
}

std::string place(const kernel::Arrival &arrival)
{
    const char *const names[] = {"nowhere", "the router", "the LAN", "the Internet"};
    std::string text = names[static_cast<size_t>(arrival.where)];
    if (arrival.where != kernel::Where::kNowhere) {
        text += " " + packets::endpoint_text(arrival.destination, packets::kTcp) + " as from " +
                packets::address_text(arrival.source.address);
    }
    return text;
}

kernel::Arrival expected(const Walk &walk, const Packet &packet)
{
    if (walk.verdict != Verdict::kAccept) {
        return {};
    }
    const kernel::Where where = walk.out == Side::kRouter ? kernel::Where::kRouter
                                : walk.out == Side::kLan  ? kernel::Where::kLan
                                                          : kernel::Where::kWan;
    const bool ports = packets::has_ports(packet.protocol);
    return {where, {walk.from.address, 0}, {walk.to.address, ports ? walk.to.port : 0}};
}

bool same(const kernel::Arrival &one, const kernel::Arrival &other)
{
    return one.where == other.where && one.source.address == other.source.address &&
           one.destination == other.destination;
}

// One example of a change, and what is said of it.
struct Example {
    enum What { kOpened, kClosed, kMoved } what;
    Packet packet;
};

std::vector<Example> examples_of(const bench::RouterFilter &before, const bench::RouterFilter &after,
                                 Side from)
{
    const packets::Space space(packets::texts_of({&before.rules, &after.rules}));
    const packets::Set asked = packets::new_connections(space, from);
    const packets::Difference difference =
        packets::difference(space, after.network, packets::flow(space, before.rules, before.network, asked),
                            packets::flow(space, after.rules, after.network, asked));
    std::vector<Example> examples;
    for (const auto &[rows, what] :
         {std::pair(&difference.opened, Example::kOpened), std::pair(&difference.closed, Example::kClosed),
          std::pair(&difference.moved, Example::kMoved)}) {
        for (const packets::Row &row : *rows) {
            examples.push_back({what, row.example});
        }
    }
    return examples;
}

bool can_be_sent(const Packet &packet)
{
    return packets::has_ports(packet.protocol) ||
           (packet.protocol == packets::kIcmp && packet.icmp_type == 8);
}

bool is_as_said(Example::What what, const kernel::Arrival &before, const kernel::Arrival &after)
{
    const bool came_before = before.where != kernel::Where::kNowhere;
    const bool comes_after = after.where != kernel::Where::kNowhere;
    return came_before == (what != Example::kOpened) && comes_after == (what != Example::kClosed) &&
           (what != Example::kMoved || before.where != after.where ||
            before.destination != after.destination);
}

// Where a packet ends by the kernel; the first error is kept.
kernel::Arrival arrival(const bench::RouterFilter &filter, const Packet &packet, std::string &error)
{
    const packets::Restore restore =
        packets::restore_file(filter.rules, filter.network, packet.circumstances);
    const kernel::Judgement judgement = kernel::judge(restore.text, filter.network, {packet});
    error = error.empty() ? judgement.error : error;
    return judgement.arrivals.empty() ? kernel::Arrival() : judgement.arrivals[0];
}

void ask_about(const Example &example, const bench::RouterFilter &before, const bench::RouterFilter &after,
               Judged &judged)
{
    const char *const names[] = {"opened", "closed", "sent elsewhere"};
    const kernel::Arrival was = arrival(before, example.packet, judged.error);
    const kernel::Arrival is = arrival(after, example.packet, judged.error);
    ++judged.packets;
    ++(example.what == Example::kOpened   ? judged.opened
       : example.what == Example::kClosed ? judged.closed
                                          : judged.moved);
    if (!is_as_said(example.what, was, is)) {
        judged.disagreements.push_back(
            std::string(names[example.what]) + " from " + packets::side_name(example.packet.from) + ": " +
            packets::packet_text(example.packet) + ": kernel before " + place(was) + ", after " + place(is));
    }
}

}  // namespace

std::vector<bench::Setting> judged_settings(Dice &dice)
{
    std::vector<bench::Setting> settings = random_settings(dice);
    std::erase_if(settings, [](const bench::Setting &setting) { return setting.key == "vpn"; });
    for (bench::Setting &setting : settings) {
        if (setting.key == "fw_acc_port" && setting.value == "80") {
            setting.value = "8000";  // a translation to the same port leaves no trace in today's kernel
        } else if (setting.key == "wan_ifname") {
            setting.value = "ppp0";
        }
    }
    return settings;
}

void ask_kernel(const bench::RouterFilter &filter, size_t packets, Dice &dice, Judged &judged)
{
    const packets::Circumstances now = {dice.one_in(2), dice.one_in(4), dice.one_in(6), dice.one_in(2),
                                        !dice.one_in(4)};
    const Packets random(filter);
    std::vector<Packet> sent;
    std::vector<Walk> walks;
    while (sent.size() < packets) {
        const Packet packet = opening(random, dice, now, sent.size());
        const Walk walk = packets::walk(filter.rules, filter.network, packet);
        if (can_be_judged(packet, walk)) {
            sent.push_back(packet);
            walks.push_back(walk);
        }
    }
    const packets::Restore restore = packets::restore_file(filter.rules, filter.network, now);
    const kernel::Judgement judgement = kernel::judge(restore.text, filter.network, sent);
    if (!judgement.error.empty()) {
        judged.error = judgement.error;
        return;
    }
    ++judged.rule_sets;
    for (const packets::ForeignLine &line : restore.foreign) {
        ++judged.foreign[packets::foreign_name(line.foreign)];
    }
    for (size_t i = 0; i < sent.size(); ++i) {
        const kernel::Arrival &arrival = judgement.arrivals[i];
        ++judged.packets;
        judged.local += arrival.where == kernel::Where::kRouter ? 1 : 0;
        judged.forwarded +=
            arrival.where == kernel::Where::kLan || arrival.where == kernel::Where::kWan ? 1 : 0;
        if (!same(expected(walks[i], sent[i]), arrival)) {
            judged.disagreements.push_back(std::string(packets::side_name(sent[i].from)) + ": " +
                                           packets::packet_text(sent[i]) + ": model " +
                                           place(expected(walks[i], sent[i])) + " by " + walks[i].reason +
                                           "; kernel " + place(arrival));
        }
    }
}

std::vector<bench::Setting> changed_settings(const std::vector<bench::Setting> &settings, Dice &dice)
{
    std::vector<bench::Setting> others = judged_settings(dice);
    std::erase_if(others, [](const bench::Setting &setting) { return !setting.key.starts_with("fw_"); });
    std::vector<bench::Setting> changed = settings;
    const size_t count = 1 + dice.roll(6);
    for (size_t i = 0; i < count && !others.empty(); ++i) {
        bench::set_entry(changed, dice.pick(others));
    }
    return changed;
}

void ask_kernel_about_change(const bench::RouterFilter &before, const bench::RouterFilter &after,
                             size_t examples, Judged &judged)
{
    ++judged.rule_sets;
    for (const Side from : {Side::kWan, Side::kLan}) {
        size_t asked = 0;
        for (const Example &example : examples_of(before, after, from)) {
            const bool is_judged =
                can_be_sent(example.packet) &&
                can_be_judged(example.packet, packets::walk(before.rules, before.network, example.packet)) &&
                can_be_judged(example.packet, packets::walk(after.rules, after.network, example.packet));
            if (is_judged && judged.error.empty() && asked < examples) {
                ++asked;
                ask_about(example, before, after, judged);
            }
        }
    }
}

}  // namespace agreement
