// What the linter promises, on the bench: random stores, and whenever it says "the router will ..." the
// router is run and looked at.
//
// A test run takes its share of a thousand seeded stores; LINT_STORES=1000 in the environment takes them all,
// and a tenth of them on the target's processor.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <set>

#include "tests/programs.h"
#include "tests/settings/claims.h"
#include "tests/settings/stores.h"

namespace {

using forms::Finding;
using settings_test::broken_claims;
using settings_test::random_store;

// Findings that say nothing about rc: advice about daemons, the driver or good sense.
const std::set<std::string> kAdvice = {"aggressive",
                                       "ddns-lacks",
                                       "des",
                                       "dhcp-net-address",
                                       "dhcp-own-address",
                                       "dns-is-router",
                                       "empty",
                                       "fields",
                                       "forwarded-twice",
                                       "gateway-is-router",
                                       "keyword-address",
                                       "keyword-star",
                                       "lan-size",
                                       "links-with-wpa",
                                       "mtu",
                                       "nets-meet",
                                       "no-device",
                                       "nobody",
                                       "octal",
                                       "open-network",
                                       "ports-upside-down",
                                       "psk-digits",
                                       "psk-letters",
                                       "psk-missing",
                                       "recipient",
                                       "remote-port-forwarded",
                                       "repeated-key",
                                       "repeated-record",
                                       "reserved-no-host",
                                       "reserved-outside-lan",
                                       "reserved-own-address",
                                       "reserved-twice",
                                       "route-gateway",
                                       "route-to-itself",
                                       "route-to-lan",
                                       "route-twice",
                                       "rule-never-matches",
                                       "rule-repeated",
                                       "schedule-empty",
                                       "schedule-second",
                                       "sender-on-lan",
                                       "server-missing",
                                       "service-twice",
                                       "space",
                                       "spi-missing",
                                       "trusted-outside-lan",
                                       "tunnels-meet",
                                       "unknown-key",
                                       "users-are-router",
                                       "users-outside-lan",
                                       "vpn-local",
                                       "vpn-name-twice",
                                       "vpn-net",
                                       "vpn-remote",
                                       "wan-no-host",
                                       "wep"};

bool is_promise(const Finding &finding)
{
    return finding.message.find("the router will ") != std::string::npos;
}

size_t stores_wanted()
{
    constexpr size_t kShare = 12;
    const char *wanted = getenv("LINT_STORES");
    return wanted == nullptr ? kShare : strtoul(wanted, nullptr, 10);
}

struct Count {
    std::map<std::string, size_t> confirmed;  // findings of each code whose claims were tried
    std::map<std::string, size_t> advice;     // and of those that claim nothing
    size_t claims = 0;
};

Count try_stores(const bench::Target &target, size_t stores)
{
    Count count;
    for (size_t i = 0; i < stores; ++i) {
        settings_test::Random random(static_cast<unsigned>(i));
        const std::vector<forms::Setting> store = random_store(random);
        const std::vector<Finding> findings = forms::lint(store);
        for (const std::string &broken : broken_claims(target, store, findings)) {
            ADD_FAILURE() << "store " << i << ": " << broken;
        }
        for (const Finding &finding : findings) {
            EXPECT_EQ(is_promise(finding), !finding.claims.empty()) << forms::finding_line(finding);
            ++(finding.claims.empty() ? count.advice : count.confirmed)[finding.code];
            count.claims += finding.claims.size();
        }
    }
    printf("%zu claims of %zu stores\n", count.claims, stores);
    return count;
}

TEST(LintClaims, AreWhatTheRouterDoes)
{
    const Count count = try_stores(built_rc(), stores_wanted());
    for (const auto &[code, findings] : count.confirmed) {
        printf("confirmed %5zu %s\n", findings, code.c_str());
    }
    for (const auto &[code, findings] : count.advice) {
        EXPECT_TRUE(kAdvice.count(code) != 0 || count.confirmed.count(code) != 0 || stores_wanted() < 1000)
            << findings << " findings " << code << " promise nothing and are not exempt";
    }
}

TEST(LintClaims, AreWhatTheRouterDoesOnTheTarget)
{
    constexpr size_t kOfSoMany = 10;  // a run takes several times as long there
    const std::optional<bench::Target> target = built_rc_of_target();
    if (!target) {
        GTEST_SKIP() << kNeedsTarget;
    }
    EXPECT_GT(try_stores(*target, (stores_wanted() + kOfSoMany - 1) / kOfSoMany).claims, 0U);
}

// One wrong value at a time in a router that is otherwise fine, for every setting that says what it leads to.
TEST(LintClaims, AreTrueOfEachSettingByItself)
{
    constexpr size_t kSteps = 8;  // a test run takes one of so many parts; LINT_STORES=1000 takes all
    const bench::Target target = built_rc();
    const std::vector<const forms::Description *> settings = forms::all_descriptions();
    const bool takes_all = stores_wanted() >= 1000;
    for (size_t i = 0; i < settings.size(); ++i) {
        if (!takes_all && i % kSteps != 0) {
            continue;
        }
        for (const char *value : {"", "9x", "x", "-1"}) {
            std::vector<forms::Setting> store = settings_test::default_store();
            settings_test::put(store, settings[i]->key, value);
            for (const std::string &broken : broken_claims(target, store, forms::lint(store))) {
                ADD_FAILURE() << settings[i]->key << "=" << value << ": " << broken;
            }
        }
    }
}

}  // namespace
