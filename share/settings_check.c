/* What is wrong with a setting's value: see settings_check.h. C99 and the C library alone.
 * Made by scripts/settings-reference from bench/image/settings; change those, not this. */
#include "settings_check.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* A setting's rule is a letter for its form and what the form needs; "?" before it: it may be empty. Free text
 * ends in what must not be in it: "b" all that is no plain word for the shell, "!" and characters the shell
 * would not leave alone, "^" and characters that end it too early. Of a list, each line is a field: its name,
 * "=", what separates it from the next ("." at the end of the record) and its rule. */
struct setting {
    const char *key;
    const char *rule;
    unsigned long commands; /* a bit for each of settings_commands that a change needs */
};

static const struct setting settings[] = {
    {"blank_state", "F", 0x12000UL},
    {"ddns_enable", "F", 0x40000UL},
    {"ddns_host_name", "?O1-63", 0x40000UL},
    {"ddns_password", "?T0-63!'", 0x40000UL},
    {"ddns_service_provider", "?W1-63b", 0x40000UL},
    {"ddns_use_wildcards", "F", 0x40000UL},
    {"ddns_user_name", "?T0-63!'", 0x40000UL},
    {"dhcp_end_ip", "?B", 0x200UL},
    {"dhcp_reserved", "?l\n"
     "name=;T0-63\n"
     "address=;A\n"
     "hardware=.D", 0x200UL},
    {"dhcp_server_enable", "F", 0x200UL},
    {"dhcp_start_ip", "?B", 0x200UL},
    {"dis_sip_alg", "F", 0x20000UL},
    {"fix_gateway", "?B", 0x80UL},
    {"fix_ipaddr", "?B", 0x80UL},
    {"fix_netmask", "?M", 0x80UL},
    {"fw_acc_lan", "F", 0x2000UL},
    {"fw_acc_port", "P", 0x2000UL},
    {"fw_block", "C0|1|2", 0x2000UL},
    {"fw_block_keyword", "?l\n"
     "keyword=.W1-127^\"", 0x2000UL},
    {"fw_block_trust", "?A", 0x2000UL},
    {"fw_block_trust_enable", "F", 0x2000UL},
    {"fw_disable", "F", 0x2000UL},
    {"fw_dmz", "?A", 0x2000UL},
    {"fw_dmz_enable", "F", 0x2000UL},
    {"fw_import", "F", 0x2000UL},
    {"fw_in_rules", "?l\n"
     "on=:F\n"
     "service=:T1-14^\"\n"
     "action=:C0|1|2|3\n"
     "lan=:A\n"
     "wan=:R7-31\n"
     "log=.C0|1|2|3", 0x2000UL},
    {"fw_nat", "C0|1|2", 0x2000UL},
    {"fw_out_rules", "?l\n"
     "on=:F\n"
     "service=:T1-14^\"\n"
     "action=:C0|1|2|3\n"
     "lan=:R7-31\n"
     "wan=:R7-31\n"
     "log=.C0|1|2|3", 0x2000UL},
    {"fw_remote", "F", 0x2000UL},
    {"fw_remote_list1_ip1", "?A", 0x2000UL},
    {"fw_remote_list1_ip10", "?A", 0x2000UL},
    {"fw_remote_list1_ip2", "?A", 0x2000UL},
    {"fw_remote_list1_ip3", "?A", 0x2000UL},
    {"fw_remote_list1_ip4", "?A", 0x2000UL},
    {"fw_remote_list1_ip5", "?A", 0x2000UL},
    {"fw_remote_list1_ip6", "?A", 0x2000UL},
    {"fw_remote_list1_ip7", "?A", 0x2000UL},
    {"fw_remote_list1_ip8", "?A", 0x2000UL},
    {"fw_remote_list1_ip9", "?A", 0x2000UL},
    {"fw_remote_port", "?P", 0x2000UL},
    {"fw_remote_range_end", "?A", 0x2000UL},
    {"fw_remote_range_start", "?A", 0x2000UL},
    {"fw_remote_single", "?A", 0x2000UL},
    {"fw_remote_type", "?C1|2|3|4", 0x2000UL},
    {"fw_response_ping", "F", 0x2000UL},
    {"fw_schedule", "?l31\n"
     "days=:Y\n"
     "start_hour=:N0-23\n"
     "start_minute=-N0-59\n"
     "end_hour=:N0-24\n"
     "end_minute=.N0-59", 0x4000UL},
    {"fw_services", "?l\n"
     "name=:T1-14^\"\n"
     "protocol=:Ctcp|udp|both|any\n"
     "first=-N0-65535\n"
     "last=.N0-65535", 0x2000UL},
    {"fw_services_def", "?l\n"
     "name=:T1-14^\"\n"
     "protocol=:Ctcp|udp|both|any\n"
     "first=-N0-65535\n"
     "last=.N0-65535", 0x2000UL},
    {"fw_spapp", "?l\n"
     "index=:N0-255\n"
     "on=:F\n"
     "name=:T1-10\n"
     "trigger_protocol=:Ctcp|udp|both\n"
     "trigger_ports=:Q\n"
     "protocol=:Ctcp|udp|both\n"
     "ports=.Q", 0x2000UL},
    {"fw_spi", "F", 0x2000UL},
    {"fw_time_zone", "C-12|-11|-10|-9|-8|-7a|-7b|-6a|-6b|-6c|-5a|-5b|-5c|-4a|-4b|-3:30|-3b|-3c|-2|-1|GMTa|GMTb|+1a|+1b|+1c|+1d|+2a|+2b|+2c|+2d|+2e|+2f|+3a|+3b|+3c|+3:30|+4a|+4b|+4:30|+5a|+5b|+5:30|+6a|+6b|+7|+8a|+8b|+8c|+8d|+9a|+9b|+9c|+9:30a|+9:30b|+10a|+10b|+10c|+10d|+10e|+11a|+12a|+12b", 0x4004UL},
    {"fw_vs_enableA", "?N0-63", 0x2000UL},
    {"fw_vs_serverA", "?f\n"
     "web=:Z\n"
     "ftp=:Z\n"
     "pop=:Z\n"
     "mail=:Z\n"
     "names=:Z\n"
     "telnet=.Z", 0x2000UL},
    {"http_password", "?T0-63", 0x8UL},
    {"http_timeout", "N1-1440", 0x8UL},
    {"http_username", "?T1-63^:", 0x8UL},
    {"ipoa_gateway", "?B", 0x80UL},
    {"ipoa_ipaddr", "?B", 0x80UL},
    {"ipoa_mode", "?C1483|1577", 0x80UL},
    {"ipoa_netmask", "?M", 0x80UL},
    {"lan_bipaddr", "A", 0x2UL},
    {"lan_if", "I1-7", 0xa202UL},
    {"lan_ipaddr", "B", 0x1a602UL},
    {"lan_netmask", "M", 0x602UL},
    {"log_block", "F", 0x400UL},
    {"log_dos", "F", 0x400UL},
    {"log_gateway", "F", 0x400UL},
    {"log_login", "F", 0x400UL},
    {"log_remote_ip", "?A", 0x400UL},
    {"log_type", "?C0|1|2", 0x400UL},
    {"mail_block", "F", 0x400UL},
    {"mail_dos", "F", 0x400UL},
    {"mail_enable", "F", 0x400UL},
    {"mail_enable_auth", "F", 0x400UL},
    {"mail_logfull", "F", 0x400UL},
    {"mail_login", "?T0-63", 0x400UL},
    {"mail_password", "?T0-63", 0x400UL},
    {"mail_portscan", "F", 0x400UL},
    {"mail_recipient", "?W0-127", 0x400UL},
    {"mail_sendlog", "?C0|1|2|3|4", 0x4000UL},
    {"mail_server", "?O1-63", 0x400UL},
    {"mail_sh_day", "?N0-6", 0x4000UL},
    {"mail_sh_hour", "?N0-23", 0x4000UL},
    {"ntp_custom", "F", 0x800UL},
    {"ntp_server", "?O1-63", 0x800UL},
    {"nvram_need_post", "F", 0x0UL},
    {"pppoa_idle", "?N0-10080", 0x80UL},
    {"pppoa_ipaddr", "?B", 0x80UL},
    {"pppoa_password", "?T1-127!$`\"\\", 0x80UL},
    {"pppoa_username", "?T1-127!$`\"\\", 0x80UL},
    {"pppoe_idle", "?N0-10080", 0x80UL},
    {"pppoe_ipaddr", "?B", 0x80UL},
    {"pppoe_password", "?T1-127!$`\"\\", 0x80UL},
    {"pppoe_service", "?W0-63b", 0x80UL},
    {"pppoe_username", "?T1-127!$`\"\\", 0x80UL},
    {"restore_default", "F", 0x100000UL},
    {"rt_rip_direction", "?C0|i|o|b", 0x20UL},
    {"rt_rip_version", "?C1|2|2B", 0x20UL},
    {"rt_static_route", "?l\n"
     "name=:T1-29\n"
     "destination=:A\n"
     "netmask=:M\n"
     "gateway=:B\n"
     "metric=:N0-16\n"
     "export=:F\n"
     "active=.F", 0x10UL},
    {"time_daylight", "F", 0x5404UL},
    {"time_zone", "T1-63b", 0x5c04UL},
    {"upgrade_default", "F", 0x2001UL},
    {"upnp_adv_time", "?N1-1440", 0x8000UL},
    {"upnp_enable", "F", 0x8000UL},
    {"upnp_ttl", "?N1-255", 0x8000UL},
    {"vpn", "?p\n"
     "enabled=\002F\n"
     "name=\002T1-19b\n"
     "keying=\002C1|2\n"
     "encryption=\002C0|1\n"
     "authentication=\002C0|1|2\n"
     "local_type=\002C2|3|4|5\n"
     "local_net=\002G0-33\n"
     "gateway_type=\002C0|1|2\n"
     "gateway=\002T1-86b\n"
     "remote_type=\002C1|2|3|4|5\n"
     "remote_net=\002G0-33\n"
     "psk=\002T1-129\n"
     "spi_in=\002E1-8\n"
     "spi_out=\002E1-8\n"
     "encryption_key=\002T1-48b\n"
     "authentication_key=\002T1-40b\n"
     "local_id_type=\002N0-9\n"
     "local_id=\002T1-30!$`\"\\\n"
     "remote_id_type=\002N0-9\n"
     "remote_id=\002T1-30!$`\"\\\n"
     "exchange=\002C0|1|2\n"
     "connect=\002C0|1|2\n"
     "dh_group=\002C0|1|2|5\n"
     "pfs=\002F\n"
     "option25=\002N0-255\n"
     "lifetime=\002N0-2147483647\n"
     "keepalive_address=\002Z\n"
     "keepalive=.F", 0x3000UL},
    {"wan_account", "?L1-63", 0x2UL},
    {"wan_dns1", "?B", 0x280UL},
    {"wan_dns2", "?B", 0x280UL},
    {"wan_dod", "F", 0x80UL},
    {"wan_domain", "?O1-63", 0x2UL},
    {"wan_dslmode", "?CMMODE|A2PMOD|GDMT|A2MOD", 0xc0UL},
    {"wan_encap", "C0|1", 0x80UL},
    {"wan_fix_dns", "F", 0x280UL},
    {"wan_ifname", "?I1-7", 0x80UL},
    {"wan_iptype", "?CDynamic|Fixed", 0x80UL},
    {"wan_macaddr", "?H", 0x480UL},
    {"wan_mode", "?Cpppoe|pppoa|ipoa|dhcpc|ip|bridge", 0x380UL},
    {"wan_mtu", "N576-1500", 0x80UL},
    {"wan_pppoe_relay", "F", 0x80UL},
    {"wan_vci", "N1-65535", 0x80UL},
    {"wan_vpi", "N0-255", 0x80UL},
    {"wifi_access_control", "F", 0x80000UL},
    {"wifi_access_list", "?l\n"
     "station=.S17-127", 0x80000UL},
    {"wifi_auth_type", "?C1|2", 0x80000UL},
    {"wifi_broadcast_ssid", "F", 0x80000UL},
    {"wifi_channel", "N0-13", 0x80000UL},
    {"wifi_def_key", "?C1|2|3|4", 0x80000UL},
    {"wifi_dot11_iso", "F", 0x80000UL},
    {"wifi_dot11_mode", "?C1|2|3", 0x80000UL},
    {"wifi_features", "?N0-2147483647", 0x80000UL},
    {"wifi_if_on", "F", 0x80000UL},
    {"wifi_key1", "?X", 0x80000UL},
    {"wifi_key2", "?X", 0x80000UL},
    {"wifi_key3", "?X", 0x80000UL},
    {"wifi_key4", "?X", 0x80000UL},
    {"wifi_key_len", "?C64|128", 0x80000UL},
    {"wifi_passphraseKey", "?T0-63", 0x80000UL},
    {"wifi_present", "F", 0x100000UL},
    {"wifi_psk_pwd", "?T8-64!$`\"\\", 0x80000UL},
    {"wifi_radius_login_key", "?T0-64!$`\"\\", 0x80000UL},
    {"wifi_radius_port", "?P", 0x80000UL},
    {"wifi_radius_secret_len", "?N0-255", 0x80000UL},
    {"wifi_radius_server", "?A", 0x80000UL},
    {"wifi_region", "CAfrica|Asia|Australia|Canada|Europe|France|Israel|Japan|Mexico|South America|United States", 0x80000UL},
    {"wifi_ssid", "?T1-32!$\\", 0x80000UL},
    {"wifi_wds", "F", 0x80000UL},
    {"wifi_wds_apmode", "?Cpoint|multi|repeater", 0x80000UL},
    {"wifi_wds_bridge0mac", "?H", 0x80000UL},
    {"wifi_wds_bridge1mac", "?H", 0x80000UL},
    {"wifi_wds_bridge2mac", "?H", 0x80000UL},
    {"wifi_wds_bridge3mac", "?H", 0x80000UL},
    {"wifi_wds_bridge4mac", "?H", 0x80000UL},
    {"wifi_wds_repeater1mac", "?H", 0x80000UL},
    {"wifi_wds_repeater2mac", "?H", 0x80000UL},
    {"wifi_wds_repeater3mac", "?H", 0x80000UL},
    {"wifi_wds_repeater4mac", "?H", 0x80000UL},
    {"wifi_wep_on", "C0|1|2|3|4|5|6|7", 0x80000UL},
    {"wiz_language", "?CEnglish|German|Italian|French", 0x8UL},
};

