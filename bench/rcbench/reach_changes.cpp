#include "bench/rcbench/reach_changes.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <utility>

#include "bench/packets/walk.h"
#include "bench/rcbench/filter.h"
#include "bench/rcbench/reach_tables.h"

namespace rcbench {

namespace {

using packets::Difference;
using packets::Row;
using packets::Side;
using packets::Verdict;

using Rows = std::vector<Row>;

std::string outcome(const packets::Walk &walk, const packets::Packet &packet)
{
    return walk.verdict == Verdict::kAccept ? "accept, to " + packets::endpoint_text(walk.to, packet.protocol)
                                            : packets::verdict_name(walk.verdict);
}

std::string heading_of(const ChangesForm &form, const std::string &kind)
{
    std::string text = form.heading + (kind == "moved" ? "sent elsewhere" : kind);
    text[0] = static_cast<char>(toupper(static_cast<unsigned char>(text[0])));
    return text;
}

}  // namespace

bool has_tunnels(const packets::Network &network)
{
    return std::any_of(network.routes.begin(), network.routes.end(),
                       [](const packets::Route &route) { return route.side == Side::kTunnel; });
}

Changes::Changes(const bench::RouterFilter &before, const bench::RouterFilter &after, ChangesForm form)
    : before_(before),
      after_(after),
      form_(std::move(form)),
      space_(packets::texts_of({&before.rules, &after.rules}))
{
}

bool Changes::compare(std::optional<Side> from)
{
    const bool tunnels = has_tunnels(before_.network) || has_tunnels(after_.network);
    bool differs = false;
    for (const Side side : {Side::kWan, Side::kLan, Side::kTunnel, Side::kRouter}) {
        if (from ? *from == side : side != Side::kTunnel || tunnels) {
            differs = compare_side(side) || differs;
        }
    }
    return differs;
}

bool Changes::compare_side(Side side)
{
    const Difference opening = difference(packets::new_connections(space_, side));
    Difference running = difference(packets::running_data(space_, side));
    leave_out(running, opening, side);
    show(side, opening, "");
    show(side, running, " within connections");
    return !opening.empty() || !running.empty();
}

Difference Changes::difference(const packets::Set &set) const
{
    return packets::difference(space_, after_.network,
                               packets::flow(space_, before_.rules, before_.network, set),
                               packets::flow(space_, after_.rules, after_.network, set));
}

// Changes of data in connections that cannot be opened, or can only now, are no news.
void Changes::leave_out(Difference &running, const Difference &opening, Side side) const
{
    const packets::Set state =
        packets::Set::bits(packets::kStateBits, 2) &
        packets::Set::bits(packets::kFlagBits, packets::kTextBits - packets::kFlagBits);
    packets::Set known;
    for (const Rows *rows : {&opening.opened, &opening.closed, &opening.moved}) {
        for (const Row &row : *rows) {
            known |= row.packets.without(state);
        }
    }
    known &= packets::running_data(space_, side);
    for (Rows *rows : {&running.opened, &running.closed, &running.moved}) {
        std::erase_if(*rows, [&](const Row &row) { return (row.packets - known).empty(); });
    }
}

void Changes::show(Side side, const Difference &difference, const std::string &where)
{
    show_rows(side, "opened", difference.opened, where);
    show_rows(side, "closed", difference.closed, where);
    show_rows(side, "moved", difference.moved, where);
}

void Changes::show_rows(Side side, const std::string &kind, const Rows &rows, const std::string &where)
{
    if (rows.empty()) {
        return;
    }
    if (!form_.json) {
        bench::Printer{stdout, form_.style}.line(
            bench::Tint::kHead, heading_of(form_, kind) + " from " + packets::side_name(side) + where);
        print_table_of(rows, form_.causes);
    }
    for (const Row &row : rows) {
        confirm(side, kind, row, where);
    }
}

// The example goes through both rule sets once more, step by step.
void Changes::confirm(Side side, const std::string &kind, const Row &row, const std::string &where)
{
    const packets::Walk was = packets::walk(before_.rules, before_.network, row.example);
    const packets::Walk now = packets::walk(after_.rules, after_.network, row.example);
    const bool opens = was.verdict != Verdict::kAccept && now.verdict == Verdict::kAccept;
    const bool closes = was.verdict == Verdict::kAccept && now.verdict != Verdict::kAccept;
    const bool moves =
        was.verdict == Verdict::kAccept && now.verdict == Verdict::kAccept && !(was.to == now.to);
    if (!(kind == "opened" ? opens : kind == "closed" ? closes : moves)) {
        throw forms::Failure(forms::kFailed,
                             "sets and steps disagree about " + packets::packet_text(row.example));
    }
    if (!form_.json) {
        printf("  example: %s\n    before: %s; after: %s\n", packets::packet_text(row.example).c_str(),
               outcome(was, row.example).c_str(), outcome(now, row.example).c_str());
        return;
    }
    bench::Json json = json_row(side, row);
    json["change"] = kind;
    json["within_connections"] = !where.empty();
    json["before"] = outcome(was, row.example);
    json["after"] = outcome(now, row.example);
    list_.push_back(json);
}

}  // namespace rcbench
