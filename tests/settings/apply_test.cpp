// The commands that the descriptions give for a change: run in a router that is up, they leave it as a router
// that came up with the new value.
//
// A test run takes its share of the settings; APPLY_ALL=1 in the environment takes them all, with more values
// and in every mode (hours), APPLY_ALL=KEY one of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "forms/check.h"
#include "forms/descriptions.h"
#include "forms/escapes.h"
#include "tests/programs.h"
#include "tests/settings/running.h"
#include "tests/settings/stores.h"

namespace {

using forms::Description;
using settings_test::Running;
using settings_test::State;
using Store = std::vector<forms::Setting>;
using Words = std::vector<std::string>;

struct Base {
    const char *name;
    Store changes;
    const char *areas;  // letters of the files of descriptions whose settings are tried in it
};

// Services on, so that what they read can be seen.
const Store kOn = {
    {"wan_fix_dns", "0"},
    {"wan_dns1", "192.0.2.53"},
    {"wan_dns2", "192.0.2.54"},
    {"ddns_enable", "1"},
    {"ddns_user_name", "me"},
    {"ddns_password", "secret"},
    {"ddns_host_name", "me.example.net"},
    {"ntp_custom", "1"},
    {"ntp_server", "time.example.net"},
    {"log_type", "1"},
    {"mail_sendlog", "4"},
    {"rt_rip_direction", "o"},
    {"fw_remote", "1"},
    {"fw_dmz_enable", "1"},
    {"fw_vs_enableA", "63"},
    {"fw_block", "1"},
    {"fw_block_trust_enable", "1"},
    {"wifi_access_list", "00:11:22:33:44:55\x01"},
    {"fix_ipaddr", "203.0.113.9"},
    {"fix_netmask", "255.255.255.0"},
    {"fix_gateway", "203.0.113.1"},
    {"ipoa_ipaddr", "203.0.113.9"},
    {"ipoa_netmask", "255.255.255.0"},
    {"ipoa_gateway", "203.0.113.1"},
    {"ipoa_mode", "1483"},
    {"pppoe_ipaddr", "203.0.113.77"},
    {"pppoa_ipaddr", "203.0.113.78"},
    {"vpn", "1" + settings_test::policy({}) + "\x01"},
};

const std::vector<Base> kBases = {
    {"pppoe", {}, "system lan wan firewall aux wireless vpn"},
    {"pppoa", {{"wan_mode", "pppoa"}}, "wan"},
    {"pppoe, fixed", {{"wan_fix_dns", "1"}, {"wan_iptype", "Fixed"}, {"pppoe_idle", "5"}}, "wan"},
    {"dhcpc", {{"wan_mode", "dhcpc"}, {"wan_fix_dns", "1"}}, "lan wan"},
    {"ip", {{"wan_mode", "ip"}, {"log_type", "2"}}, "system wan vpn"},
    {"ipoa", {{"wan_mode", "ipoa"}}, "wan"},
    {"bridge", {{"wan_mode", "bridge"}}, "lan wan"},
    {"relay", {{"wan_pppoe_relay", "1"}}, "wan"},
    {"not set up", {{"blank_state", "1"}}, "system lan"},
    {"range", {{"fw_remote_type", "2"}, {"wifi_wep_on", "1"}}, "firewall wireless"},
    {"list",
     {{"fw_remote_type", "4"}, {"wifi_wep_on", "6"}, {"wifi_radius_server", "192.168.0.9"}},
     "firewall wireless"},
    {"links",
     {{"wifi_wds", "1"}, {"wifi_wds_apmode", "multi"}, {"wifi_access_control", "1"}, {"wifi_wep_on", "0"}},
     "wireless"},
};

Store store_of(const Base &base)
{
    Store store = settings_test::default_store();
    for (const Store &changes : {kOn, base.changes}) {
        for (const forms::Setting &one : changes) {
            settings_test::put(store, one.key, one.value);
        }
    }
    return store;
}

std::string value_in(const Store &store, const std::string &key)
{
    for (const forms::Setting &one : store) {
        if (one.key == key) {
            return one.value;
        }
    }
    return "";
}

// A few other values that are fine.
Words other_values(const Description &setting, const std::string &value)
{
    if (setting.key == "wan_mode") {
        return {"pppoe", "pppoa", "dhcpc", "ip", "ipoa", "bridge", ""};
    }
    settings_test::Random random(7);
    Words values;
    for (int i = 0; i < 20 && values.size() < 2; ++i) {
        const std::string other = settings_test::fine_value(random, setting);
        const bool is_new = other != value && std::count(values.begin(), values.end(), other) == 0;
        if (is_new && forms::refusal_text(setting, other).empty()) {
            values.push_back(other);
        }
    }
    if (setting.empty && !value.empty()) {
        values.emplace_back();
    }
    return values;
}

// What is different, slot by slot.
Words differences(const State &actual, const State &expected)
{
    Words found;
    for (const auto &[slot, content] : expected) {
        const auto other = actual.find(slot);
        if (other == actual.end() || other->second != content) {
            found.push_back(slot + ": \"" + (other == actual.end() ? "-" : other->second) + "\", not \"" +
                            content + "\"");
        }
    }
    for (const auto &[slot, content] : actual) {
        if (expected.count(slot) == 0) {
            found.push_back(slot + ": \"" + content + "\" is left");
        }
    }
    return found;
}

class Trial {
  public:
    Trial(const Base &base, const Description &setting, const std::string &value)
        : name_(std::string(base.name) + " with " + forms::escape(value)),
          target_(built_rc()),
          old_(store_of(base)),
          new_(old_),
          change_{setting.key, value},
          setting_(setting)
    {
        settings_test::put(new_, change_.key, change_.value);
    }