const char *const settings_commands[] = {
    "rc init",
    "rc lan start",
    "rc timezone start",
    "rc httpd restart",
    "rc route start",
    "rc ripd restart",
    "rc adsl restart",
    "rc wan restart",
    "rc service restart",
    "rc dhcpd restart",
    "rc syslogd restart",
    "rc ntp restart",
    "rc vpn restart",
    "rc firewall restart",
    "rc schedule restart",
    "rc upnp restart",
    "rc dnrd restart",
    "rc wan_basic restart",
    "rc ddns start",
    "rc wlan restart",
    "reboot",
    NULL};

static const struct before {
    const char *key;
    const char *command;
} before[] = {
    {"wiz_language", "rm -f /tmp/www"},
    {"rt_static_route", "rc route stop"},
    {"wan_vpi", "echo > /tmp/dsl_change"},
    {"wan_vci", "echo > /tmp/dsl_change"},
    {"wan_encap", "echo > /tmp/dsl_change"},
    {"wan_fix_dns", "rm -f /etc/resolv.conf"},
    {"wan_dns1", "rm -f /etc/resolv.conf"},
    {"wan_dns2", "rm -f /etc/resolv.conf"},
    {"wan_pppoe_relay", "echo > /tmp/dsl_change"},
};

static char sentence[160];

