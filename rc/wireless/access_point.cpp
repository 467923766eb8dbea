// Access point: brings the radio up as an access point in the LAN bridge, and down again.
//
// Reads:  wifi_present wifi_access_list
// Sets:   wifi_channel
// Writes: /var/wl /var/wlbands /var/wlcap /var/ver /var/wpa_cap /tmp/wlan_uptime
// Runs:   insmod wlctl brctl ifconfig rmmod cp killall
// Needs:  lan
//
// The driver keeps its state between commands, so the order of the commands is the bring-up. No command's
// status is looked at but that of the version probe, which tells whether the driver is there at all.

#include "rc/wireless/wireless.h"

#include <unistd.h>

#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"
#include "rc/wireless/internal.h"

namespace {

// Loads the driver and keeps what it says about itself. False when it does not answer.
bool load_driver()
{
    MY_SYSTEM("/sbin/insmod /lib/modules/wl.ko");
    MY_SYSTEM("/sbin/insmod /lib/modules/fast_br.ko if1=eth0 if2=wl0");
    MY_SYSTEM("/usr/sbin/wlctl phytype > /var/wl");
    MY_SYSTEM("/usr/sbin/wlctl revinfo > /var/wl");
    MY_SYSTEM("/usr/sbin/wlctl bands > /var/wlbands");
    MY_SYSTEM("/usr/sbin/wlctl cap > /var/wlcap");
    return MY_SYSTEM("/usr/sbin/wlctl ver > /var/ver") == 0;
}

// The main network and a second, always disabled one for guests.
void name_networks(const WifiConfig &config)
{
    MY_SYSTEM("/usr/sbin/brctl addif br0 wl0");
    MY_SYSTEM("/sbin/ifconfig wl0 up");
    MY_SYSTEM("/usr/sbin/wlctl wds none");
    MY_SYSTEM("/usr/sbin/wlctl down");
    MY_SYSTEM("/usr/sbin/wlctl mssid 1");
    MY_SYSTEM("/usr/sbin/wlctl bss -C 0 down");
    MY_SYSTEM("/usr/sbin/wlctl bss -C 1 down");
    MY_SYSTEM("/usr/sbin/wlctl ssid -C 0 \"%s\"", config.ssid);
    MY_SYSTEM("/usr/sbin/wlctl ssid -C 1 'G''u''e''s''t'");
    MY_SYSTEM("/sbin/ifconfig wl0 down");
    MY_SYSTEM("/sbin/ifconfig wl0.1 down");
    MY_SYSTEM("/usr/sbin/wlctl ap 1");
    MY_SYSTEM("/usr/sbin/wlctl closed %d", config.broadcast_ssid == 0 ? 1 : 0);
}

struct Country {
    char first;   // of the region's name
    char second;  // of the region's name; NUL: any
    const char *code;
};

// The first row that matches counts.
constexpr Country kCountries[] = {
    {'A', 'f', "ZA"},   // Africa
    {'A', 's', "HK"},   // Asia
    {'A', '\0', "AU"},  // Australia
    {'C', '\0', "CA"},  // Canada
    {'E', '\0', "GB"},  // Europe
    {'F', '\0', "FR"},  // France
    {'I', '\0', "IL"},  // Israel
    {'J', '\0', "JP"},  // Japan
    {'M', '\0', "MX"},  // Mexico
    {'S', '\0', "BR"},  // South America
    {'U', '\0', "US"},  // United States
};

// No row is hidden by one before it.
consteval bool every_country_can_match()
{
    for (const Country *row = kCountries; row != std::end(kCountries); ++row) {
        for (const Country *before = kCountries; before != row; ++before) {
            if (before->first == row->first && (before->second == '\0' || before->second == row->second)) {
                return false;
            }
        }
    }
    return true;
}

static_assert(every_country_can_match());

const Country *find_country(const char (&region)[2])
{
    for (const Country &country : kCountries) {
        if (country.first == region[0] && (country.second == '\0' || country.second == region[1])) {
            return &country;
        }
    }
    return nullptr;
}

// Israel allows the channels 5 to 7 only. Deliberate: an automatic channel becomes 5 as well, and the
// setting is changed in the working copy but not committed.
void allow_channel(WifiConfig &config)
{
    if (config.channel < 5 || config.channel > 7) {
        config.channel = 5;
        nvram_set("wifi_channel", "5");
    }
}

// Deliberate: an unknown region leaves the code empty and a space at the end of the command; its message
// keeps its spelling.
void set_country(WifiConfig &config)
{
    const Country *country = find_country(config.region);
    if (country == nullptr) {
        (void)puts("No CoutryCode Matched.");
    } else if (country->first == 'I') {
        allow_channel(config);
    }
    MY_SYSTEM("/usr/sbin/wlctl country %s", country == nullptr ? "" : country->code);
}

void set_channel(const WifiConfig &config)
{
    MY_SYSTEM("/usr/sbin/wlctl band b");
    MY_SYSTEM("/usr/sbin/wlctl channel %d", config.channel);
    MY_SYSTEM("/usr/sbin/wlctl phytype > /var/wl");
    MY_SYSTEM("/usr/sbin/wlctl wpa_cap -C 0 > /var/wpa_cap");
    MY_SYSTEM("/usr/sbin/wlctl wpa_cap -C 0 0");
    MY_SYSTEM("/usr/sbin/wlctl wpa_cap -C 1 > /var/wpa_cap");
    MY_SYSTEM("/usr/sbin/wlctl wpa_cap -C 1 0");
    MY_SYSTEM("/usr/sbin/wlctl regulatory 0");
    MY_SYSTEM("/usr/sbin/wlctl radar 0");
    MY_SYSTEM("/usr/sbin/wlctl spect 0");
    // Deliberate: the band is chosen a second time.
    MY_SYSTEM("/usr/sbin/wlctl band b");
    MY_SYSTEM("/usr/sbin/wlctl maxassoc 128");
    MY_SYSTEM("/usr/sbin/wlctl phytype > /var/wl");
}

void set_mode(const WifiConfig &config)
{
    switch (config.dot11_mode) {
        case 1:
            MY_SYSTEM("/usr/sbin/wlctl gmode LegacyB");
            break;
        case 3:
            MY_SYSTEM("/usr/sbin/wlctl gmode Performance");
            break;
        default:
            MY_SYSTEM("/usr/sbin/wlctl gmode Auto");
            break;
    }
}

void tune_radio(const WifiConfig &config)
{
    MY_SYSTEM("/usr/sbin/wlctl gmode_protection_control 2");
    MY_SYSTEM("/usr/sbin/wlctl gmode_protection_override -1");
    MY_SYSTEM("/usr/sbin/wlctl rate 0");
    MY_SYSTEM("/usr/sbin/wlctl bg_rate 0");
    MY_SYSTEM("/usr/sbin/wlctl mrate -1");
    MY_SYSTEM("/usr/sbin/wlctl bg_mrate -1");
    MY_SYSTEM("/usr/sbin/wlctl rateset default");
    MY_SYSTEM("/usr/sbin/wlctl rtsthresh 2347");
    MY_SYSTEM("/usr/sbin/wlctl fragthresh 2346");
    MY_SYSTEM("/usr/sbin/wlctl dtim 1");
    MY_SYSTEM("/usr/sbin/wlctl bi 100");
    MY_SYSTEM("/usr/sbin/wlctl frameburst 0");
    MY_SYSTEM("/usr/sbin/wlctl afterburner_override 0");
    MY_SYSTEM("/usr/sbin/wlctl ap_isolate %d", config.dot11_iso);
    MY_SYSTEM("/usr/sbin/wlctl wme 1");
    MY_SYSTEM("/usr/sbin/wlctl wme_noack 0");
    MY_SYSTEM("/usr/sbin/wlctl wds none");
    MY_SYSTEM("/usr/sbin/wlctl pwr_percent 100");
}

constexpr size_t kMacSize = 17;  // six hexadecimal pairs joined by colons

// An entry is an address, whatever text behind it, and a byte 0x01. Deliberate: a shorter entry is not
// noticed; the 17 characters from its start are taken, the separator and what follows included.
void allow_stations(std::string_view list)
{
    while (list.size() >= kMacSize) {
        char mac[kMacSize + 1];
        copy_text(mac, list);
        MY_SYSTEM("/usr/sbin/wlctl mac %s", mac);
        list.remove_prefix(kMacSize);
        bool separated = false;
        while (!separated && list.size() >= kMacSize) {
            separated = list.front() == '\x01';
            list.remove_prefix(1);
        }
    }
}

void control_access(const WifiConfig &config)
{
    (void)printf("--%d\n", config.access_control);
    if (config.access_control != 0) {
        MY_SYSTEM("/usr/sbin/wlctl macmode 2");
        allow_stations(nvram_text("wifi_access_list"));
    } else {
        MY_SYSTEM("/usr/sbin/wlctl mac none");
        MY_SYSTEM("/usr/sbin/wlctl macmode 0");
    }
}

void link_point(const WifiConfig &config)
{
    MY_SYSTEM("/usr/sbin/wlctl wds %s", config.wds_mac[0]);
    MY_SYSTEM("/usr/sbin/brctl addif br0 wds0.1");
    MY_SYSTEM("/sbin/ifconfig wds0.1 up");
    MY_SYSTEM("/usr/sbin/wlctl closed 1");
}

// Deliberate: an empty slot leaves its space in the command; only slots whose text could be an address
// (more than 12 characters) get their link into the bridge.
void link_peers(const WifiConfig &config)
{
    MY_SYSTEM("/usr/sbin/wlctl wds %s %s %s %s", config.wds_mac[1], config.wds_mac[2], config.wds_mac[3],
              config.wds_mac[4]);
    for (int n = 1; n < kWdsSlots; ++n) {
        const std::string_view peer = config.wds_mac[n];
        if (peer.size() > 12) {
            MY_SYSTEM("/usr/sbin/brctl addif br0 wds0.%d", n);
            MY_SYSTEM("/sbin/ifconfig wds0.%d up", n);
        }
    }
}

// Point and multi links hide the network whatever the settings say, a repeater shows it.
void set_distribution(const WifiConfig &config)
{
    // Deliberate: lazy distribution is on exactly when wireless distribution is off.
    MY_SYSTEM("/usr/sbin/wlctl lazywds %d", config.wds == 0 ? 1 : 0);
    if (config.wds != 1) {
        return;
    }
    // The fast bridge cannot carry links between access points.
    MY_SYSTEM("/sbin/rmmod fast_br");
    if (config.wds_mode == kWdsPoint) {
        link_point(config);
    } else if (config.wds_mode == kWdsMulti) {
        link_peers(config);
        MY_SYSTEM("/usr/sbin/wlctl closed 1");
    } else if (config.wds_mode == kWdsRepeater) {
        link_peers(config);
        MY_SYSTEM("/usr/sbin/wlctl closed 0");
    }
}

void switch_on(const WifiConfig &config)
{
    MY_SYSTEM("/usr/sbin/wlctl up");
    if (config.channel == 0) {
        MY_SYSTEM("/usr/sbin/wlctl autochannel 1");
        MY_SYSTEM("/usr/sbin/wlctl autochannel 2");
    }
    MY_SYSTEM("/usr/sbin/wlctl antdiv 1");
    MY_SYSTEM("/usr/sbin/wlctl txant 1");
    MY_SYSTEM("/usr/sbin/wlctl csscantimer 0");
}

void remove_wep_keys()
{
    MY_SYSTEM("/usr/sbin/wlctl rmwep -C 0 0");
    MY_SYSTEM("/usr/sbin/wlctl rmwep -C 0 1");
    MY_SYSTEM("/usr/sbin/wlctl rmwep -C 0 2");
    MY_SYSTEM("/usr/sbin/wlctl rmwep -C 0 3");
    MY_SYSTEM("/usr/sbin/wlctl rmwep -C 1 0");
    MY_SYSTEM("/usr/sbin/wlctl rmwep -C 1 1");
    MY_SYSTEM("/usr/sbin/wlctl rmwep -C 1 2");
    MY_SYSTEM("/usr/sbin/wlctl rmwep -C 1 3");
}

// With WPA the authenticator raises the main network later; a point or multi link carries no clients.
void raise_networks(const WifiConfig &config)
{
    const bool carries_clients = config.wds == 0 || (config.wds == 1 && config.wds_mode == kWdsRepeater);
    if (config.security <= 1 && carries_clients) {
        MY_SYSTEM("/usr/sbin/wlctl bss -C 0 up");
    } else {
        MY_SYSTEM("/usr/sbin/wlctl bss -C 0 down");
    }
    MY_SYSTEM("/usr/sbin/wlctl bss -C 1 down");
    MY_SYSTEM("/sbin/ifconfig wl0 up");
}

}  // namespace

