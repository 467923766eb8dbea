// System log: collects messages, mails alerts and whole logs, passes them to another host.
//
// Reads:  wan_macaddr mail_enable mail_enable_auth mail_logfull mail_server mail_recipient mail_login
//         mail_password mail_dos mail_portscan mail_block time_zone time_daylight log_type lan_ipaddr
//         lan_netmask log_remote_ip log_login log_gateway log_dos log_block
// Writes: /etc/syslog.conf
// Runs:   syslogd killall
// Needs:  /proc/mac
//
// The daemon reads lines name=value. Mail subjects end in the last three octets of the router's hardware
// address, so that the owner of several routers can tell their mails apart.

#include "rc/lan/lan.h"

#include <unistd.h>

#include "rc/files.h"
#include "rc/lan/internal.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"

namespace {

// The router's hardware address as /proc/mac shows it, or a substitute when there is none.
std::string own_hardware_address()
{
    char line[128] = "";
    if (const File mac = open_file("/proc/mac", "r")) {
        (void)!fgets(line, sizeof line, mac.get());
    }
    const std::string_view text(line);
    if (!contains(text, ":")) {
        return "00:01:02:03:04:05";
    }
    return std::string(text.substr(0, text.find('\n')));
}

// The hardware address behind its first three octets; the WAN's own address comes before the router's.
std::string mac_tail()
{
    std::string mac = own_hardware_address();
    const std::string wan_mac = nvram_text("wan_macaddr");
    if (!wan_mac.empty()) {
        mac = wan_mac;
    }
    mac.erase(0, 9);
    return mac;
}

std::string lan_broadcast()
{
    const uint32_t address = address_number(nvram_text("lan_ipaddr"));
    return dotted_text(address | ~address_number(nvram_text("lan_netmask")));
}

void write_mail_settings(FILE *conf, const char *tail)
{
    (void)fprintf(conf, "mail_enable=%s\n", nvram_text("mail_enable").c_str());
    (void)fprintf(conf, "mail_enable_auth=%s\n", nvram_text("mail_enable_auth").c_str());
    // Deliberate: the line's name differs from the setting's.
    (void)fprintf(conf, "mail_log_full=%s\n", nvram_text("mail_logfull").c_str());
    (void)fprintf(conf, "mail_server=%s\n", nvram_text("mail_server").c_str());
    (void)fprintf(conf, "mail_receiver=%s\n", nvram_text("mail_recipient").c_str());
    (void)fprintf(conf, "mail_login=%s\n", nvram_text("mail_login").c_str());
    (void)fprintf(conf, "mail_password=%s\n", nvram_text("mail_password").c_str());
    (void)fprintf(conf, "mail_subject=%s [%s]\n", "VELTRAX Security Log", tail);
    (void)fprintf(conf, "mail_subject_alert=%s [%s]\n", "VELTRAX *Security Alert*", tail);
    const char *dos = nvram_on("mail_dos") ? "[DOS]" : "";
    const char *scan = nvram_on("mail_portscan") ? "[PORT SCAN]" : "";
    const char *block = nvram_on("mail_block") ? "[BLOCK]" : "";
    // Deliberate: the spaces between stay where a word is missing.
    (void)fprintf(conf, "mail_keyword=%s %s %s\n", dos, scan, block);
}

void write_remote_host(FILE *conf)
{
    const char type = nvram_first("log_type");
    if (type == '1') {
        (void)fprintf(conf, "log_remote_ip=%s\n", lan_broadcast().c_str());
    } else if (type == '2') {
        (void)fprintf(conf, "log_remote_ip=%s\n", nvram_text("log_remote_ip").c_str());
    }
}

void write_log_settings(FILE *conf)
{
    (void)fprintf(conf, "TZ=%s\n", nvram_text("time_zone").c_str());
    (void)fprintf(conf, "daylight=%s\n", nvram_text("time_daylight").c_str());
    write_remote_host(conf);
    (void)fprintf(conf, "log_auth=%s\n", nvram_text("log_login").c_str());
    (void)fprintf(conf, "log_syslog=%s\n", nvram_text("log_gateway").c_str());
    const bool dos = nvram_on("log_dos");
    const bool block = nvram_on("log_block");
    if (dos || block) {
        (void)fputs("log_local0=1\n", conf);
        (void)fprintf(conf, "log_keyword=%s %s\n", dos ? "[DOS] [PORT SCAN]" : "", block ? "[BLOCK]" : "");
    }
}

}  // namespace

int create_syslog()
{
    const std::string tail = mac_tail();
    const File conf = open_file("/etc/syslog.conf", "w+");
    if (!conf) {
        return -1;
    }
    write_mail_settings(conf.get(), tail.c_str());
    write_log_settings(conf.get());
    return 0;
}

int start_syslog()
{
    // The daemon starts with whatever configuration is there, also when none could be written.
    (void)create_syslog();
    (void)usleep(1);
    run("/sbin/syslogd -f /etc/syslog.conf");
    return 0;
}

int stop_syslog()
{
    run("/usr/bin/killall syslogd");
    // The daemon must have ended before a restart.
    (void)sleep(1);
    return 0;
}
