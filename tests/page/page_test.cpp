// A page for a browser: whatever settings hold is text there, secrets are masked, and it needs nothing else.
#include "bench/page/page.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "bench/page/secrets.h"
#include "forms/descriptions.h"
#include "tests/programs.h"

namespace {

namespace fs = std::filesystem;

constexpr const char *kHostile =
    "</script><script>alert(1)</script>\"'><img src=x onerror=alert(2)>&amp;\x01\xff";

size_t count(const std::string &text, const std::string &part)
{
    size_t number = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++number;
    }
    return number;
}

bench::Event event(bench::Kind kind, int depth, const std::string &text)
{
    bench::Event made;
    made.kind = kind;
    made.depth = depth;
    made.text = text;
    return made;
}

bench::Event command(const std::string &text)
{
    return event(bench::Kind::kShell, 0, text);
}

bench::Event pause(int depth, long seconds)
{
    bench::Event made = event(bench::Kind::kSleep, depth, "");
    made.number = seconds;
    return made;
}

TEST(Page, TextIsNeverMarkup)
{
    EXPECT_EQ(page::text("a<b>&\"'\n"), "a&lt;b&gt;&amp;&quot;&#39;\n");
    EXPECT_EQ(page::text("\x01\x1b\xff\t"), "\\x01\\x1b\\xff\\t");
    const std::string hostile = page::text(kHostile);
    EXPECT_EQ(hostile.find_first_of("<>\"'"), std::string::npos);
}

TEST(Page, AHostileTraceStaysText)
{
    bench::Trace trace;
    trace.events = {command(kHostile), pause(0, 5), event(bench::Kind::kOut, 1, kHostile)};
    trace.errors = kHostile;
    trace.files = {{.path = std::string("/etc/") + kHostile, .before = "x\n", .after = kHostile}};
    trace.settings = {{kHostile, kHostile, std::nullopt}};
    const std::vector<std::string> words = {"rc", kHostile};
    std::vector<page::Chapter> chapters = page::run_chapters(1, words, trace);
    chapters.push_back({"time", kHostile, page::time_picture({words}, {trace})});
    bench::FilterChains chains = {{"filter", kHostile, kHostile}};
    chains[0].rules.push_back({{{kHostile}, 1}, std::string("-A INPUT -j ") + kHostile});
    chapters.push_back(page::filter_chapter(chains, {}));
    chapters.push_back({"table", "Table", page::table({kHostile}, {{kHostile}})});
    const std::string html = page::page(kHostile, kHostile, chapters);
    EXPECT_EQ(count(html, "<script>"), 1U);  // its own
    EXPECT_EQ(count(html, "</script>"), 1U);
    EXPECT_EQ(count(html, "<img"), 0U);
    EXPECT_GE(count(html, "&lt;img src=x onerror=alert(2)&gt;"), 10U);
    // No line end of a hostile text ends an attribute, and no byte is outside of ASCII.
    for (const char c : html) {
        ASSERT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << static_cast<int>(c);
    }
}

TEST(Page, ChainsAreInTheOrderInWhichAPacketMeetsThem)
{
    bench::FilterChains chains(7);
    const std::vector<std::pair<const char *, const char *>> names = {
        {"nat", "PREROUTING"}, {"nat", "OUTPUT"},     {"nat", "POSTROUTING"}, {"filter", "LOOSE"},
        {"filter", "INPUT"},   {"filter", "FORWARD"}, {"filter", "OUTPUT"}};
    for (size_t i = 0; i < names.size(); ++i) {
        chains[i].table = names[i].first;
        chains[i].name = names[i].second;
    }
    const std::string svg = page::chains_picture(chains, {});
    size_t before = 0;
    for (const char *name : {"nat PREROUTING", "filter INPUT", "filter FORWARD", "nat OUTPUT",
                             "filter OUTPUT", "nat POSTROUTING", "filter LOOSE"}) {
        const size_t place = svg.find(std::string("<title>") + name + ": 0 rules</title>");
        ASSERT_NE(place, std::string::npos) << name;
        EXPECT_GT(place, before) << name;
        before = place;
    }
}

TEST(Page, APictureStandsAlone)
{
    const std::string svg = page::standalone(page::time_picture({{"rc"}}, {bench::Trace()}));
    EXPECT_EQ(svg.rfind("<svg xmlns=", 0), 0U);
    EXPECT_EQ(count(svg, "--paper:"), 2U);  // for a light and a dark background
    EXPECT_EQ(count(svg, "fill=\"var(--paper)\""), 1U);
}

