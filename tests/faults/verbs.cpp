#include "tests/faults/verbs.h"

#include <algorithm>
#include <ostream>
#include <set>

#include "rc/frame.h"

namespace {

void add_table(std::vector<Verb> &verbs, const Service *table)
{
    for (const Service *row = table; row->name != nullptr; ++row) {
        if (row->start != nullptr) {
            verbs.push_back({row->name, "start"});
        }
        if (row->stop != nullptr) {
            // These undo what a start has written down.
            const std::string name = row->name;
            verbs.push_back({name, "stop", "pppoe", name == "route" || name == "vpn" ? name : ""});
        }
        if (row->create != nullptr) {
            verbs.push_back({row->name, "create"});
        }
    }
}

void put(std::vector<bench::Setting> &settings, const std::string &key, const std::string &value)
{
    const auto place = std::find_if(settings.begin(), settings.end(),
                                    [&](const bench::Setting &setting) { return setting.key == key; });
    if (place == settings.end()) {
        settings.push_back({key, value});
    } else {
        place->value = value;
    }
}

}  // namespace

std::string Verb::text() const
{
    std::string all = "rc";
    for (const std::string &word : {service, action}) {
        all += word.empty() ? "" : " " + word;
    }
    return mode == "pppoe" ? all : all + " (" + mode + ")";
}

void PrintTo(const Verb &verb, std::ostream *out)
{
    *out << "rc " << verb.service << " " << verb.action << ", wan_mode " << verb.mode;
}

std::vector<Verb> all_verbs()
{
    std::vector<Verb> verbs = {{"init", ""}, {"list", ""}};
    for (const char *action : {"start", "stop", "restart", "create"}) {
        verbs.push_back({"", action});
        verbs.push_back({"service", action});
    }
    for (const Service *table : {kGeneral, kWanGroup, kLastTable}) {
        add_table(verbs, table);
    }
    verbs.push_back({"check_conn", "start", "dhcpc"});
    for (const char *action : {"start", "restart", "stop"}) {
        verbs.push_back({"wan", action});
    }
    for (const char *mode : {"pppoa", "ipoa", "dhcpc", "ip", "bridge"}) {
        verbs.push_back({"wan", "start", mode});
    }
    verbs.push_back({"wan", "restart", "bridge"});
    return verbs;
}

std::vector<std::string> words_of(const Verb &verb)
{
    std::vector<std::string> words = {"/usr/sbin/rc"};
    for (const std::string &word : {verb.service, verb.action}) {
        if (!word.empty()) {
            words.push_back(word);
        }
    }
    return words;
}

bool is_group(const Verb &verb)
{
    return verb.service.empty() || verb.service == "service";
}

bool may_end_with(const Verb &verb, int status)
{
    return status == 0 || (verb.service == "wan" && status == 255);
}

std::vector<bench::Setting> rich_settings(const bench::Target &target, const Verb &verb)
{
    static const std::set<std::string> off = {"fw_disable", "restore_default", "upgrade_default",
                                              "blank_state", "fw_block"};
    std::vector<bench::Setting> settings = bench::image_settings(target.image);
    for (bench::Setting &setting : settings) {
        if (setting.value == "0" && !off.contains(setting.key)) {
            setting.value = "1";
        }
    }
    for (const char *sample : {"office.settings", "web-server.settings"}) {
        for (const bench::Setting &setting : bench::read_settings_text(target.image / "samples" / sample)) {
            put(settings, setting.key, setting.value);
        }
    }
    put(settings, "rt_rip_direction", "3");
    for (const char *side : {"fix", "ipoa"}) {
        put(settings, std::string(side) + "_ipaddr", "203.0.113.20");
        put(settings, std::string(side) + "_netmask", "255.255.255.0");
        put(settings, std::string(side) + "_gateway", "203.0.113.1");
    }
    // Where rc writes a setting only because of what another one says, a failed read must not make it do so.
    put(settings, "wifi_region", "Israel");
    put(settings, "wifi_channel", "6");
    put(settings, "wifi_features", "3");
    put(settings, "wan_mode", verb.mode);
    return settings;
}

bench::Setup rich_setup()
{
    bench::Setup setup;
    setup.image_defaults = true;
    setup.image_replies = true;
    setup.defaults = {{"wifi_features", ""}, {"wifi_channel", "1"}};
    setup.interfaces = {
        {"br0", "192.168.0.1"}, {"ppp0", "203.0.113.10"}, {"nas0", "203.0.113.20"}, {"atm1", "203.0.113.30"}};
    setup.files = {{"/tmp/wan_uptime", "4000.12 3900.34\n"}, {"/tmp/debug", ""}, {"/tmp/vpn_debug", ""}};
    return setup;
}
