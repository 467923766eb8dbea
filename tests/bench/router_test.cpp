// The bench itself: what it records, in which order, and that it always ends.
#include "bench/router.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <thread>

namespace {

using bench::Root;

using State = bench::Setup;
using bench::Trace;
using Lines = std::vector<std::string>;

bench::Target probe_target()
{
    bench::Target target = bench::host_target("rc");
    target.program = target.helpers / "bench_probe";
    return target;
}

bench::Run probe(const Lines &words)
{
    bench::Run run;
    run.words = words;
    run.words.insert(run.words.begin(), "rc");
    return run;
}

Lines lines_of(const State &setup, const bench::Run &run, bool tools = false)
{
    Root root(probe_target(), setup);
    const Trace trace = root.run(run);
    EXPECT_EQ(trace.errors, "");
    return bench::trace_lines(trace, tools);
}

// ---- short forms ----------------------------------------------------------------------------------------

TEST(Bench, ARunIsAskedForInOneLine)
{
    Root root(probe_target(), {});
    const Trace trace = root.rc("sh true show two sh false");
    EXPECT_EQ(trace.status, 0);
    EXPECT_EQ(trace.commands(), (Lines{"true", "false"}));
    EXPECT_EQ(trace.lines(), (Lines{"two"}));
    EXPECT_EQ(trace.file("/etc/no_such_file"), nullptr);
}

TEST(Bench, SettingsAreChangedByKeyInTheirPlace)
{
    State setup;
    setup.settings = {{"a", "1"}, {"b", "2"}};
    Root root(probe_target(), setup);
    root.set({{"a", "x"}, {"c", "3"}});
    EXPECT_EQ(root.settings(), (std::vector<bench::Setting>{{"a", "x"}, {"b", "2"}, {"c", "3"}}));
    root.remove("/tmp/nvram");
    root.set({{"d", "4"}});
    EXPECT_EQ(root.settings(), (std::vector<bench::Setting>{{"d", "4"}}));
}

// ---- order ----------------------------------------------------------------------------------------------

TEST(Bench, CommandsPausesAndOutputKeepTheirOrder)
{
    const Lines lines = lines_of({},
                                 probe({"print", "one", "sh", "echo two; wlctl down", "print", "three",
                                        "usleep", "1", "pipe", "printf four", "sleep", "2"}),
                                 true);
    EXPECT_EQ(lines, (Lines{"out one", "sh echo two; wlctl down", "out two", "tool wlctl down", "out three",
                            "usleep 1", "sh printf four", "out [four] 0", "sleep 2"}));
}

TEST(Bench, ALineStandsWhereItsEndWasWritten)
{
    EXPECT_EQ(lines_of({}, probe({"show", "begin ", "sh", "true", "print", "end", "show", "last"})),
              (Lines{"sh true", "out begin end", "out+ last"}));
}

TEST(Bench, TheTextOfACommandIsExact)
{
    const std::string text = "echo  'a\tb' \"$X\" \\\\ # \x01\xFF \n";
    Root root(probe_target(), {});
    const Trace trace = root.run(probe({"sh", text}));
    ASSERT_FALSE(trace.events.empty());
    EXPECT_EQ(trace.events[0].text, text);
    EXPECT_EQ(bench::event_line(trace.events[0]), "sh echo  'a\\tb' \"$X\" \\\\\\\\ # \\x01\\xff \\n");
}

TEST(Bench, CommandsOfCommandsAndScriptsAreNotRcs)
{
    State setup;
    setup.files = {{"/tmp/script", "#!/bin/sh\nsh -c 'echo inner'\n"}};
    EXPECT_EQ(lines_of(setup, probe({"sh", "/tmp/script; sh -c 'echo outer'"})),
              (Lines{"sh /tmp/script; sh -c 'echo outer'", "out inner", "out outer"}));
}

TEST(Bench, BackgroundCommandsFinishAndAreRecorded)
{
    State setup;
    setup.effects = {{"udhcpd", "", "for i in 1 2 3 4 5 6 7 8 9; do /bin/true; done; echo done > /tmp/late"}};
    Root root(probe_target(), setup);
    const Trace trace = root.run(probe({"sh", "udhcpd &", "usleep", "1"}));
    EXPECT_EQ(bench::trace_lines(trace, true), (Lines{"sh udhcpd &", "tool udhcpd", "usleep 1"}));
    EXPECT_EQ(root.read("/tmp/late"), "done\n");
}

// ---- stand-ins ------------------------------------------------------------------------------------------

TEST(Bench, RepliesAnswerOneCallAfterTheOtherAndTheLastStays)
{
    State setup;
    setup.replies = {{"adslctl", "info", "first\n"}, {"/usr/sbin/adslctl", "info", "second\n", 3}};
    Root root(probe_target(), setup);
    const bench::Run run = probe({"pipe", "/usr/sbin/adslctl info", "pipe", "adslctl info --all"});
    EXPECT_EQ(root.run(run).output, "[first\n] 0\n[second\n] 768\n");
    EXPECT_EQ(root.run(run).output, "[second\n] 768\n[second\n] 768\n");
}

TEST(Bench, TheReplyWithMostWordsWins)
{
    State setup;
    setup.replies = {{"wlctl", "", "any"}, {"wlctl", "ssid  -C", "guest"}, {"wlctl", "ssid", "plain"}};
    Root root(probe_target(), setup);
    EXPECT_EQ(
        root.run(probe({"pipe", "wlctl ssid -C 1", "pipe", "wlctl ssid x", "pipe", "wlctl ssids"})).output,
        "[guest] 0\n[plain] 0\n[any] 0\n");
}

TEST(Bench, AReplyCanFailAndSayWhy)
{
    State setup;
    setup.replies = {{"insmod", "", "", 1, "no such module\n"}};
    Root root(probe_target(), setup);
    const Trace trace = root.run(probe({"sh", "insmod x || echo failed"}));
    EXPECT_EQ(trace.output, "failed\n");
    EXPECT_EQ(trace.errors, "no such module\n");
}

TEST(Bench, AnEffectActsOnTheRootBesideTheReply)
{
    State setup;
    setup.replies = {{"pppd", "", "connected\n"}};
    setup.effects = {{"pppd", "plugin pppoe", "/bin/cp /proc/uptime /tmp/wan_uptime; echo dialling"}};
    setup.files = {{"/proc/uptime", "77.00 1.00\n"}};
    Root root(probe_target(), setup);
    EXPECT_EQ(root.run(probe({"sh", "/usr/sbin/pppd plugin pppoe nas0"})).output, "dialling\nconnected\n");
    EXPECT_EQ(root.read("/tmp/wan_uptime"), "77.00 1.00\n");
}

TEST(Bench, WordsAreRecordedOneByOne)
{
    Root root(probe_target(), {});
    const Trace trace = root.run(probe({"sh", "iptables -m 'two words' \"\" end"}));
    ASSERT_EQ(trace.events.size(), 2U);
    EXPECT_EQ(trace.events[1].words, (Lines{"iptables", "-m", "two words", "", "end"}));
}

TEST(Bench, FileCommandsReallyAct)
{
    State setup;
    setup.files = {{"/etc/a", "text\n"}};
    Root root(probe_target(), setup);
    root.run(probe({"sh",
                    "/bin/cp /etc/a /etc/b; /bin/busybox cp /etc/a /etc/c; /bin/ln -sf /www.eng /tmp/www; "
                    "/bin/echo 1 > /proc/sys/net/ipv4/ip_forward; /usr/sbin/touch /tmp/t; rm /etc/a"}));
    EXPECT_EQ(root.read("/etc/b"), "text\n");
    EXPECT_EQ(root.read("/etc/c"), "text\n");
    EXPECT_EQ(root.read("/proc/sys/net/ipv4/ip_forward"), "1\n");
    EXPECT_EQ(root.read("/tmp/t"), "");
    EXPECT_FALSE(root.exists("/etc/a"));
    EXPECT_EQ(std::filesystem::read_symlink(root.host_path("/tmp/www")), "/www.eng");
}

// ---- pauses, clock, calls -------------------------------------------------------------------------------

TEST(Bench, SomethingHappensAtThePauseAskedFor)
{
    bench::Run run = probe({"sleep", "60", "usleep", "9", "usleep", "10", "sh", "cat /tmp/now", "sleep", "1",
                            "sh", "cat /tmp/now"});
    run.pauses = {{2, "echo second > /tmp/now; echo unseen"}, {3, "echo third > /tmp/now; wlctl unseen"}};
    Root root(probe_target(), {});
    const Trace trace = root.run(run);
    EXPECT_EQ(bench::trace_lines(trace, true),
              (Lines{"sleep 60", "usleep 9", "usleep 10", "sh cat /tmp/now", "out second", "sleep 1",
                     "sh cat /tmp/now", "out third"}));
    EXPECT_LT(trace.seconds, 10);
}

TEST(Bench, CommandsInTheBackgroundEndBeforeAPauseDoes)
{
    State setup;
    setup.effects = {{"pppd", "", "for i in 1 2 3 4 5 6 7 8 9; do /bin/true; done; echo up > /tmp/up"}};
    bench::Run run = probe({"sh", "pppd &", "sleep", "60", "sh", "cat /tmp/up"});
    run.pauses = {{1, "echo later >> /tmp/up"}};
    EXPECT_EQ(lines_of(setup, run),
              (Lines{"sh pppd &", "sleep 60", "sh cat /tmp/up", "out up", "out later"}));
    bench::Run nested = probe({"sh", "rc sh 'pppd &' sleep 1 sh 'cat /tmp/up'"});
    nested.nested = true;
    EXPECT_EQ(lines_of(setup, nested).back(), "> out up");
}

TEST(Bench, CallsThatWouldChangeTheMachineAreRecorded)
{
    EXPECT_EQ(lines_of({}, probe({"names", "a b", "klog", "7", "kill", "2"})),
              (Lines{"hostname a b", "domainname a b", "out 0 0", "klog 7", "out 0", "kill 2 15", "out 0"}));
    bench::Run failing = probe({"names", "x", "klog", "6"});
    failing.calls_fail = true;
    EXPECT_EQ(lines_of({}, failing), (Lines{"hostname x", "domainname x", "out -1 -1", "klog 6", "out -1"}));
}

TEST(Bench, PausesAloneMoveTheClock)
{
    bench::Run run = probe({"clock", "sleep", "5", "clock", "usleep", "1500000", "clock"});
    run.clock = 86400;
    bench::Root root(probe_target(), State{});
    const bench::Trace trace = root.run(run);
    EXPECT_EQ(bench::trace_lines(trace),
              (Lines{"out 86400", "sleep 5", "out 86405", "usleep 1500000", "out 86406"}));
    EXPECT_EQ(trace.clock_end, 86406500000);
}

TEST(Bench, ARunThatACommandStartsBeginsAtItsTimeAndMovesTheClockOfTheRunThatWaits)
{
    bench::Run run = probe({"sleep", "5", "sh", "rc sleep 7 clock; rc clock", "clock"});
    run.clock = 86400;
    run.nested = true;
    EXPECT_EQ(lines_of({}, run), (Lines{"sleep 5", "sh rc sleep 7 clock; rc clock", "> sleep 7",
                                        "> out 86412", "> out 86412", "out 86412"}));
}

TEST(Bench, WhatIsInTheBackgroundMovesTheClockOfNobodyElse)
{
    bench::Run run = probe({"sh", "rc sleep 7 clock &", "sleep", "1", "clock"});
    run.clock = 86400;
    run.nested = true;
    bench::Root root(probe_target(), State{});
    const bench::Trace trace = root.run(run);
    EXPECT_EQ(bench::trace_lines(trace),
              (Lines{"sh rc sleep 7 clock &", "> sleep 7", "> out 86407", "sleep 1", "out 86401"}));
    EXPECT_EQ(trace.clock_end, 86407000000);
}

TEST(Bench, ACommandCanStandInThePlaceOfRc)
{
    bench::Run run;
    run.command = "rc sleep 2 clock; ifconfig eth7 up";
    run.environment = {"PATH=/bin:/sbin:/usr/sbin:/usr/bin"};
    run.clock = 86400;
    run.nested = true;
    bench::Root root(probe_target(), State{});
    const bench::Trace trace = root.run(run);
    EXPECT_EQ(bench::trace_lines(trace, true),
              (Lines{"sh rc sleep 2 clock; ifconfig eth7 up", "tool rc sleep 2 clock", "> sleep 2",
                     "> out 86402", "tool ifconfig eth7 up"}));
    EXPECT_EQ(trace.clock_end, 86402000000);
}

TEST(Bench, LocalTimeIsTheProgramsOwnBusiness)
{
    State setup;
    setup.files = {{"/etc/TZ", "EST5EDT,M3.2.0,M11.1.0\n"}};
    // Noon UTC on 2024-01-15: a program that sets no TZ sees UTC, whatever the router's file says.
    EXPECT_EQ(lines_of(setup, probe({"zone", "1705320000"})), (Lines{"out 12:00 12:00"}));
}

// ---- runs of rc started by rc ---------------------------------------------------------------------------

TEST(Bench, ARunStartedByRcIsOnlyRecorded)
{
    EXPECT_EQ(lines_of({}, probe({"sh", "/sbin/rc print x; rc print y; /usr/sbin/rc print z"}), true),
              (Lines{"sh /sbin/rc print x; rc print y; /usr/sbin/rc print z", "tool /sbin/rc print x",
                     "tool rc print y", "tool /usr/sbin/rc print z"}));
}

TEST(Bench, ANestedRunStandsInItsPlace)
{
    bench::Run run = probe(
        {"sh", "echo before; /sbin/rc print in sleep 1 sh 'rc print deep'; echo after", "print", "end"});
    run.nested = true;
    EXPECT_EQ(lines_of({}, run),
              (Lines{"sh echo before; /sbin/rc print in sleep 1 sh 'rc print deep'; echo after", "out before",
                     "> out in", "> sleep 1", "> sh rc print deep", "> > out deep", "out after", "out end"}));
}

TEST(Bench, ANestedRunInTheBackgroundStandsBehindItsCommand)
{
    bench::Run run = probe({"sh", "rc print one sleep 1 print two &", "print", "end", "sleep", "3"});
    run.nested = true;
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(lines_of({}, run), (Lines{"sh rc print one sleep 1 print two &", "> out one", "> sleep 1",
                                            "> out two", "out end", "sleep 3"}));
    }
}