/* ---- characters and numbers ---- */

static int is_digit(char c)
{
    return c >= '0' && c <= '9';
}

static int is_letter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

static int is_hex(char c)
{
    return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

static int all_hex(const char *text, size_t size)
{
    size_t i;
    for (i = 0; i < size; ++i) {
        if (!is_hex(text[i])) {
            return 0;
        }
    }
    return 1;
}

/* The number that is the whole text, or -1. */
static long read_whole(const char *text, size_t size)
{
    long long number = 0;
    size_t i;
    if (size == 0 || size > 10) {
        return -1;
    }
    for (i = 0; i < size; ++i) {
        if (!is_digit(text[i])) {
            return -1;
        }
        number = number * 10 + (text[i] - '0');
    }
    return number > 2147483647 ? -1 : (long)number;
}

static int is_number(const char *text, size_t size, long least, long most)
{
    const long number = read_whole(text, size);
    return number >= least && number <= most;
}

static size_t find(const char *text, size_t size, char c)
{
    const char *found = size == 0 ? NULL : memchr(text, c, size);
    return found == NULL ? size : (size_t)(found - text);
}

/* ---- forms ---- */

static int read_address(const char *text, size_t size, unsigned long *address)
{
    int part;
    *address = 0;
    for (part = 0; part < 4; ++part) {
        const size_t dot = part < 3 ? find(text, size, '.') : size;
        if ((part < 3 && dot == size) || dot > 3 || (dot > 1 && *text == '0') || !is_number(text, dot, 0, 255)) {
            return 0;
        }
        *address = *address << 8 | (unsigned long)read_whole(text, dot);
        if (part < 3) {
            text += dot + 1;
            size -= dot + 1;
        }
    }
    return 1;
}

static int is_address(const char *text, size_t size)
{
    unsigned long address;
    return read_address(text, size, &address);
}

static int is_host_address(const char *text, size_t size)
{
    unsigned long address;
    const int is_read = read_address(text, size, &address);
    const unsigned long net = address >> 24;
    return is_read && net != 0 && net != 127 && net < 224;
}

static int is_netmask(const char *text, size_t size)
{
    unsigned long mask;
    unsigned long rest;
    if (!read_address(text, size, &mask)) {
        return 0;
    }
    rest = ~mask & 0xffffffffUL;
    return (rest & (rest + 1)) == 0;
}

static int is_addresses(const char *text, size_t size)
{
    const size_t slash = find(text, size, '/');
    const size_t dash = find(text, size, '-');
    unsigned long first;
    unsigned long last;
    if (slash < size) {
        const char *mask = text + slash + 1;
        const size_t left = size - slash - 1;
        return is_address(text, slash) && (is_number(mask, left, 0, 32) || is_netmask(mask, left));
    }
    if (dash < size) {
        return read_address(text, dash, &first) && read_address(text + dash + 1, size - dash - 1, &last) &&
               first <= last;
    }
    return is_address(text, size);
}

static int is_hardware(const char *text, size_t size)
{
    size_t i;
    for (i = 0; i < size; ++i) {
        if (i % 3 == 2 ? text[i] != ':' : !is_hex(text[i])) {
            return 0;
        }
    }
    return size == 17;
}

static int is_label(const char *text, size_t size)
{
    size_t i;
    for (i = 0; i < size; ++i) {
        if (!is_letter(text[i]) && !is_digit(text[i]) && text[i] != '-') {
            return 0;
        }
    }
    return size > 0 && text[0] != '-' && text[size - 1] != '-';
}

static int only_of(const char *text, size_t size, const char *characters)
{
    size_t i;
    for (i = 0; i < size; ++i) {
        if (strchr(characters, text[i]) == NULL) {
            return 0;
        }
    }
    return 1;
}

static int is_host(const char *text, size_t size)
{
    const char *whole = text;
    const size_t whole_size = size;
    for (;;) {
        const size_t dot = find(text, size, '.');
        if (!is_label(text, dot)) {
            return 0;
        }
        if (dot == size) {
            return !only_of(text, size, "0123456789") || is_address(whole, whole_size);
        }
        text += dot + 1;
        size -= dot + 1;
    }
}

static int is_interface(const char *text, size_t size)
{
    size_t i;
    for (i = 0; i < size; ++i) {
        if (!is_letter(text[i]) && !is_digit(text[i]) && strchr("._-", text[i]) == NULL) {
            return 0;
        }
    }
    return size > 0 && is_letter(text[0]);
}

static int is_ports(const char *text, size_t size)
{
    const size_t dash = find(text, size, '-');
    const long first = read_whole(text, dash);
    const long last = dash == size ? first : read_whole(text + dash + 1, size - dash - 1);
    return first >= 1 && last >= first && last <= 65535;
}

static int is_choice(const char *words, const char *text, size_t size)
{
    for (;;) {
        const size_t length = strcspn(words, "|\n");
        if (length == size && memcmp(words, text, size) == 0) {
            return 1;
        }
        if (words[length] != '|') {
            return 0;
        }
        words += length + 1;
    }
}

/* ---- reasons ---- */

static const char *why_not_choice(const char *words, char *reason)
{
    int count;
    char *end = reason + sprintf(reason, "is none of ");
    for (count = 0; count < 8; ++count) {
        const size_t length = strcspn(words, "|\n");
        end += sprintf(end, "%s%.*s", count == 0 ? "" : ", ", (int)length, words);
        if (words[length] != '|') {
            return reason;
        }
        words += length + 1;
    }
    strcpy(end, " ...");
    return reason;
}

static int is_listed(const char *rule, char front, char c)
{
    const char *listed = strchr(rule, front);
    if (listed == NULL) {
        return 0;
    }
    for (++listed; *listed != '\0' && *listed != '\n' && (front == '^' || *listed != '^'); ++listed) {
        if (*listed == c) {
            return 1;
        }
    }
    return 0;
}

static int is_plain_word(char c)
{
    return is_letter(c) || is_digit(c) || strchr("@%_+=:,./-", c) != NULL;
}

/* `rule` is what follows the width. */
static const char *why_harmful(const char *rule, const char *text, size_t size, char *reason)
{
    size_t i;
    char left[128];
    const size_t length = strcspn(rule, "\n");
    memcpy(left, rule, length < sizeof left ? length : sizeof left - 1);
    left[length < sizeof left ? length : sizeof left - 1] = '\0';
    for (i = 0; i < size; ++i) {
        const char c = text[i];
        const int is_shell = left[0] == 'b' ? !is_plain_word(c) : is_listed(left, '!', c);
        if (is_shell || is_listed(left, '^', c)) {
            const char *why =
                is_shell ? "which the shell would not leave as it is" : "which ends it too early";
            if (c == ' ') {
                sprintf(reason, "holds a space, %s", why);
            } else {
                sprintf(reason, "holds %c, %s", c, why);
            }
            return reason;
        }
    }
    return NULL;
}

static const char *check_width(char form, long least, long most, size_t size, char *reason)
{
    if ((long)size > most) {
        sprintf(reason, "is longer than %ld characters", most);
        return reason;
    }
    if ((long)size < least && (form == 'T' || form == 'W')) {
        if (size == 0) {
            return "is empty";
        }
        sprintf(reason, "is shorter than %ld characters", least);
        return reason;
    }
    return NULL;
}

static const char *check_plain(char form, const char *text, size_t size)
{
    switch (form) {
        case 'F':
            return size == 1 && (*text == '0' || *text == '1') ? NULL : "is neither 0 nor 1";
        case 'A':
            return is_address(text, size) ? NULL : "is no address";
        case 'B':
            return is_host_address(text, size)  ? NULL
                   : is_address(text, size) ? "is no address that a host can have"
                                            : "is no address";
        case 'Z':
            return (size == 1 && *text == '0') || is_address(text, size) ? NULL : "is neither an address nor 0";
        case 'R':
            return is_addresses(text, size) ? NULL : "is no address, range or net";
        case 'M':
            return is_netmask(text, size) ? NULL : "is no netmask";
        case 'H':
            return is_hardware(text, size) ? NULL : "is no hardware address";
        case 'D':
            return is_hardware(text, size) || (size == 12 && all_hex(text, size)) ? NULL
                                                                                : "is no hardware address";
        case 'S':
            return is_hardware(text, size < 17 ? size : 17) ? NULL : "does not begin with a hardware address";
        case 'I':
            return is_interface(text, size) ? NULL : "is no interface name";
        case 'O':
            return is_host(text, size) ? NULL : "is no host name or address";
        case 'L':
            return is_label(text, size) ? NULL : "is no host name";
        case 'P':
            return is_number(text, size, 1, 65535) ? NULL : "is no port from 1 to 65535";
        case 'Q':
            return is_ports(text, size) ? NULL : "is no port or range of ports";
        case 'Y':
            return size == 7 && only_of(text, size, "01") ? NULL : "is not seven times 0 or 1";
        case 'G':
            return size > 0 && only_of(text, size, "0123456789.") ? NULL : "is no address, range or net";
        case 'X':
            return (size == 10 || size == 26) && all_hex(text, size) ? NULL
                                                                    : "is not 10 or 26 hexadecimal digits";
        default:
            return size > 0 && all_hex(text, size) ? NULL : "is no hexadecimal number";
    }
}

static const char *check_text(const char *rule, const char *text, size_t size, int is_vpn, char *reason)
{
    const char form = *rule;
    char *rest;
    long least;
    long most;
    const char *why;
    size_t i;
    for (i = 0; i < size; ++i) {
        const unsigned char c = (unsigned char)text[i];
        if ((c < ' ' || c == 0x7f) && !(is_vpn && size == 1 && c == 3)) {
            return "holds a control character";
        }
    }
    if (form == 'C') {
        return is_choice(rule + 1, text, size) ? NULL : why_not_choice(rule + 1, reason);
    }
    least = strtol(rule + 1, &rest, 10);
    most = *rest == '-' ? strtol(rest + 1, &rest, 10) : 0;
    if (form == 'N') {
        if (is_number(text, size, least, most)) {
            return NULL;
        }
        sprintf(reason, "is no number from %ld to %ld", least, most);
        return reason;
    }
    if (most > 0 && (why = check_width(form, least, most, size, reason)) != NULL) {
        return why;
    }
    if (form != 'T' && form != 'W') {
        return check_plain(form, text, size);
    }
    if (form == 'W' && find(text, size, ' ') < size) {
        return "holds a space";
    }
    return why_harmful(rest, text, size, reason);
}

/* ---- lists ---- */

struct place {
    const char *key;
    int record;
    const char *field;
    int field_size;
};

static const char *say(const struct place *place, const char *why)
{
    int at = snprintf(sentence, sizeof sentence, "%s", place->key);
    if (place->record > 0) {
        at += snprintf(sentence + at, sizeof sentence - (size_t)at, ": record %d", place->record);
    }
    if (place->field != NULL) {
        at += snprintf(sentence + at, sizeof sentence - (size_t)at, ": %.*s", place->field_size, place->field);
    }
    snprintf(sentence + at, sizeof sentence - (size_t)at, " %s", why);
    return sentence;
}

static int count_fields(const char *rule)
{
    int count = 0;
    for (; (rule = strchr(rule, '\n')) != NULL; ++rule) {
        ++count;
    }
    return count;
}

/* How many fields the record can be cut into, and whether one is left over. */
static int count_parts(const char *rule, const char *text, size_t size, int most)
{
    int count = 0;
    while (count < most && (rule = strchr(rule, '\n')) != NULL) {
        const char *equals = strchr(++rule, '=');
        const size_t end = equals[1] == '.' ? size : find(text, size, equals[1]);
        ++count;
        if (end == size) {
            return equals[1] == '.' && find(text, size, '\002') < size ? count + 1 : count;
        }
        text += end + 1;
        size -= end + 1;
        if (count == most) {
            return count + 1;
        }
    }
    return count;
}

/* Separators that a record has beyond those between its fields. */
static int separators_too_many(const char *rule, const char *text, size_t size)
{
    const char separator = strchr(rule, '=')[1];
    int count = 0;
    size_t i;
    if (separator < ' ' || separator == '.') {
        return 0;
    }
    for (i = 0; i < size; ++i) {
        count += text[i] == separator;
    }
    while ((rule = strchr(rule, '\n')) != NULL) {
        rule = strchr(rule, '=');
        count -= rule[1] == separator;
    }
    return count;
}

static const char *check_record(const char *rule, struct place *place, const char *text, size_t size,
                                int expected)
{
    char reason[96];
    const int is_vpn = *rule == 'p';
    const int parts = count_parts(rule, text, size, expected);
    int more;
    int i;
    if (parts < expected) {
        sprintf(reason, "has %d of %d fields", parts, expected);
        return say(place, reason);
    }
    if (parts > expected) {
        sprintf(reason, "has more than %d fields", expected);
        return say(place, reason);
    }
    more = separators_too_many(rule, text, size);
    if (more > 0) {
        sprintf(reason, "has %d fields, not %d: \"%c\" ends a field, so no name can hold it", expected + more,
                expected, strchr(rule, '=')[1]);
        return say(place, reason);
    }
    for (i = 0; i < expected; ++i) {
        const char *name = strchr(rule, '\n') + 1;
        const char *equals = strchr(name, '=');
        const size_t end = i == expected - 1 ? size : find(text, size, equals[1]);
        const char *why = check_text(equals + 2, text, end, is_vpn, reason);
        if (why != NULL) {
            place->field = name;
            place->field_size = (int)(equals - name);
            return say(place, why);
        }
        text += end + (end < size);
        size -= end + (end < size);
        rule = name;
    }
    return NULL;
}

static const char *check_records(const char *rule, struct place *place, const char *value)
{
    int expected = count_fields(rule);
    const int is_vpn = *rule == 'p';
    if (is_vpn) {
        if ((*value != '1' && *value != '2') || (value[1] != '\0' && value[1] != '\001')) {
            return say(place, "does not begin with the format 1 or 2");
        }
        expected = *value == '1' ? 26 : expected;
        value += value[1] == '\0' ? 1 : 2;
    }
    while (*value != '\0') {
        const size_t size = *rule == 'f' ? strlen(value) : strcspn(value, "\001");
        const char *why;
        if (++place->record > 8 && is_vpn) {
            return say(place, "is one more than the 8 that are read");
        }
        why = check_record(rule, place, value, size, expected);
        if (why != NULL) {
            return why;
        }
        value += size + (value[size] != '\0');
    }
    return NULL;
}

static int compare(const void *key, const void *setting)
{
    return strcmp(key, ((const struct setting *)setting)->key);
}

static const struct setting *find_setting(const char *key)
{
    return bsearch(key, settings, sizeof settings / sizeof settings[0], sizeof settings[0], compare);
}

int settings_needs(const char *key, const char *command)
{
    const struct setting *found = find_setting(key);
    size_t i;
    for (i = 0; found != NULL && settings_commands[i] != NULL; ++i) {
        if (strcmp(settings_commands[i], command) == 0) {
            return (found->commands >> i & 1) != 0;
        }
    }
    return 0;
}

const char *settings_before(const char *key)
{
    size_t i;
    for (i = 0; i < sizeof before / sizeof before[0]; ++i) {
        if (strcmp(before[i].key, key) == 0) {
            return before[i].command;
        }
    }
    return NULL;
}

const char *settings_refuse(const char *key, const char *value)
{
    const struct setting *found = find_setting(key);
    struct place place = {key, 0, NULL, 0};
    const char *rule;
    char reason[96];
    const char *why;
    long most;
    if (found == NULL) {
        return "there is no such setting";
    }
    rule = found->rule + (*found->rule == '?');
    if (*value == '\0') {
        return rule > found->rule ? NULL : say(&place, "is empty");
    }
    if (strchr("lfp", *rule) == NULL) {
        why = check_text(rule, value, strlen(value), 0, reason);
        return why == NULL ? NULL : say(&place, why);
    }
    most = strtol(rule + 1, NULL, 10);
    if (most > 0 && (long)strlen(value) > most) {
        sprintf(reason, "is longer than %ld characters", most);
        return say(&place, reason);
    }
    return check_records(rule, &place, value);
}
