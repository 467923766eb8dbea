// The radio: keys that fit their security, channels, who may join, links.
#include <algorithm>

#include "forms/lint/internal.h"

namespace forms {

namespace {

constexpr size_t kKey64 = 10;
constexpr size_t kKey128 = 26;

bool is_on(const Store &store)
{
    return store.is_fine("wifi_if_on") && store.number("wifi_if_on") != 0 && store.get("wifi_present") == "1";
}

void lint_wep_key(const Store &store, int number, size_t size, Findings &findings)
{
    const std::string key = "wifi_key" + std::to_string(number);
    const std::string &value = store.get(key);
    const bool is_default = store.get("wifi_def_key")[0] == '0' + number;
    const std::string command = "/usr/sbin/wlctl addwep -C 0 " + std::to_string(number - 1) + " ";
    if (value.size() == size || (value.empty() && !is_default)) {
        return;
    }
    const std::string why = value.empty() ? "the default key is empty"
                                          : "a key of " + store.get("wifi_key_len") + " bits has " +
                                                std::to_string(size) + " digits and this one " +
                                                std::to_string(value.size());
    if (is_default) {
        findings.add(Grade::kError, "wep-key-length", key, why + "; the router will install it all the same")
            .claims = {runs("wlan start", command + "\"" + value + "\"")};
    } else {
        findings.add(Grade::kWarning, "wep-key-length", key, why + "; the router will not install it")
            .claims = {never_runs("wlan start", command)};
    }
}

void lint_wep(const Store &store, Findings &findings)
{
    findings.add(
        Grade::kWarning, "wep", "wifi_wep_on",
        "anybody in reach finds out a WEP key within minutes; set wifi_wep_on to 3 (WPA2-PSK) and a password "
        "in wifi_psk_pwd");
    if (!store.is_fine("wifi_key_len") || !store.is_fine("wifi_def_key")) {
        return;
    }
    for (int number = 1; number <= 4; ++number) {
        if (store.is_fine("wifi_key" + std::to_string(number))) {
            lint_wep_key(store, number, store.get("wifi_key_len") == "64" ? kKey64 : kKey128, findings);
        }
    }
}

void lint_security(const Store &store, Findings &findings)
{
    const long security = store.number("wifi_wep_on");
    if (security == 0) {
        findings.add(Grade::kWarning, "open-network", "wifi_wep_on",
                     "everybody in reach can join and listen");
    } else if (security == 1) {
        lint_wep(store, findings);
    } else if (security >= 5) {
        if (store.get("wifi_radius_server").empty()) {
            findings
                .add(Grade::kError, "radius-missing", "wifi_radius_server",
                     "this security needs a RADIUS server; the router will start the authenticator without "
                     "one")
                .claims = {runs("wlan start", " -h \"\" -p ")};
        }
        if (store.get("wifi_radius_login_key").empty()) {
            findings.add(Grade::kWarning, "radius-missing", "wifi_radius_login_key",
                         "this security needs the RADIUS server's shared secret");
        }
    } else {
        const std::string &key = store.get("wifi_psk_pwd");
        const bool is_hex = key.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
        constexpr size_t kHexKey = 64;
        if (key.size() == kHexKey && !is_hex) {
            findings.add(Grade::kError, "psk-digits", "wifi_psk_pwd",
                         "a key of 64 characters must be hexadecimal digits");
        }
        if (std::any_of(key.begin(), key.end(), [](char c) { return c < ' ' || c > '~'; })) {
            findings.add(Grade::kWarning, "psk-letters", "wifi_psk_pwd",
                         "holds letters beyond ASCII, which stations write in different ways or refuse");
        }
    }
}

void lint_channel(const Store &store, Findings &findings)
{
    const std::string &region = store.get("wifi_region");
    const long channel = store.number("wifi_channel");
    constexpr long kAmericanMost = 11;
    if (region == "Israel" && (channel < 5 || channel > 7)) {
        findings
            .add(Grade::kWarning, "channel-region", "wifi_channel",
                 "Israel allows channels 5 to 7; the router will take channel 5 and store it")
            .claims = {runs("wlan start", "/usr/sbin/wlctl channel 5")};
        return;
    }
    const bool is_american = region == "United States" || region == "Canada" || region == "Mexico";
    if (is_american && channel > kAmericanMost) {
        findings.add(Grade::kWarning, "channel-region", "wifi_channel", region + " allows channels 1 to 11");
    }
}

void lint_stations(const Store &store, Findings &findings)
{
    if (store.get("wifi_access_control") == "1" && store.get("wifi_access_list").empty()) {
        findings
            .add(Grade::kError, "nobody-may-join", "wifi_access_list",
                 "only listed stations may join and none is listed; the router will let nobody join")
            .claims = {runs("wlan start", "/usr/sbin/wlctl macmode 2"),
                       never_runs("wlan start", "/usr/sbin/wlctl mac ")};
    }
}

// Of a record the front is read; lists that pages and people join with commas lose the rest.
void lint_listed(const Store &store, Findings &findings)
{
    constexpr size_t kAddress = 17;
    std::map<std::string, int> seen;
    for (const Record &record : fine_records(store, "wifi_access_list")) {
        const std::string &station = record["station"];
        const std::string address = station.substr(0, kAddress);
        if (!is_one_device(address)) {
            findings.add(Grade::kWarning, "no-device", "wifi_access_list", record, "station",
                         address + " is the hardware address of no single device");
        }
        if (std::count(station.begin() + kAddress, station.end(), ':') >= 5) {
            Finding &finding = findings.add(Grade::kError, "station-joined", "wifi_access_list", record,
                                            "station", "one record holds several addresses");
            if (store.get("wifi_access_control") == "1" && station.find(address, 1) == std::string::npos) {
                finding.message += "; the router will list the first, " + address + ", alone";
                finding.claims = {runs("wlan start", "/usr/sbin/wlctl mac " + address),
                                  never_runs("wlan start", station.substr(kAddress + 1, kAddress))};
            }
        }
        if (const auto [earlier, is_new] = seen.emplace(address, record.number); !is_new) {
            findings.add(Grade::kNote, "repeated-record", "wifi_access_list", record, "station",
                         "repeats record " + std::to_string(earlier->second));
        }
    }
}

void lint_peers(const Store &store, Findings &findings)
{
    for (const Description *one : all_descriptions()) {
        const std::string &peer = store.get(one->key);
        const bool is_peer = one->key.rfind("wifi_wds_", 0) == 0 && one->type.form == Form::kHardware;
        if (is_peer && !peer.empty() && store.is_fine(one->key) && !is_one_device(peer)) {
            findings.add(Grade::kWarning, "no-device", one->key,
                         peer + " is the hardware address of no single device");
        }
    }
}

void lint_links(const Store &store, Findings &findings)
{
    if (store.number("wifi_wds") != 1) {
        return;
    }
    lint_peers(store, findings);
    const std::string &mode = store.get("wifi_wds_apmode");
    const std::string front = mode == "repeater" ? "wifi_wds_repeater" : "wifi_wds_bridge";
    bool has_peer = false;
    for (int i = mode == "point" ? 0 : 1; i <= (mode == "point" ? 0 : 4); ++i) {
        has_peer = has_peer || !store.get(front + std::to_string(i) + "mac").empty();
    }
    if (!has_peer && store.is_fine("wifi_wds_apmode")) {
        const std::string peers = mode == "point" ? "" : "   ";
        findings
            .add(Grade::kError, "links-without-peer", "wifi_wds",
                 "links are on and no peer is given; the router will name none to the driver")
            .claims = {runs("wlan start", "/usr/sbin/wlctl wds " + peers)};
    }
    if (store.number("wifi_wep_on") > 1) {
        findings.add(Grade::kWarning, "links-with-wpa", "wifi_wds",
                     "links between access points know no WPA");
    }
}

}  // namespace

void lint_wireless(const Store &store, Findings &findings)
{
    if (!is_on(store)) {
        return;
    }
    if (store.is_fine("wifi_wep_on")) {
        lint_security(store, findings);
    }
    if (store.is_fine("wifi_channel") && store.is_fine("wifi_region")) {
        lint_channel(store, findings);
    }
    lint_stations(store, findings);
    lint_listed(store, findings);
    lint_links(store, findings);
}

}  // namespace forms