TEST(Bench, ANestedRunsOutputGoesWhereItsCommandSendsIt)
{
    bench::Run run = probe({"pipe", "rc print caught", "sh", "rc print kept > /tmp/kept"});
    run.nested = true;
    Root root(probe_target(), {});
    EXPECT_EQ(bench::trace_lines(root.run(run)),
              (Lines{"sh rc print caught", "out [caught", "out ] 0", "sh rc print kept > /tmp/kept"}));
    EXPECT_EQ(root.read("/tmp/kept"), "kept\n");
}

TEST(Bench, PausesOfNestedRunsAreNotCounted)
{
    bench::Run run = probe({"sh", "rc sleep 1", "sleep", "2", "sh", "cat /tmp/first"});
    run.nested = true;
    run.pauses = {{1, "echo outer > /tmp/first"}};
    EXPECT_EQ(lines_of({}, run),
              (Lines{"sh rc sleep 1", "> sleep 1", "sleep 2", "sh cat /tmp/first", "out outer"}));
}

// ---- how runs end ---------------------------------------------------------------------------------------

TEST(Bench, ExitStatusAndSignal)
{
    Root root(probe_target(), {});
    EXPECT_EQ(root.run(probe({"exit", "255"})).status, 255);
    const Trace killed = root.run(probe({"pid", "sh", "kill $PPID", "print", "never"}));
    EXPECT_EQ(killed.signal, 15);
    EXPECT_EQ(killed.status, 143);
    EXPECT_EQ(bench::trace_lines(killed), (Lines{"out 2", "sh kill $PPID"}));
}

