// The two ways through the packet filter agree, on rule sets that rc writes from random settings; and the
// comparison sees a difference where there is one.

#include "tests/packets/agreement.h"

#include <gtest/gtest.h>

namespace {

std::string first_of(const agreement::Count &count)
{
    return count.disagreements.empty() ? "" : count.disagreements[0];
}

TEST(FilterAgreement, StepsAndSetsSayTheSame)
{
    agreement::Dice dice(4711);
    agreement::Router router;
    agreement::Count count;
    for (int i = 0; i < 12; ++i) {
        const bench::RouterFilter filter = router.filter(agreement::random_settings(dice));
        agreement::compare(filter, filter, 1000, dice, count);
    }
    EXPECT_EQ(count.disagreements.size(), 0U) << first_of(count);
    EXPECT_GT(count.accepted, 3000U);
    EXPECT_LT(count.accepted, 9000U);
    EXPECT_GT(count.translated, 500U);
}

// One line less in one of the two.
TEST(FilterAgreement, SeesADifference)
{
    agreement::Dice dice(4712);
    agreement::Router router;
    const bench::RouterFilter whole = router.filter(agreement::random_settings(dice));
    for (const char *name : {"INPUT", "FORWARD"}) {
        bench::RouterFilter less = whole;
        less.rules.filter.find(name)->drops = !less.rules.filter.find(name)->drops;
        agreement::Count count;
        agreement::compare(whole, less, 1000, dice, count);
        EXPECT_GT(count.disagreements.size(), 0U) << name;
    }
    bench::RouterFilter moved = whole;
    moved.network.lan_address += 1;
    agreement::Count count;
    agreement::compare(whole, moved, 1000, dice, count);
    EXPECT_GT(count.disagreements.size(), 0U);
}

// A packet of each row gets the row's fate, step by step, and the rows of an answer make up the whole.
TEST(FilterAgreement, RowsAreTheSetThatWasAskedFor)
{
    agreement::Dice dice(4713);
    agreement::Router router;
    for (int i = 0; i < 6; ++i) {
        const bench::RouterFilter filter = router.filter(agreement::random_settings(dice));
        const packets::Space space(packets::texts_of({&filter.rules}));
        for (const packets::Side side : packets::kSides) {
            const packets::Set asked = packets::new_connections(space, side);
            const auto pieces = packets::flow(space, filter.rules, filter.network, asked);
            packets::Set all;
            for (const packets::Row &row : packets::rows_of(space, filter.network, pieces)) {
                EXPECT_TRUE((all & row.packets).empty());
                all |= row.packets;
                const packets::Walk walk = packets::walk(filter.rules, filter.network, row.example);
                EXPECT_EQ(walk.verdict, row.verdict) << packets::packet_text(row.example);
                EXPECT_EQ(walk.reason, row.reason) << packets::packet_text(row.example);
            }
            EXPECT_TRUE(all == asked);
        }
    }
}

// A line called idle can go: the pieces have the same verdicts and ends without it.
TEST(FilterAgreement, IdleLinesCanGo)
{
    agreement::Dice dice(4714);
    agreement::Router router;
    size_t tried = 0;
    for (int i = 0; i < 4; ++i) {
        const bench::RouterFilter filter = router.filter(agreement::random_settings(dice));
        const packets::Space space(packets::texts_of({&filter.rules}));
        const auto before = packets::flow(space, filter.rules, filter.network, space.packets());
        for (const packets::IdleLine &line : packets::idle_lines(space, filter.rules, filter.network)) {
            packets::RuleSet without = filter.rules;
            packets::Table &table = line.table == "nat" ? without.nat : without.filter;
            std::erase_if(table.find(line.chain)->rules,
                          [&](const packets::Rule &rule) { return rule.line == line.rule->line; });
            const auto after = packets::flow(space, without, filter.network, space.packets());
            EXPECT_TRUE(packets::difference(space, filter.network, before, after).empty()) << line.rule->text;
            ++tried;
        }
    }
    EXPECT_GT(tried, 20U);
}

}  // namespace
