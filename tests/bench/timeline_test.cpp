// The timeline of a run: what is folded, fitted and added up.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bench/show/timeline.h"

namespace {

using bench::Event;
using bench::Kind;
using bench::Line;
using Lines = std::vector<std::string>;

Event command(const std::string &text, int depth = 0)
{
    Event event;
    event.kind = Kind::kShell;
    event.text = text;
    event.depth = depth;
    return event;
}

Event pause(Kind kind, long length, int depth = 0)
{
    Event event;
    event.kind = kind;
    event.number = length;
    event.depth = depth;
    return event;
}

Lines folded(const Lines &texts)
{
    std::vector<Line> lines;
    for (const std::string &text : texts) {
        lines.push_back({bench::Tint::kPlain, text, 0});
    }
    Lines out;
    for (const Line &line : bench::folded(lines)) {
        out.push_back(line.text);
    }
    return out;
}

TEST(Timeline, ALineThatRepeatsIsFolded)
{
    Lines lines(1680, "  wait   1 s");
    lines.insert(lines.begin(), "  run    a");
    lines.emplace_back("  run    b");
    EXPECT_EQ(folded(lines), (Lines{"  run    a", "  wait   1 s", "  ... 1,680 times", "  run    b"}));
}

TEST(Timeline, ABlockOfLinesThatRepeatsIsFolded)
{
    Lines lines;
    for (int i = 0; i < 7; ++i) {
        lines.insert(lines.end(), {"  run    a", "  run    b", "  wait   1 s"});
    }
    lines.emplace_back("  run    a");
    EXPECT_EQ(folded(lines), (Lines{"  run    a", "  run    b", "  wait   1 s", "  ... these 3 lines 7 times",
                                    "  run    a"}));
}

TEST(Timeline, FewRepeatsStayAsTheyAre)
{
    const Lines lines = {"a", "a", "a", "b", "c", "b", "c", "b", "c"};
    EXPECT_EQ(folded(lines), lines);
}

TEST(Timeline, LongLinesAreBrokenAtSpacesUnderTheirText)
{
    const std::string line = "  run    /sbin/route add -net 10.1.2.0 netmask 255.255.255.0 gw 192.168.0.2";
    EXPECT_EQ(bench::broken(line, 9, 50), (Lines{"  run    /sbin/route add -net 10.1.2.0 netmask",
                                                 "         255.255.255.0 gw 192.168.0.2"}));
    EXPECT_EQ(bench::broken(line, 9, 80), (Lines{line}));
    for (const std::string &piece : bench::broken("  run    " + std::string(500, 'x'), 9, 60)) {
        EXPECT_LE(piece.size(), 60U);
    }
}

TEST(Timeline, AddsUpThePausesByWhatWasWaitedFor)
{
    bench::Trace trace;
    trace.events = {
        pause(Kind::kUsleep, 200000),       command("/sbin/insmod wl.ko"), pause(Kind::kSleep, 1),
        command("/usr/sbin/pppd &"),        pause(Kind::kSleep, 30),       pause(Kind::kSleep, 30),
        command("/sbin/insmod fast_br.ko"), pause(Kind::kUsleep, 1500000)};
    EXPECT_EQ(
        bench::time_spent(trace),
        "pauses of 62.7 s: 60 s after pppd in the background, 2.5 s after insmod, 0.2 s after its start");
}

TEST(Timeline, PausesOfRunsInTheBackgroundDelayNobodyAndAreAddedUpApart)
{
    bench::Trace trace;
    trace.events = {command("rc dnrd restart &"), command("killall dnrd", 1), pause(Kind::kSleep, 5, 1),
                    command("rc lan start"),      command("ifconfig", 1),     pause(Kind::kSleep, 2, 1)};
    EXPECT_EQ(
        bench::time_spent(trace),
        "pauses of 2 s: 2 s after ifconfig; meanwhile, in runs that it does not wait for, pauses of 5 s: "
        "5 s after killall");
    trace.events.resize(3);
    EXPECT_EQ(bench::time_spent(trace),
              "meanwhile, in runs that it does not wait for, pauses of 5 s: 5 s after killall");
    trace.events = {command("a"), pause(Kind::kUsleep, 900000)};
    EXPECT_EQ(bench::time_spent(trace), "");
}

TEST(Timeline, SaysWhichLimitCutARunOff)
{
    bench::Trace trace;
    EXPECT_EQ(bench::cut_off(trace), "");
    trace.timed_out = true;
    trace.limit = "pauses";
    EXPECT_EQ(bench::cut_off(trace), "cut off at the limit of pauses; --pauses sets it");
    EXPECT_EQ(bench::ending(trace), bench::cut_off(trace));
}

}  // namespace