    const std::string &name() const { return name_; }

    // A running router in which the setting is changed and these commands are run.
    State changed(const Words &commands, bool is_prepared = true) const
    {
        Running router(target_, old_);
        if (is_prepared && !setting_.before.empty()) {
            router.run(setting_.before);
        }
        router.set(change_);
        return run(router, commands);
    }

    // One that came up with the new value, in which the same commands are run.
    State fresh(const Words &commands) const
    {
        Running router(target_, new_);
        if (!setting_.before.empty()) {
            router.run(setting_.before);
        }
        return run(router, commands);
    }

  private:
    static State run(Running &router, const Words &commands)
    {
        for (const std::string &command : commands) {
            router.run(command);
        }
        return router.state();
    }

    std::string name_;
    bench::Target target_;
    Store old_;
    Store new_;
    forms::Setting change_;
    const Description &setting_;
};

// With APPLY_ALL all settings; else one of so many, and the one that most services read.
bool is_tried(const Description &setting, size_t number)
{
    constexpr size_t kSteps = 40;
    const char *all = getenv("APPLY_ALL");
    return all != nullptr ? *all == '\0' || setting.key == all || std::string(all) == "1"
                          : number % kSteps == 0 || setting.key == "lan_ipaddr";
}

std::string area_of(const Description &setting)
{
    const std::string file = setting.path.substr(setting.path.rfind('/') + 1);
    return file.substr(0, file.find('.'));
}

// The changes of a setting that are tried: of a test run the first one alone.
std::vector<Trial> trials_of(const Description &setting)
{
    std::vector<Trial> trials;
    for (const Base &base : kBases) {
        const std::string value = value_in(store_of(base), setting.key);
        const bool is_used = std::string(base.areas).find(area_of(setting)) != std::string::npos;
        for (const std::string &other : is_used ? other_values(setting, value) : Words()) {
            if (other != value && (getenv("APPLY_ALL") != nullptr || trials.empty())) {
                trials.emplace_back(base, setting, other);
            }
        }
    }
    return trials;
}

TEST(ApplyCommands, LeaveNothingOldButWhatIsSaid)
{
    size_t number = 0;
    size_t count = 0;
    for (const Description *setting : forms::all_descriptions()) {
        const Words commands = forms::apply_commands(*setting);
        const bool is_applied = !commands.empty() && commands[0] != "reboot" && is_tried(*setting, number++);
        Words left;
        for (const Trial &trial : is_applied ? trials_of(*setting) : std::vector<Trial>()) {
            ++count;
            for (const std::string &one : differences(trial.changed(commands), trial.fresh(commands))) {
                left.push_back(trial.name() + ": " + one);
            }
        }
        if (setting->stays.empty()) {
            EXPECT_EQ(left, Words()) << setting->key << " with " << setting->apply;
        } else if (is_applied && getenv("APPLY_ALL") != nullptr) {
            EXPECT_NE(left, Words()) << setting->key << ": nothing stays";
        }
    }
    printf("%zu changes\n", count);
}

// The comparison sees what one command, which was once given for this setting, leaves.
TEST(ApplyCommands, TheLanInterfaceAloneIsNotEnough)
{
    const Trial trial(kBases[0], *forms::find_description("lan_ipaddr"), "192.168.7.1");
    const Words left = differences(trial.changed({"rc lan start"}), trial.fresh({"rc lan start"}));
    const auto has = [&](const std::string &front) {
        return std::any_of(left.begin(), left.end(),
                           [&](const std::string &one) { return one.rfind(front, 0) == 0; });
    };
    EXPECT_TRUE(has("rules: "));
    EXPECT_TRUE(has("daemon dnrd: "));
    EXPECT_TRUE(has("daemon miniupnpd: "));
    EXPECT_TRUE(has("daemon udhcpd has read /etc/udhcpd.conf: "));
    EXPECT_TRUE(has("daemon syslogd has read /etc/syslog.conf: "));
}

// A route that was taken out of the list is only removed while it is in it.
TEST(ApplyCommands, RoutesNeedACommandBeforeTheChange)
{
    const Description &setting = *forms::find_description("rt_static_route");
    const Trial trial(kBases[0], setting, "");
    const Words commands = forms::apply_commands(setting);
    EXPECT_EQ(differences(trial.changed(commands, true), trial.fresh(commands)), Words());
    EXPECT_EQ(differences(trial.changed(commands, false), trial.fresh(commands)).size(), 1U);
}

// Several changes are applied with each command once: no description wants another order.
TEST(ApplyCommands, HaveOneOrder)
{
    const Words order = forms::all_apply_commands();
    for (const Description *setting : forms::all_descriptions()) {
        size_t place = 0;
        for (const std::string &command : forms::apply_commands(*setting)) {
            const auto found =
                std::find(order.begin() + static_cast<std::ptrdiff_t>(place), order.end(), command);
            ASSERT_NE(found, order.end()) << setting->key << ": " << command;
            place = static_cast<size_t>(found - order.begin());
        }
    }
    EXPECT_LE(order.size(), 32U);  // a bit each in share/settings_check.c
}

}  // namespace