TEST(Bench, ARunPastItsLimitIsKilledWithAllItStarted)
{
    bench::Run run = probe({"print", "start", "sh", "yes > /dev/null & while :; do :; done"});
    run.limit = 1;
    Root root(probe_target(), {});
    const Trace trace = root.run(run);
    EXPECT_TRUE(trace.timed_out);
    EXPECT_EQ(trace.signal, 9);
    EXPECT_EQ(bench::trace_lines(trace), (Lines{"out start", "sh yes > /dev/null & while :; do :; done"}));
    EXPECT_LT(trace.seconds, 60) << "about a second when nobody else needs the processor";
}

TEST(Bench, ALeftOverCommandIsKilledAtTheLimitToo)
{
    bench::Run run = probe({"sh", "while :; do :; done &", "exit", "4"});
    run.limit = 1;
    Root root(probe_target(), {});
    const Trace trace = root.run(run);
    EXPECT_TRUE(trace.timed_out);
    EXPECT_EQ(trace.status, 4);
}

TEST(Bench, ARunThatPausesForEverIsEnded)
{
    Lines words;
    for (int i = 0; i < 20; ++i) {
        words.insert(words.end(), {"sleep", "60"});
    }
    bench::Run run = probe(words);
    run.most_pauses = 10;
    Root root(probe_target(), {});
    const Trace trace = root.run(run);
    EXPECT_TRUE(trace.timed_out);
    EXPECT_EQ(trace.events.size(), 11U);
}

