#include "bench/rcbench/passing.h"

#include <algorithm>

#include "bench/rcbench/reach_changes.h"

namespace rcbench {

namespace {

using packets::Piece;
using packets::Side;
using packets::Space;
using packets::Verdict;

using Pieces = std::vector<Piece>;
using Rows = std::vector<packets::Row>;

using Wanted = bool (*)(const Piece &);

bool is_accepted(const Piece &piece)
{
    return piece.verdict == Verdict::kAccept;
}

// Of what comes from the Internet.
bool is_let_in(const Piece &piece)
{
    return piece.verdict == Verdict::kAccept && piece.out != Side::kWan;
}

bool is_sent_back(const Piece &piece)
{
    return piece.verdict == Verdict::kAccept && piece.out == Side::kWan;
}

// Not what the kernel's routing drops whatever the rules are.
bool is_stopped(const Piece &piece)
{
    return piece.verdict != Verdict::kAccept && !piece.reason.starts_with("routing: ");
}

bool is_for_router(const Piece &piece)
{
    return piece.verdict == Verdict::kAccept && piece.out == Side::kRouter;
}

// Whether a rule does something to packets for what they carry; a call of an empty chain does nothing.
bool acts_on_payload(const packets::Table &table)
{
    const auto acts = [&](const packets::Rule &rule) {
        const bool looks = std::any_of(rule.matches.begin(), rule.matches.end(), [](const auto &match) {
            return std::holds_alternative<packets::StringMatch>(match);
        });
        const bool is_call = rule.target.action == packets::Action::kJump;
        return looks && !(is_call && table.chains[rule.target.chain_index].rules.empty());
    };
    return std::any_of(table.chains.begin(), table.chains.end(), [&](const packets::Chain &chain) {
        return std::any_of(chain.rules.begin(), chain.rules.end(), acts);
    });
}

class Tables {
  public:
    // `examples`: each row with a packet.
    Tables(const Space &space, const bench::RouterFilter &filter, bool examples)
        : space_(space), filter_(filter), examples_(examples)
    {
    }

    std::vector<PassingTable> all(std::optional<Side> from)
    {
        if (!from || *from == Side::kWan) {
            add_internet();
        }
        if (from ? *from == Side::kTunnel : has_tunnels(filter_.network)) {
            add("Let in from a tunnel", Side::kTunnel, is_accepted);
        }
        if (!from || *from == Side::kLan) {
            add_lan();
        }
        if (from == Side::kRouter) {
            add("Sent by the router itself", Side::kRouter, is_accepted);
        }
        return std::move(tables_);
    }

  private:
    Pieces pieces_of(const packets::Set &set) const
    {
        return packets::flow(space_, filter_.rules, filter_.network, set);
    }

    Rows rows(Pieces pieces, Wanted wanted) const
    {
        std::erase_if(pieces, [&](const Piece &piece) { return !wanted(piece); });
        return packets::rows_of(space_, filter_.network, pieces, examples_);
    }

    void add(const std::string &heading, Side side, Wanted wanted)
    {
        tables_.push_back({heading, side, rows(pieces_of(packets::new_connections(space_, side)), wanted)});
    }

    // A forwarding to an address that is on no other side turns packets back; most routers have none.
    void add_internet()
    {
        const Pieces pieces = pieces_of(packets::new_connections(space_, Side::kWan));
        tables_.push_back({"Let in from the Internet", Side::kWan, rows(pieces, is_let_in)});
        if (std::any_of(pieces.begin(), pieces.end(), is_sent_back)) {
            tables_.push_back(
                {"Sent back to the Internet, to no host of the LAN", Side::kWan, rows(pieces, is_sent_back)});
        }
    }

    void add_lan()
    {
        const Pieces pieces = pieces_of(packets::new_connections(space_, Side::kLan));
        tables_.push_back({"The router's own ports, from the LAN", Side::kLan, rows(pieces, is_for_router)});
        tables_.push_back({"Kept from LAN hosts", Side::kLan, rows(pieces, is_stopped)});
        tables_.push_back({"Kept from LAN hosts within connections", Side::kLan, by_payload()});
    }

    // What is stopped for what it carries: data that would pass if it carried nothing that rules look for.
    Rows by_payload() const
    {
        const size_t texts = space_.texts().size();
        if (!acts_on_payload(filter_.rules.nat) && !acts_on_payload(filter_.rules.filter)) {
            return {};
        }
        Pieces pieces = pieces_of(packets::running_data(space_, Side::kLan));
        packets::Set mute = packets::accepted(pieces);
        for (size_t i = 0; i < texts; ++i) {
            mute &= packets::Set::bit(packets::kTextBits + static_cast<int>(i), false);
        }
        mute = mute.without(packets::Set::bits(packets::kTextBits, static_cast<int>(texts)));
        for (Piece &piece : pieces) {
            piece.packets &= mute;
        }
        return rows(std::move(pieces), is_stopped);
    }

    const Space &space_;
    const bench::RouterFilter &filter_;
    bool examples_;
    std::vector<PassingTable> tables_;
};

}  // namespace

std::vector<PassingTable> passing_tables(const Space &space, const bench::RouterFilter &filter,
                                         std::optional<Side> from, bool examples)
{
    return Tables(space, filter, examples).all(from);
}

}  // namespace rcbench