TEST(Page, ItLoadsNothing)
{
    const std::string html =
        page::page("a", "b", {{"c", "d", page::time_picture({{"rc"}}, {bench::Trace()})}});
    EXPECT_EQ(count(html, "http"), count(html, "http-equiv") + count(html, "http://www.w3.org/2000/svg"));
    EXPECT_EQ(count(html, "src="), 0U);
    EXPECT_EQ(count(html, "url("), 0U);
    EXPECT_EQ(count(html, "@import"), 0U);
}

// A nested run begins when its command does; in the background it moves nobody else's time.
TEST(Page, BarsStandAtTheirTimes)
{
    bench::Trace trace;
    trace.events = {command("rc x start &"), pause(1, 8), pause(0, 2), command("rc y start"), pause(1, 4)};
    const std::string svg = page::time_picture({{"rc", "start"}}, {trace});
    for (const char *bar :
         {"rc start, 0.0 to 6.0 s", "rc x start &amp;, 0.0 to 8.0 s", "rc y start, 2.0 to 6.0 s",
          "8 s after its start, 0.0 to 8.0 s", "2 s after rc x start &amp;, 0.0 to 2.0 s"}) {
        EXPECT_EQ(count(svg, std::string("<title>") + bar + "</title>"), 1U) << bar << "\n" << svg;
    }
}

TEST(Page, ChainsAreJoinedToThoseTheyCallAndTheWayIsMarked)
{
    bench::FilterChains chains = {{"filter", "INPUT", "DROP"}, {"filter", "OPEN"}, {"filter", "OTHER"}};
    chains[0].rules = {{{}, "-i br0 -j OPEN"}, {{}, "-j DROP"}};
    chains[1].rules = {{{{"fw_x"}, 2}, "-p tcp -j ACCEPT"}};
    const page::Chapter chapter =
        page::filter_chapter(chains, {"filter INPUT -i br0 -j OPEN", "filter OPEN -p tcp -j ACCEPT"});
    EXPECT_EQ(count(chapter.body, "<rect"), 3U);
    EXPECT_EQ(count(chapter.body, "<path"), 1U);  // INPUT calls OPEN
    EXPECT_EQ(count(chapter.body, "class=met>"), 2U);
    EXPECT_EQ(count(chapter.body, "stroke-width=\"3\""), 3U);  // both boxes and the call
    EXPECT_EQ(count(chapter.body, "filter INPUT: 2 rules, policy DROP"), 2U);
    EXPECT_EQ(count(chapter.body, "fw_x 2"), 1U);
}

TEST(Page, SecretsAreMasked)
{
    page::Secrets secrets;
    secrets.add({{"pppoe_password", "pa<ss>word7"}, {"wan_mode", "pppoe"}, {"mail_password", "x9"}});
    EXPECT_EQ(secrets.masked("pppd password 'pa<ss>word7' pppoe"), "pppd password '********' pppoe");
    EXPECT_EQ(secrets.masked("0pa<ss>word70"), "0********0");
    // A short one is masked where it stands alone.
    EXPECT_EQ(secrets.masked("x9 ax9 x9b"), "******** ax9 x9b");
    bench::Trace trace;
    trace.events = {event(bench::Kind::kTool, 0, "")};
    trace.events[0].words = {"pppd", "pa<ss>word7"};
    trace.files = {{.path = "/tmp/x", .before = "x9\n", .after = "pa<ss>word7\n"}};
    trace.settings = {{"pppoe_password", "old one", "pa<ss>word7"}};
    trace.output = "pa<ss>word7";
    const bench::Trace masked = secrets.masked(trace);
    EXPECT_EQ(masked.events[0].words[1], "********");
    EXPECT_EQ(masked.files[0].before + masked.files[0].after, "********\n********\n");
    EXPECT_EQ(*masked.settings[0].before + *masked.settings[0].after, "****************");
    EXPECT_EQ(masked.output, "********");
    EXPECT_EQ(page::Secrets().masked("pa<ss>word7"), "pa<ss>word7");
}

// Every secret setting gets a value of its own, and a VPN policy a secret field; none of them is in what
// people pass on.
class WhatIsPassedOn : public testing::Test {
  protected:
    WhatIsPassedOn() { folder_ = mkdtemp(name_); }
    ~WhatIsPassedOn() override { fs::remove_all(folder_); }