// Deliberate: a driver that does not answer is no failure.
int wlan_up(WifiConfig config)
{
    if (!load_driver()) {
        return 0;
    }
    name_networks(config);
    set_country(config);
    set_channel(config);
    set_mode(config);
    tune_radio(config);
    control_access(config);
    set_distribution(config);
    switch_on(config);
    remove_wep_keys();
    set_security(config);
    raise_networks(config);
    start_authenticator(config);
    MY_SYSTEM("/usr/sbin/wlctl pktcnt &");
    MY_SYSTEM("/bin/cp /proc/uptime /tmp/wlan_uptime");
    return 0;
}

int start_wifi()
{
    if (nvram_first("wifi_present") == '0') {
        return 0;
    }
    WifiConfig config;
    // Neither reading nor bring-up ever fails; their messages are the product's, for the day one does.
    if (parse_config(config) != 0) {
        (void)puts("parse_config error!");
        return -1;
    }
    if (config.if_on == 0) {
        return 0;
    }
    if (wlan_up(config) != 0) {
        (void)puts("wifi up fail!");
        return -3;
    }
    return 0;
}

int stop_wifi()
{
    remove_file("/tmp/wlan_uptime");
    MY_SYSTEM("/sbin/ifconfig wl0 down");
    MY_SYSTEM("/usr/sbin/brctl delif br0 wl0");
    MY_SYSTEM("/usr/sbin/wlctl down");
    MY_SYSTEM("/usr/sbin/wlctl restart");
    MY_SYSTEM("/usr/bin/killall wlctl");
    MY_SYSTEM("/sbin/rmmod fast_br");
    MY_SYSTEM("/usr/bin/killall nas");
    (void)sleep(1);
    MY_SYSTEM("/sbin/rmmod wl");
    return 0;
}