TEST(Bench, AProgramThatIsNotThereIsAnError)
{
    bench::Target target = probe_target();
    target.program = "/nonexistent/rc";
    Root root(target, {});
    EXPECT_THROW(root.run(probe({})), bench::Error);
}

// ---- what is around rc ----------------------------------------------------------------------------------

TEST(Bench, InterfacesHaveTheirAddresses)
{
    State setup;
    setup.interfaces = {{"br0", "192.168.1.1"}, {"nas0", "10.1.2.3", 30, "00:11:22:33:44:5a"}, {"eth0", ""}};
    EXPECT_EQ(
        lines_of(setup, probe({"address", "br0", "address", "nas0", "address", "eth0", "address", "ppp0"})),
        (Lines{"out 192.168.1.1 255.255.255.0 192.168.1.255 01", "out 10.1.2.3 255.255.255.252 10.1.2.3 5a",
               "out none none none 03", "out none none none 00"}));
}

TEST(Bench, NamesResolveFromTheRootAloneAndAtOnce)
{
    State setup;
    setup.interfaces = {{"nas0", "10.1.2.3"}};
    setup.files = {{"/etc/resolv.conf", "nameserver 10.1.2.1\n"}, {"/etc/hosts", "10.9.9.9 here.example\n"}};
    Root root(probe_target(), setup);
    const Trace trace = root.run(probe({"resolve", "here.example", "resolve", "away.example"}));
    EXPECT_EQ(trace.output, "known\nunknown\n");
    EXPECT_LT(trace.seconds, 2);
}

