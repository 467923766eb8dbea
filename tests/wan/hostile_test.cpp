// The Internet side under random settings, files and answers: every run ends by itself, whatever it is given,
// and the circuit listing is read as fgets reads it.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/difference.h"
#include "bench/router.h"
#include "tests/programs.h"

namespace {

using Lines = std::vector<std::string>;

class Random {
  public:
    explicit Random(unsigned seed) : engine_(seed) {}

    // 0 to limit - 1.
    size_t below(size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(engine_); }

    std::string of(const std::string &alphabet, size_t length)
    {
        std::string text;
        while (text.size() < length) {
            text += alphabet[below(alphabet.size())];
        }
        return text;
    }

    // A setting's value: ordinary, odd, or very long.
    std::string value()
    {
        static const Lines ordinary = {
            "",        "0",         "1",           "1x",   "pppoe", "8",   "-1",
            "4294967", "10.1.2.3",  "255.255.0.0", "1577", "F",     "ppp", "99999999999999999999",
            "A2MOD",   "300000000", "nas0"};
        switch (below(4)) {
            case 0:
                return of("ab\"'`\\ \t\n$(){}%sn;&|<>\x01\x02\x7f\xff.:", below(60));
            case 1:
                return of("x1.\"% ", 1000 + below(1500));
            default:
                return ordinary[below(ordinary.size())];
        }
    }

  private:
    std::mt19937 engine_;
};

constexpr const char *kKeys[] = {
    "wan_dslmode",    "wan_vpi",        "wan_vci",        "wan_encap",     "wan_ifname",      "wan_macaddr",
    "wan_mtu",        "wan_fix_dns",    "wan_dns1",       "wan_dns2",      "wan_pppoe_relay", "wan_dod",
    "wan_iptype",     "pppoe_username", "pppoe_password", "pppoe_service", "pppoe_idle",      "pppoe_ipaddr",
    "pppoa_username", "pppoa_password", "pppoa_idle",     "pppoa_ipaddr",  "ipoa_mode",       "ipoa_ipaddr",
    "ipoa_netmask",   "ipoa_gateway",   "fix_ipaddr",     "fix_netmask",   "fix_gateway",     "wifi_if_on",
    "wifi_wds"};

constexpr const char *kModes[] = {"pppoe", "pppoa", "ipoa", "dhcpc", "ip", "bridge", "px", ""};

bench::Setup random_setup(Random &random)
{
    bench::Setup setup;
    setup.settings->push_back({"wan_mode", kModes[random.below(std::size(kModes))]});
    for (const char *key : kKeys) {
        if (random.below(8) != 0) {
            setup.settings->push_back({key, random.value()});
        }
    }
    setup.replies = {
        {"adslctl", "info", random.below(8) == 0 ? random.value() : "Showtime"},
        {"atmctl", "operate vcc --show", random.of("0.8\n x\t", random.below(600))},
        {"ps", "", random.below(4) == 0 ? "pppd rt2684d" : random.value()},
        {"ps", "", random.below(4) == 0 ? "pppoe-relay" : random.value()},
        {"lsmod", "", random.below(2) == 0 ? "fast_br" : random.value()},
    };
    setup.effects = {{"atmarp", "-s", "/bin/cp /answer /tmp/ipoa_server"}};
    setup.files = {{"/answer", random.value()}, {"/etc/version", random.value()}};
    for (const char *path : {"/var/run/my_pid", "/tmp/dsl_change", "/tmp/debug"}) {
        if (random.below(2) == 0) {
            setup.files.push_back({path, random.value()});
        }
    }
    return setup;
}

class WanHostile : public testing::TestWithParam<unsigned> {};

TEST_P(WanHostile, EveryRunEnds)
{
    Random random(GetParam());
    for (int i = 0; i < 8; ++i) {
        bench::Root root(built_rc(), random_setup(random));
        for (const Lines &words : {Lines{"rc", "adsl", "start"}, Lines{"rc", "wan", "start"},
                                   Lines{"rc", "wan", "restart"}, Lines{"rc", "wan", "stop"}}) {
            bench::Run run;
            run.words = words;
            for (int pause = 1; pause <= 40; ++pause) {
                run.pauses[pause] = "/bin/touch /tmp/wan_uptime";
            }
            const bench::Trace trace = root.run(run);
            EXPECT_FALSE(trace.timed_out) << words[2] << ", round " << i;
            EXPECT_EQ(trace.signal, 0) << words[2] << ", round " << i;
            EXPECT_EQ(trace.status, 0) << words[2] << ", round " << i;
            EXPECT_EQ(trace.errors.find("Sanitizer"), std::string::npos) << trace.errors;
        }
    }
}

// ---- circuit listing --------------------------------------------------------------------------------------

// The pieces that a reader with room for 127 characters is given, each with its line end if it has one.
// `open` is set when the last piece ends with the file.
Lines pieces_of(const std::string &text, bool &open)
{
    constexpr size_t kRoom = 127;
    Lines pieces;
    open = false;
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find('\n', at);
        const size_t line = end == std::string::npos ? text.size() - at : end + 1 - at;
        const size_t length = line < kRoom ? line : kRoom;
        pieces.push_back(text.substr(at, length));
        at += length;
        open = at == text.size() && length < kRoom && pieces.back().back() != '\n';
    }
    return pieces;
}

Lines deleted_circuits(const std::string &listing)
{
    bool open = false;
    Lines pieces = pieces_of(listing, open);
    if (open) {
        pieces.pop_back();
    }
    Lines circuits;
    for (size_t i = 1; i < pieces.size(); ++i) {
        const size_t begin = pieces[i].find_first_not_of(" \t\n");
        if (begin == std::string::npos) {
            continue;
        }
        const size_t end = pieces[i].find_first_of(" \t\n", begin);
        std::string word = pieces[i].substr(begin, end == std::string::npos ? end : end - begin);
        word = word.substr(0, 15);
        if (word.find('.') != std::string::npos) {
            circuits.push_back(word);
        }
    }
    return circuits;
}

TEST_P(WanHostile, CircuitListing)
{
    Random random(GetParam());
    for (int i = 0; i < 8; ++i) {
        std::string listing;
        for (size_t lines = random.below(6); lines > 0; --lines) {
            listing +=
                random.of("0.8 \tx", random.below(3) == 0 ? 120 + random.below(150) : random.below(25));
            listing += random.below(12) == 0 ? "" : "\n";
        }
        bench::Setup setup;
        setup.settings->push_back({"wan_ifname", "nas0"});
        setup.replies = {{"atmctl", "operate vcc --show", listing}};
        bench::Root root(built_rc(), setup);
        Lines deleted;
        const std::string command = "sh /usr/sbin/atmctl operate vcc --delete ";
        for (const std::string &line : bench::trace_lines(root.rc("wan stop"))) {
            if (line.starts_with(command)) {
                deleted.push_back(line.substr(command.size()));
            }
        }
        EXPECT_EQ(bench::unified_difference(deleted_circuits(listing), deleted), "")
            << bench::escape(listing);
    }
}

INSTANTIATE_TEST_SUITE_P(Wan, WanHostile, testing::Values(1U, 2U, 3U, 4U));

}  // namespace