    // A router with all secrets, in a settings file.
    std::string settings() const
    {
        std::ofstream out(folder_ + "/secrets.settings", std::ios::binary);
        size_t number = 10;
        for (const forms::Description *setting : forms::all_descriptions()) {
            if (setting->is_secret) {
                out << setting->key << "=Geheim47" << number++ << "\n";
            }
        }
        EXPECT_GE(number, 18U);
        out << "vpn=1\\x011\\x02office\\x021\\x020\\x022\\x024\\x02192.168.1.7...255.255.255.0\\x021\\x02"
               "10.9.8.7\\x024\\x0210.1.2.3...255.255.0.0\\x02Geheim4799\\x020\\x020\\x020\\x020\\x020\\x02"
               "\\x03\\x020\\x02\\x03\\x020\\x021\\x022\\x020\\x020\\x023600\\x01\n";
        return "--set @" + folder_ + "/secrets.settings ";
    }

    std::string printed(const std::string &words) const
    {
        const std::string file = folder_ + "/printed";
        (void)system((tool() + " " + words + " >" + file + " 2>&1").c_str());
        return content("printed");
    }

    std::string page_of(const std::string &words, const std::string &option = "--html ") const
    {
        const std::string said = printed(words.substr(0, words.find(' ')) + " " + option + folder_ + "/page" +
                                         words.substr(words.find(' ')));
        EXPECT_EQ(said, "") << words;
        return content("page");
    }

    std::string content(const std::string &name) const
    {
        std::ifstream in(folder_ + "/" + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    static std::string tool() { return (program_folder() / "rcbench").string(); }

    char name_[40] = "/tmp/page_test.XXXXXX";
    std::string folder_;
};

constexpr const char *kBoot = "--nested --blank init , start , wan start , vpn start";

TEST_F(WhatIsPassedOn, APageOfAWholeBootIsSmallAndHasNoSecrets)
{
    const std::string html = page_of("run " + settings() + kBoot);
    EXPECT_GT(html.size(), 50000U);
    EXPECT_LE(html.size(), 300U * 1024);
    EXPECT_EQ(count(html, "Geheim47"), 0U);
    EXPECT_GT(count(html, "********"), 10U);
    // What the filter is after the boot is in it, with what it lets in.
    EXPECT_GE(count(html, "<svg"), 2U);
    EXPECT_EQ(count(html, ">Let in from the Internet</h2>"), 1U);
    EXPECT_EQ(count(page_of("run " + settings() + kBoot, "--svg "), "Geheim47"), 0U);
    // They do reach the router: with --secrets they are there.
    const std::string open = page_of("run --secrets " + settings() + kBoot);
    for (const forms::Description *setting : forms::all_descriptions()) {
        if (setting->is_secret) {
            EXPECT_GE(count(open, setting->key + "<td>"), 1U) << setting->key;
        }
    }
    EXPECT_GE(count(open, "Geheim47"), 10U);
    EXPECT_GE(count(open, "Geheim4799"), 1U);
}

TEST_F(WhatIsPassedOn, JsonHasNoSecrets)
{
    const std::string json = printed("run --json " + settings() + kBoot);
    EXPECT_EQ(count(json, "Geheim47"), 0U);
    EXPECT_GT(count(json, "********"), 10U);
    EXPECT_GE(count(printed("run --json --secrets " + settings() + kBoot), "Geheim47"), 10U);
    EXPECT_EQ(count(printed("rules --json " + settings()), "Geheim47"), 0U);
}

TEST_F(WhatIsPassedOn, ADayHasNoSecrets)
{
    const std::string day =
        settings() +
        "--hours 1 --event '00:05 set wifi_psk_pwd=Geheim4798' --event '00:06 rc wlan restart' "
        "--event '00:07 wan-lost'";
    for (const std::string &shown :
         {printed("day " + day), printed("day --json " + day), page_of("day " + day)}) {
        EXPECT_EQ(count(shown, "Geheim47"), 0U) << shown;
        EXPECT_GE(count(shown, "Internet down"), 1U);
    }
}

TEST_F(WhatIsPassedOn, AnExplanationHasNoSecrets)
{
    ASSERT_EQ(printed("run --keep " + folder_ + "/root " + settings() + "lan start").find("rcbench:"),
              std::string::npos);
    for (const char *json : {"", "--json "}) {
        const std::string told = printed(std::string("explain ") + json + folder_ + "/root/tmp/nvram");
        EXPECT_GE(count(told, "http_password"), 1U) << told;
        EXPECT_EQ(count(told, "Geheim47"), 0U) << told;
        for (const forms::Description *setting : forms::all_descriptions()) {
            if (setting->is_secret) {
                const std::string value =
                    printed(std::string("explain ") + json + "'" + setting->key + "=Geheim4712\\x01 \"'");
                EXPECT_EQ(count(value, "Geheim47"), 0U) << value;
            }
        }
    }
    EXPECT_GE(count(printed("explain --secrets " + folder_ + "/root/tmp/nvram"), "Geheim47"), 10U);
}

}  // namespace