TEST(Bench, FilesAndSettingsChangedAreListed)
{
    State setup;
    setup.settings = {{"a", "1"}, {"b", "2"}};
    setup.files = {{"/etc/same", "x\n"}, {"/etc/gone", ""}, {"/etc/longer", "one\n"}};
    Root root(probe_target(), setup);
    const Trace trace =
        root.run(probe({"sh",
                        "echo x > /etc/same; rm /etc/gone; echo two >> /etc/longer; mkdir /etc/new; "
                        "printf 'a=1\\0c=3\\0\\0' > /tmp/nvram"}));
    std::string list;
    for (const bench::FileChange &change : trace.files) {
        list += std::to_string(static_cast<int>(change.what)) + change.type + " " + change.path + " " +
                bench::escape(change.before) + ">" + bench::escape(change.after) + "\n";
    }
    EXPECT_EQ(list,
              "3f /etc/gone >\n"
              "1f /etc/longer one\\n>one\\ntwo\\n\n"
              "0d /etc/new >\n"
              "2f /etc/same x\\n>x\\n\n"
              "1f /tmp/nvram a=1\\x00b=2\\x00\\x00>a=1\\x00c=3\\x00\\x00\n");
    ASSERT_EQ(trace.settings.size(), 2U);
    EXPECT_EQ(trace.settings[0].key, "c");
    EXPECT_EQ(trace.settings[0].before, std::nullopt);
    EXPECT_EQ(trace.settings[1].key, "b");
    EXPECT_EQ(trace.settings[1].after, std::nullopt);
    EXPECT_EQ(root.setting("c"), "3");
}

TEST(Bench, TheRootIsAsItWasAskedFor)
{
    State setup;
    setup.settings.reset();
    setup.defaults = {{"k", "v"}};
    setup.files = {{"/var/run/marker", "1"}, {"/usr/sbin/wlctl", "#!/bin/sh\necho mine\n"}};
    setup.removed = {"/proc/special/pnat", "/usr/sbin/brctl"};
    setup.directories = {"/etc/TZ", "/proc/led"};
    Root root(probe_target(), setup);
    EXPECT_FALSE(root.exists("/tmp/nvram"));
    EXPECT_EQ(root.read("/etc/default"), std::string("k=v\0\0", 5));
    EXPECT_EQ(root.read("/tmp/var/run/marker"), "1");
    const Trace trace =
        root.run(probe({"sh", "wlctl", "append", "/etc/TZ", "x", "sh", "ls /proc/special", "sh", "brctl"}));
    EXPECT_EQ(trace.output, "mine\ncannot open\n");
    EXPECT_NE(trace.errors.find("brctl"), std::string::npos);
}

TEST(Bench, AFileOnAFullDiskCannotBeWritten)
{
    Root root(probe_target(), {});
    root.make_link("/etc/hosts", "/dev/full");
    EXPECT_EQ(root.run(probe({"append", "/etc/hosts", "text"})).output, "cannot write\n");
}

TEST(Bench, LinksAreFollowedInsideTheRoot)
{
    State setup;
    setup.files = {{"/www.eng/page", "inside\n"}};
    Root root(probe_target(), setup);
    root.make_link("/tmp/www", "/www.eng");
    root.make_link("/tmp/up", "../../../www.eng/page");
    root.make_link("/tmp/loop", "loop");
    EXPECT_EQ(root.read("/tmp/www/page"), "inside\n");
    EXPECT_EQ(root.read("/tmp/up"), "inside\n");
    EXPECT_THROW((void)root.read("/tmp/loop"), bench::Error);
    root.write("/tmp/www/new", "x");
    EXPECT_EQ(root.read("/www.eng/new"), "x");
}

TEST(Bench, NothingOutsideCanBeSeenOrKept)
{
    Root root(probe_target(), {});
    EXPECT_EQ(root.run(probe({"sh", "ls /home /root /work 2>/dev/null; echo $HOME$USER"})).output, "\n");
    const std::filesystem::path directory = root.directory();
    EXPECT_TRUE(std::filesystem::exists(directory));
    {
        Root kept(probe_target(), {}, directory / "tmp/kept");
    }
    EXPECT_TRUE(std::filesystem::exists(directory / "tmp/kept/etc/default"));
    EXPECT_THROW(Root(probe_target(), {}, directory / "tmp/kept"), bench::Error);
}

TEST(Bench, ARootIsRemovedAtTheEnd)
{
    std::filesystem::path directory;
    {
        Root root(probe_target(), {});
        directory = root.directory();
        root.run(probe({"sh", "mkdir -p /tmp/closed/in; chmod 000 /tmp/closed"}));
    }
    EXPECT_FALSE(std::filesystem::exists(directory));
}

TEST(Bench, AShellLooksIntoTheRoot)
{
    State setup;
    setup.replies = {{"ps", "", "1 init\n"}};
    setup.files = {{"/etc/a", "b\n"}};
    Root root(probe_target(), setup);
    EXPECT_EQ(root.shell("cat /etc/a; ps"), "b\n1 init\n");
}

TEST(Bench, ManyRootsAtOnce)
{
    std::vector<std::thread> threads;
    threads.reserve(8);
    std::vector<std::string> outputs(8);
    for (std::string &output : outputs) {
        threads.emplace_back([&output] {
            for (int i = 0; i < 5; ++i) {
                Root root(probe_target(), {});
                output += root.run(probe({"sh", "echo a > /tmp/f & wait; cat /tmp/f"})).output;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (const std::string &output : outputs) {
        EXPECT_EQ(output, "a\na\na\na\na\n");
    }
}

// ---- text forms -----------------------------------------------------------------------------------------

TEST(BenchText, EscapesComeBack)
{
    std::string all;
    for (int i = 0; i < 256; ++i) {
        all += static_cast<char>(i);
    }
    EXPECT_EQ(bench::unescape(bench::escape(all)), all);
    EXPECT_EQ(bench::escape("a b\t\\\n \x01"), "a b\\t\\\\\\n \\x01");
    EXPECT_EQ(bench::escape("end "), "end\\x20");
    EXPECT_EQ(bench::unescape("\\x41\\xffz"), "A\xFFz");
    for (const char *wrong : {"\\", "\\q", "\\x", "\\x4", "\\xg0"}) {
        EXPECT_THROW((void)bench::unescape(wrong), bench::Error) << wrong;
    }
}

TEST(BenchText, StoresComeBack)
{
    const std::vector<bench::Setting> settings = {{"a", "1"}, {"b", ""}, {"c", "x=y"}};
    EXPECT_EQ(bench::store_bytes(settings), std::string("a=1\0b=\0c=x=y\0\0", 14));
    EXPECT_EQ(bench::store_settings(bench::store_bytes(settings)), settings);
    EXPECT_EQ(bench::store_bytes({}), std::string(1, '\0'));
    EXPECT_TRUE(bench::store_settings("").empty());
    const std::vector<bench::Setting> torn =
        bench::store_settings(std::string_view("a=1\0noequals\0b=2", 16));
    EXPECT_EQ(torn, (std::vector<bench::Setting>{{"a", "1"}, {"noequals", ""}, {"b", "2"}}));
}

class TextFile {
  public:
    explicit TextFile(const std::string &text) : path_(testing::TempDir() + "bench-text-XXXXXX")
    {
        close(mkstemp(path_.data()));
        std::ofstream(path_) << text;
    }
    ~TextFile() { std::filesystem::remove(path_); }
    TextFile(const TextFile &) = delete;
    TextFile &operator=(const TextFile &) = delete;
    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

std::string message_of(const std::string &settings_text)
{
    const TextFile file(settings_text);
    try {
        (void)bench::read_settings_text(file.path());
    } catch (const bench::Error &error) {
        return std::string(error.what()).substr(file.path().size());
    }
    return "no error";
}

TEST(BenchText, SettingsFilesAreReadWithTheirEscapes)
{
    const TextFile file("## text: a list\nlist=a:b\\x01c:d\\x01\n\nempty=\n# no=entry\nq=\\\\n\n");
    EXPECT_EQ(bench::read_settings_text(file.path()), (std::vector<bench::Setting>{{"list",
                                                                                    "a:b\x01"
                                                                                    "c:d\x01"},
                                                                                   {"empty", ""},
                                                                                   {"q", "\\n"}}));
    EXPECT_EQ(message_of("a=1\nb\n"), ":2: no \"=\" in entry");
    EXPECT_EQ(message_of("=1\n"), ":1: no key before \"=\"");
    EXPECT_EQ(message_of("a=\\z\n"), ":1: a backslash begins \\n, \\t, \\\\ or \\xHH");
}

TEST(BenchText, RepliesFilesAreRead)
{
    const TextFile file(
        "# usual answers\nreply adslctl info\n| Status: Showtime\n|\n| end\nstatus-reply 3 lsmod\n"
        "effect pppd plugin  => echo a => b\n");
    std::vector<bench::Reply> replies;
    std::vector<bench::Effect> effects;
    bench::read_replies_text(file.path(), replies, effects);
    ASSERT_EQ(replies.size(), 2U);
    EXPECT_EQ(replies[0].output, "Status: Showtime\n\nend\n");
    EXPECT_EQ(replies[1].tool, "lsmod");
    EXPECT_EQ(replies[1].status, 3);
    ASSERT_EQ(effects.size(), 1U);
    EXPECT_EQ(effects[0].words, "plugin");
    EXPECT_EQ(effects[0].command, "echo a => b");
    const TextFile wrong("answer x\n");
    EXPECT_THROW(bench::read_replies_text(wrong.path(), replies, effects), bench::Error);
}

}  // namespace
