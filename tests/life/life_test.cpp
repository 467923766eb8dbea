// A router's whole life in one root, with every run of rc that rc starts really run: boot from blank flash,
// the Internet side in every mode, settings changed and their services restarted, the line lost and found,
// tunnels, shutdown, and the boot after it. At each step: the files, the settings that rc keeps, and what is
// running, loaded and switched on the board.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "bench/router.h"
#include "tests/programs.h"

namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

const std::string kUptime = "4000.12 3900.34\n";
const std::string kProviderServers = "nameserver 198.51.100.53\nnameserver 198.51.100.54\n";
constexpr int64_t kFriday0829 = 1772782140;  // 2026-03-06 08:29 in the router's time zone

const std::string kJobsOfTheImage =
    "# The router's jobs by the clock. rc copies this to /etc/crontab and appends its own lines.\n"
    "#\n"
    "# minute hour day month weekday user command\n"
    "SHELL=/bin/sh\n"
    "PATH=/bin:/sbin:/usr/sbin:/usr/bin\n"
    "\n";
const std::string kCheckEveryMinute = "0-59 * * * * root /usr/sbin/rc check_conn start\n";
const std::string kWorkingDays =
    "30 8 * * 1,2,3,4,5 root /usr/sbin/rc schedule restart\n"
    "0 17 * * 1,2,3,4,5 root /usr/sbin/rc schedule restart\n";

std::string jobs(const std::string &by_mode, const std::string &by_schedule)
{
    return kJobsOfTheImage + "DAYLIGHT=1\nTZ=CET-1\n\n0 12 * * * root /usr/sbin/rc ddns start\n" + by_mode +
           by_schedule + "0 6 * * * root killall -1 syslogd\n";
}

// One tunnel to another office: its net behind a peer with a fixed address, keys made by the daemons.
const std::string kTunnel =
    "1\x01"
    "1\x02office\x02"
    "1\x02"
    "0\x02"
    "2\x02"
    "4\x02"
    "192.168.0.1...255.255.255.0\x02"
    "1\x02"
    "198.51.100.99\x02"
    "4\x02"
    "10.1.2.3...255.255.0.0\x02secret\x02"
    "0\x02"
    "0\x02"
    "0\x02"
    "0\x02"
    "0\x02\x03\x02"
    "0\x02\x03\x02"
    "0\x02"
    "1\x02"
    "2\x02"
    "0\x02"
    "0\x02"
    "3600\x01";

bench::Setup blank_router()
{
    bench::Setup setup;
    setup.settings.reset();
    setup.image_defaults = true;
    setup.image_replies = true;
    setup.defaults = {
        {"fix_ipaddr", "203.0.113.20"},  {"fix_netmask", "255.255.255.0"},  {"fix_gateway", "203.0.113.1"},
        {"ipoa_ipaddr", "203.0.113.20"}, {"ipoa_netmask", "255.255.255.0"}, {"ipoa_gateway", "203.0.113.1"},
    };
    setup.interfaces = {
        {"br0", "192.168.0.1"}, {"ppp0", "203.0.113.10"}, {"nas0", "203.0.113.20"}, {"atm1", "203.0.113.30"}};
    // The provider's address server answers when the board has one.
    setup.effects = {{"atmarp", "-s 203.0.113.1",
                      "[ ! -e /.bench/board/server ] || printf 203.0.113.1 >/tmp/ipoa_server"}};
    return setup;
}

class Life {
  public:
    explicit Life(const bench::Target &target) : root_(target, blank_router()) {}

    // Runs rc with these words, one space between them.
    bench::Trace run(const std::string &words)
    {
        bench::Run run;
        run.words = {"/usr/sbin/rc"};
        for (size_t at = 0; at < words.size();) {
            const size_t end = std::min(words.find(' ', at), words.size());
            run.words.push_back(words.substr(at, end - at));
            at = end + 1;
        }
        run.nested = true;
        run.clock = kFriday0829;
        run.limit = 120;
        bench::Trace trace = root_.run(run);
        EXPECT_EQ(trace.status, 0) << words;
        EXPECT_FALSE(trace.timed_out) << words;
        return trace;
    }

    // The same, for a service that the first two tables have.
    bench::Trace rc(const std::string &words)
    {
        bench::Trace trace = run(words);
        EXPECT_EQ(trace.output.find("can't find"), std::string::npos) << words;
        return trace;
    }

    // What the pages do when the user saves: the working copy changes, services are not told.
    void set(const std::string &key, const std::string &value)
    {
        std::vector<bench::Setting> settings = root_.settings().value_or(std::vector<bench::Setting>{});
        for (bench::Setting &setting : settings) {
            if (setting.key == key) {
                setting.value = value;
                root_.write("/tmp/nvram", bench::store_bytes(settings));
                return;
            }
        }
        FAIL() << "no setting " << key;
    }

    void expect_file(const std::string &path, const std::string &bytes) const
    {
        EXPECT_EQ(root_.read(path), bytes) << path;
    }

    void expect_gone(const Lines &paths) const
    {
        for (const std::string &path : paths) {
            EXPECT_FALSE(root_.exists(path)) << path;
        }
    }

    void expect_line(const std::string &path, const std::string &line, bool there = true) const
    {
        const std::string text = "\n" + root_.read(path).value_or("");
        EXPECT_EQ(text.find("\n" + line + "\n") != std::string::npos, there) << path << ":\n" << text;
    }

    // What the board has of a kind (process, module, circuit), by name.
    Lines board(const std::string &kind) const
    {
        Lines names;
        for (const fs::directory_entry &entry : fs::directory_iterator(root_.directory() / ".bench/board")) {
            const std::string name = entry.path().filename().string();
            if (name.starts_with(kind + ".")) {
                names.push_back(name.substr(kind.size() + 1));
            }
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    void expect_runs(const std::string &process, bool runs = true) const
    {
        const Lines all = board("process");
        EXPECT_EQ(std::find(all.begin(), all.end(), process) != all.end(), runs) << process;
    }

    bool has_default_route() const
    {
        return root_.read("/proc/net/route").value_or("").find("\t00000000\t017100CB\t") != std::string::npos;
    }

    bench::Root &root() { return root_; }

  private:
    bench::Root root_;
};

bool called(const bench::Trace &trace, const Lines &words)
{
    return std::any_of(trace.events.begin(), trace.events.end(), [&](const bench::Event &event) {
        return event.kind == bench::Kind::kTool && event.words == words;
    });
}

bool ran(const bench::Trace &trace, const std::string &command)
{
    return std::any_of(trace.events.begin(), trace.events.end(), [&](const bench::Event &event) {
        return event.kind == bench::Kind::kShell && event.text == command;
    });
}

// ---- boot -----------------------------------------------------------------------------------------------

std::string bytes(const char *text, size_t length)
{
    return {text, length};
}

// A reservation as the DHCP server finds it: a lease of a year.
std::string reservation(const std::string &hardware, const std::string &address, const std::string &name)
{
    std::string record(104, '\0');
    record.replace(0, 6, hardware);
    record.replace(16, 4, address);
    record.replace(20, 4, "\x01\xE1\x33\x80");
    record.replace(24, name.size(), name);
    record.replace(88, 6, hardware);
    return record;
}

void expect_lan_files(const Life &life)
{
    life.expect_file("/etc/TZ", "CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00\n");
    life.expect_file("/etc/htpasswd", "admin:password\n");
    life.expect_file("/etc/syslog.conf",
                     "mail_enable=1\nmail_enable_auth=1\nmail_log_full=1\nmail_server=mail.example.net\n"
                     "mail_receiver=owner@example.net\nmail_login=owner\nmail_password=secret\n"
                     "mail_subject=VELTRAX Security Log [33:44:55]\n"
                     "mail_subject_alert=VELTRAX *Security Alert* [33:44:55]\n"
                     "mail_keyword=[DOS] [PORT SCAN] \nTZ=CET-1\ndaylight=1\nlog_auth=1\nlog_syslog=1\n"
                     "log_local0=1\nlog_keyword=[DOS] [PORT SCAN] [BLOCK]\n");
    life.expect_file("/etc/udhcpd.conf",
                     "server\t\t192.168.0.1\nstart\t\t192.168.0.2\nend\t\t192.168.0.254\ninterface\tbr0\n"
                     "option\tsubnet\t255.255.255.0\noption\trouter\t192.168.0.1\n"
                     "option\tdns\t192.168.0.1\noption\tlease\t259200\n");
    life.expect_file(
        "/var/udhcpd.leases",
        reservation(bytes("\x02\x4B\x51\x00\x10\x01", 6), bytes("\xC0\xA8\x00\x14", 4), "storage") +
            reservation(bytes("\x02\x4B\x51\x00\x10\x02", 6), bytes("\xC0\xA8\x00\x15", 4), "printer"));
    life.expect_file("/tmp/sroute", "10.20.0.0 16 192.168.0.30\n");
    life.expect_file("/etc/hosts",
                     "192.168.0.1 www.routersetup.home\n192.168.0.1 routersetup.home\n"
                     "192.168.0.1 www.routerlogin.home\n192.168.0.1 routerlogin.home\n");
}

void boot(Life &life)
{
    SCOPED_TRACE("boot from blank flash");
    bench::Root &root = life.root();
    const std::vector<bench::Setting> defaults =
        root.settings("/etc/default").value_or(std::vector<bench::Setting>{});
    ASSERT_EQ(root.read("/dev/mtdblock/3"), "");
    life.rc("init");
    EXPECT_EQ(root.settings(), defaults);
    EXPECT_NE(root.read("/dev/mtdblock/3").value_or("").find(bench::store_bytes(defaults)),
              std::string::npos);
    EXPECT_EQ(life.board("process"), Lines{});

    const bench::Trace start = life.rc("start");
    EXPECT_TRUE(called(start, {"/sbin/ifconfig", "br0", "192.168.0.1", "netmask", "255.255.255.0",
                               "broadcast", "192.168.0.255"}));
    life.expect_file(
        "/etc/svn.info",
        "ADSL driver version: AnnexB version - B2pB023k.d20k\nFirmware version: V1.0.07_KQ417\n");
    expect_lan_files(life);
    EXPECT_EQ(fs::read_symlink(root.directory() / "tmp/www"), "/www.eng");
    EXPECT_EQ(root.read("/etc/block.htm"), root.read("/www.eng/block.htm"));
    life.expect_file("/tmp/wlan_uptime", kUptime);
    EXPECT_EQ(life.board("process"), (Lines{"dnrd", "mini_httpd", "miniupnpd", "nas", "potcounter", "syslogd",
                                            "udhcpd", "veltrax_ntp"}));
    EXPECT_EQ(life.board("module"), (Lines{"fast_br", "wl"}));
    EXPECT_EQ(root.settings(), defaults);
    // Nothing of the Internet side yet.
    life.expect_gone({"/tmp/wan_uptime", "/tmp/wan_ipaddr", "/tmp/ntp_start", "/etc/crontab", "/tmp/rules",
                      "/var/tmp/vpn.conf", "/etc/ppp/ip-up"});
}

// ---- the Internet side, mode by mode --------------------------------------------------------------------

const Lines kServices = {"dnrd",       "mini_httpd", "miniupnpd", "nas",
                         "potcounter", "syslogd",    "udhcpd",    "veltrax_ntp"};

// The usual services and those of the mode.
Lines with(const Lines &more)
{
    Lines all = kServices;
    all.insert(all.end(), more.begin(), more.end());
    std::sort(all.begin(), all.end());
    return all;
}

struct Session {
    std::string interface;
    std::string address;
    Lines processes;
    std::string by_mode;  // the mode's own line of the crontab
};

// What every mode with an address leaves.
void expect_up(Life &life, const Session &session)
{
    bench::Root &root = life.root();
    life.expect_file("/tmp/wan_uptime", kUptime);
    life.expect_file("/tmp/wan_ipaddr", session.address);
    life.expect_file("/tmp/ntp_start", "\n");
    life.expect_file("/proc/sys/net/ipv4/ip_forward", "1\n");
    life.expect_file("/proc/net/ipt_condition/schedule", "1\n");
    life.expect_file("/etc/crontab", jobs(session.by_mode, kWorkingDays));
    life.expect_line("/tmp/rules",
                     "iptables -t nat -A POSTROUTING -o " + session.interface + " -j MASQUERADE");
    life.expect_line("/tmp/rules",
                     "iptables -A IN_FILTER  -d 192.168.0.20 -p tcp --dport 443:443  -j ACCEPT");
    EXPECT_EQ(root.setting("wan_ifname"), session.interface);
    EXPECT_EQ(life.board("process"), with(session.processes));
    EXPECT_EQ(life.board("circuit"), Lines{"0.8.35"});
    EXPECT_EQ(life.board("module"), (Lines{"fast_br", "ip_conntrack_sip", "ip_nat_sip", "wl"}));
    EXPECT_TRUE(life.has_default_route());
    life.expect_gone({"/var/run/my_pid", "/var/run/rc.vpn.run", "/var/run/rc.dnrd.run"});
    expect_lan_files(life);
}

void over_ppp(Life &life)
{
    SCOPED_TRACE("PPP over Ethernet, then over ATM");
    bench::Root &root = life.root();
    life.rc("wan start");
    expect_up(life, {"ppp0", "203.0.113.10", {"br2684ctl", "pppd"}, ""});
    life.expect_file("/etc/resolv.conf", kProviderServers);
    life.expect_file("/proc/led", "g3 on\n");
    EXPECT_EQ(root.read("/etc/ppp/ip-up"), root.read("/usr/etc/ppp/ip-up-demand"));
    EXPECT_EQ(root.read("/etc/ppp/ip-down"), root.read("/usr/etc/ppp/ip-down"));

    life.set("wan_mode", "pppoa");
    life.set("pppoa_idle", "5");
    life.set("wan_dod", "1");
    const bench::Trace trace = life.rc("wan restart");
    // With an idle time the daemon is left to itself: no minute is waited for it.
    EXPECT_TRUE(std::none_of(trace.events.begin(), trace.events.end(), [](const bench::Event &event) {
        return event.kind == bench::Kind::kSleep && event.number == 60;
    }));
    expect_up(life, {"ppp0", "203.0.113.10", {"pppd"}, ""});
    EXPECT_EQ(root.read("/etc/ppp/ip-up"), root.read("/usr/etc/ppp/ip-up-demand"));
    life.expect_file("/proc/led", "g3 on\n");
}

void over_atm(Life &life)
{
    SCOPED_TRACE("IP over ATM, routed and classical");
    bench::Root &root = life.root();
    life.set("wan_mode", "ipoa");
    life.rc("wan restart");
    EXPECT_EQ(root.setting("ipoa_mode"), "1483");
    expect_up(life, {"nas0", "203.0.113.20", {"rt2684d"}, kCheckEveryMinute});
    life.expect_gone({"/tmp/ipoa_server"});
    life.expect_file("/etc/ppp/ip-down", "#!/bin/sh\n");

    // The provider has an address server after all, and the user asks for a new probe.
    life.set("ipoa_mode", "");
    root.write("/.bench/board/server", "");
    life.rc("wan restart");
    EXPECT_EQ(root.setting("ipoa_mode"), "1577");
    expect_up(life, {"atm1", "203.0.113.30", {"atmarpd"}, kCheckEveryMinute});
    life.expect_file("/tmp/ipoa_server", "203.0.113.1");
}

void over_ethernet(Life &life)
{
    SCOPED_TRACE("DHCP, a fixed address, and bridged");
    bench::Root &root = life.root();
    const Session session = {"nas0", "203.0.113.20", {"br2684ctl"}, kCheckEveryMinute};
    life.set("ddns_enable", "1");
    life.set("wan_mode", "dhcpc");
    life.rc("wan restart");
    Session by_dhcp = session;
    by_dhcp.processes = {"br2684ctl", "ez-ipupdate", "udhcpc"};
    expect_up(life, by_dhcp);
    life.expect_file("/etc/resolv.conf", "nameserver 198.51.100.53\n");
    life.expect_file("/proc/led", "g3 on\n");

    // The services run before the WAN is marked as up, so the name is not told this time.
    life.set("wan_mode", "ip");
    life.rc("wan restart");
    expect_up(life, session);
    life.expect_file("/proc/led", "g3 on\n");
    life.set("ddns_enable", "0");

    life.set("wan_mode", "bridge");
    const bench::Trace trace = life.rc("wan restart");
    EXPECT_TRUE(called(trace, {"/usr/sbin/brctl", "addif", "br0", "nas0"}));
    EXPECT_EQ(root.setting("wan_ifname"), "nas0");
    EXPECT_EQ(life.board("process"), with({"br2684ctl"}));
    EXPECT_EQ(life.board("module"), (Lines{"ip_conntrack_sip", "ip_nat_sip", "wl"}));
    EXPECT_EQ(life.board("circuit"), Lines{"0.8.35"});
    life.expect_gone({"/tmp/wan_uptime", "/tmp/wan_ipaddr", "/var/run/my_pid"});
    life.expect_file("/proc/led", "g7 off\n");
    // Addresses and port mappings are those of the network beyond.
    life.rc("dhcpd restart");
    life.rc("upnp restart");
    life.expect_runs("udhcpd", false);
    life.expect_runs("miniupnpd", false);
}

void home_again(Life &life)
{
    SCOPED_TRACE("PPP over Ethernet again");
    life.set("wan_mode", "pppoe");
    life.set("wan_dod", "0");
    life.rc("wan restart");
    life.rc("dhcpd restart");
    expect_up(life, {"ppp0", "203.0.113.10", {"br2684ctl", "pppd"}, ""});
}

// ---- settings changed -----------------------------------------------------------------------------------

void change_filter(Life &life)
{
    SCOPED_TRACE("packet filter and schedule");
    const std::string before = life.root().read("/tmp/rules").value_or("");
    EXPECT_EQ(before.find("-I DMZ"), std::string::npos);
    life.set("fw_dmz_enable", "1");
    life.rc("firewall create");
    const std::string after = life.root().read("/tmp/rules").value_or("");
    EXPECT_NE(after.find("-I DMZ"), std::string::npos);
    EXPECT_NE(after.find("192.168.0.40"), std::string::npos);
    life.rc("firewall stop");
    life.expect_file("/proc/sys/net/ipv4/ip_forward", "0\n");
    const bench::Trace trace = life.rc("firewall restart");
    EXPECT_TRUE(called(trace, {"iptables", "-C", "/tmp/rules"}));
    life.expect_file("/tmp/rules", after);
    life.expect_file("/proc/sys/net/ipv4/ip_forward", "1\n");
    life.set("fw_dmz_enable", "0");
    life.rc("firewall restart");
    life.expect_file("/tmp/rules", before);

    life.set("fw_schedule", "0000010:22:0-6:0\x01");
    life.rc("schedule restart");
    life.expect_file("/proc/net/ipt_condition/schedule", "0\n");
    life.expect_file("/etc/crontab", jobs("",
                                          "0 22 * * 5 root /usr/sbin/rc schedule restart\n"
                                          "0 6 * * 5 root /usr/sbin/rc schedule restart\n"));
    life.set("fw_schedule", "1111111:0:0-24:0\x01");
    life.rc("schedule restart");
    life.expect_file("/proc/net/ipt_condition/schedule", "1\n");
    life.expect_file("/etc/crontab", jobs("", "0 0 * * 0,1,2,3,4,5,6 root /usr/sbin/rc schedule restart\n"));
    life.set("fw_schedule", "0111110:8:30-17:0\x01");
    life.rc("schedule restart");
    life.expect_file("/etc/crontab", jobs("", kWorkingDays));
}

void switch_off_and_on(Life &life, const std::string &setting, const std::string &service,
                       const std::string &daemon)
{
    life.set(setting, "0");
    life.rc(service + " restart");
    life.expect_runs(daemon, false);
    life.set(setting, "1");
    life.rc(service + " restart");
    life.expect_runs(daemon);
}

void change_lan(Life &life)
{
    SCOPED_TRACE("LAN, DHCP, routes");
    life.set("lan_ipaddr", "192.168.7.1");
    life.set("lan_bipaddr", "192.168.7.255");
    life.set("dhcp_start_ip", "192.168.7.10");
    life.set("dhcp_end_ip", "192.168.7.99");
    life.set("dhcp_reserved", "out;192.168.7.100;02:4b:51:00:10:01\x01in;192.168.7.99;024b51001002\x01");
    const bench::Trace trace = life.rc("lan restart");
    EXPECT_TRUE(called(trace, {"/sbin/ifconfig", "br0", "192.168.7.1", "netmask", "255.255.255.0",
                               "broadcast", "192.168.7.255"}));
    life.rc("dhcpd restart");
    life.expect_runs("udhcpd");
    life.expect_line("/etc/udhcpd.conf", "server\t\t192.168.7.1");
    life.expect_line("/etc/udhcpd.conf", "end\t\t192.168.7.99");
    // The leases of the old network are gone, and a reservation outside the pool is none.
    life.expect_file("/var/udhcpd.leases",
                     reservation(bytes("\x02\x4B\x51\x00\x10\x02", 6), bytes("\xC0\xA8\x07\x63", 4), "in"));
    life.rc("dnrd restart");
    life.expect_line("/etc/hosts", "192.168.7.1 www.routersetup.home");

    life.set("rt_static_route",
             "a:10.9.8.0:255.255.255.0:192.168.7.2:3:1:1\x01"
             "b:10.7.0.0:255.255.0.0:192.168.7.3:3:0:1\x01");
    const bench::Trace routes = life.rc("route restart");
    EXPECT_TRUE(called(routes, {"/sbin/route", "del", "-net", "10.7.0.0", "netmask", "255.255.0.0", "gw",
                                "192.168.7.3", "metric", "3"}));
    EXPECT_TRUE(called(routes, {"/sbin/route", "add", "-net", "10.9.8.0", "netmask", "255.255.255.0", "gw",
                                "192.168.7.2", "metric", "3"}));
    life.expect_file("/tmp/sroute", "10.9.8.0 24 192.168.7.2\n");
    life.set("rt_rip_direction", "o");
    life.rc("ripd restart");
    life.expect_runs("routed");
    switch_off_and_on(life, "dhcp_server_enable", "dhcpd", "udhcpd");
}

void change_router(Life &life)
{
    SCOPED_TRACE("pages, log, time, port mapping");
    life.set("wiz_language", "German");
    life.set("http_password", "");
    const bench::Trace pages = life.rc("httpd restart");
    // A link to a directory stays where it is, so the pages change with the next boot, this one at once.
    EXPECT_TRUE(ran(pages, "/bin/ln -sf /www.deu /tmp/www"));
    EXPECT_EQ(life.root().read("/etc/block.htm"), life.root().read("/www.deu/block.htm"));
    life.expect_gone({"/etc/htpasswd"});
    life.expect_runs("mini_httpd");
    life.set("log_type", "1");
    life.rc("syslogd restart");
    life.expect_line("/etc/syslog.conf", "log_remote_ip=192.168.7.255");
    life.expect_runs("syslogd");
    life.set("fw_time_zone", "-5b");
    life.rc("timezone restart");
    life.expect_file("/etc/TZ", "EST5EDT,M3.2.0,M11.1.0\n");
    life.set("fw_time_zone", "+1a");
    life.rc("timezone restart");
    life.expect_file("/etc/TZ", "CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00\n");
    life.set("ntp_custom", "1");
    life.set("ntp_server", "ntp.example.net");
    const bench::Trace clock = life.rc("ntp restart");
    EXPECT_TRUE(called(clock, {"/usr/sbin/veltrax_ntp", "-z", "CET-1", "-h", "ntp.example.net"}));
    life.expect_file("/tmp/ntp_start", "\n");
    switch_off_and_on(life, "upnp_enable", "upnp", "miniupnpd");
}

void change_names(Life &life)
{
    SCOPED_TRACE("DNS: fixed servers, blank router, captured LAN, dynamic name");
    life.set("wan_fix_dns", "1");
    life.set("wan_dns1", "192.0.2.53");
    life.set("wan_dns2", "192.0.2.54");
    life.rc("wan_basic restart");
    life.rc("dhcpd restart");
    life.expect_file("/etc/resolv.conf", "nameserver 192.0.2.53\nnameserver 192.0.2.54\n");
    life.expect_line("/etc/udhcpd.conf", "option\tdns\t192.0.2.54");

    life.set("blank_state", "1");
    const bench::Trace blank = life.rc("dnrd restart");
    EXPECT_TRUE(ran(blank, "dnrd -a 192.168.7.1 -m hosts -c off -g routersetup.home -b"));
    life.expect_file("/tmp/blank_state.out", "\n");
    life.set("blank_state", "0");
    const bench::Trace normal = life.rc("dnrd restart");
    EXPECT_TRUE(called(normal, {"dnrd", "-a", "192.168.7.1", "-m", "hosts", "-c", "off", "--timeout=0", "-b",
                                "-s", "192.0.2.53", "-s", "192.0.2.54"}));
    life.expect_gone({"/tmp/blank_state.out"});

    bench::Trace trace = life.run("dnshj start");
    life.expect_file("/tmp/dnshj.out", "\n");
    EXPECT_EQ(life.root().read("/tmp/ca/indexdnshj.htm"), life.root().read("/www.eng/ca/indexdnshj.htm"));
    EXPECT_EQ(life.root().read("/tmp/ca/setup.cgi"), life.root().read("/etc/setup.cgi"));
    EXPECT_TRUE(called(trace, {"rc", "httpd", "stop"}));
    EXPECT_TRUE(called(trace, {"/tmp/mini_httpd", "-d", "/tmp", "-r", "VELTRAX KQ417 ", "-c", "**.cgi", "-f",
                               "indexdnshj.htm", "-t", "300"}));
    trace = life.run("dnshj stop");
    EXPECT_TRUE(called(trace, {"iptables", "-C", "/tmp/rules"}));
    EXPECT_TRUE(called(trace, {"rc", "httpd", "restart"}));
    life.expect_gone({"/tmp/dnshj.out"});
    life.expect_runs("mini_httpd");

    life.rc("ddns start");
    life.expect_runs("ez-ipupdate", false);
    life.set("ddns_enable", "1");
    life.rc("ddns start");
    life.expect_runs("ez-ipupdate");
}

void change_radio(Life &life)
{
    SCOPED_TRACE("radio");
    life.set("wifi_wep_on", "1");
    const bench::Trace weak = life.rc("wlan restart");
    EXPECT_TRUE(called(weak, {"/usr/sbin/wlctl", "addwep", "-C", "0", "0", "0123456789"}));
    life.expect_runs("nas", false);
    life.expect_file("/tmp/wlan_uptime", kUptime);
    life.set("wifi_if_on", "0");
    life.rc("wlan restart");
    life.expect_gone({"/tmp/wlan_uptime"});
    EXPECT_EQ(life.board("module"), (Lines{"ip_conntrack_sip", "ip_nat_sip"}));
    life.set("wifi_if_on", "1");
    life.set("wifi_wep_on", "3");
    life.set("wifi_region", "Israel");
    life.set("wifi_channel", "11");
    const bench::Trace strong = life.rc("wlan restart");
    EXPECT_TRUE(called(strong, {"/usr/sbin/wlctl", "wpa_auth", "-C", "0", "128"}));
    EXPECT_EQ(life.root().setting("wifi_channel"), "5");
    life.expect_runs("nas");
    life.expect_file("/tmp/wlan_uptime", kUptime);
    EXPECT_EQ(life.board("module"), (Lines{"fast_br", "ip_conntrack_sip", "ip_nat_sip", "wl"}));
}

// ---- tunnels and the line -------------------------------------------------------------------------------

void expect_tunnel(Life &life)
{
    const std::string table = life.root().read("/var/tmp/vpn.conf").value_or("");
    ASSERT_EQ(table.size(), 5472U);
    EXPECT_EQ(table.substr(0, 8), bytes("\x01office\0", 8));
    EXPECT_EQ(table.substr(14, 5), bytes("ppp0\0", 5));
    EXPECT_EQ(table.substr(150, 13), bytes("203.0.113.10\0", 13));
    EXPECT_EQ(table.substr(183, 12), bytes("203.0.113.1\0", 12));
    EXPECT_EQ(table.substr(660, 4), bytes("\x00\x00\x0E\x10", 4));
    life.expect_file("/etc/ipsec.secrets", "203.0.113.10 198.51.100.99: PSK \"secret\"\n");
    life.expect_file("/proc/sys/net/ipv4/conf/all/rp_filter", "0\n");
    life.expect_runs("pluto");
    EXPECT_TRUE(life.root().exists("/var/run/pluto/pluto.pid"));
}

void expect_no_tunnel(Life &life)
{
    life.expect_runs("pluto", false);
    life.expect_gone({"/var/tmp/vpn.conf", "/var/run/pluto/pluto.pid"});
}

void tunnel(Life &life)
{
    SCOPED_TRACE("tunnel");
    life.set("vpn", kTunnel);
    life.rc("vpn restart");
    expect_tunnel(life);
    const bench::Trace again = life.rc("vpn start");
    EXPECT_TRUE(called(again, {"/usr/sbin/ipsec", "whack", "--shutdown"}));
    expect_tunnel(life);
    const bench::Trace stop = life.rc("vpn stop");
    EXPECT_TRUE(called(stop, {"/usr/sbin/iptables", "-t", "nat", "-F", "VPN"}));
    expect_no_tunnel(life);
    life.expect_file("/proc/br_trigger", ":");
    life.rc("vpn start");
    expect_tunnel(life);
}

void line_lost(Life &life)
{
    SCOPED_TRACE("session and line lost and found");
    bench::Root &root = life.root();
    // The session alone: its scripts take the mark away and bring it back; the address is the same, so the
    // services stay as they are.
    (void)root.shell("sh /etc/ppp/ip-down ppp0 nas0 0 203.0.113.10 203.0.113.1");
    life.expect_gone({"/tmp/wan_uptime"});
    life.expect_file("/proc/led", "g3 off\n");
    (void)root.shell("sh /etc/ppp/ip-up ppp0 nas0 0 203.0.113.10 203.0.113.1");
    life.expect_file("/tmp/wan_uptime", kUptime);
    EXPECT_TRUE(life.rc("service restart").events.empty());

    // The line: everything on it goes down and stays down.
    root.write("/.bench/board/line.lost", "");
    life.rc("wan restart");
    expect_no_tunnel(life);
    EXPECT_EQ(life.board("circuit"), Lines{});
    life.expect_runs("pppd", false);
    life.expect_runs("br2684ctl", false);
    EXPECT_FALSE(life.has_default_route());
    life.expect_file("/proc/led", "g7 off\n");
    life.expect_file("/etc/ppp/ip-down", "#!/bin/sh\n");
    life.expect_gone({"/tmp/wan_uptime", "/tmp/wan_ipaddr", "/var/run/my_pid"});

    root.remove("/.bench/board/line.lost");
    life.rc("wan restart");
    expect_tunnel(life);
    life.expect_runs("pppd");
    life.expect_runs("ez-ipupdate");
    life.expect_file("/tmp/wan_uptime", kUptime);
    life.expect_file("/tmp/wan_ipaddr", "203.0.113.10");
    life.expect_file("/proc/led", "g3 on\n");
    life.expect_file("/etc/resolv.conf", "nameserver 192.0.2.53\nnameserver 192.0.2.54\n");
    EXPECT_TRUE(life.has_default_route());
}

void gateway_silent(Life &life)
{
    SCOPED_TRACE("silent gateway, in a mode that is watched");
    life.set("wan_mode", "dhcpc");
    life.rc("wan restart");
    life.expect_file("/proc/led", "g3 on\n");
    life.root().write("/.bench/board/line.lost", "");
    life.rc("check_conn start");
    life.expect_file("/proc/led", "g7 on\n");
    life.root().remove("/.bench/board/line.lost");
    life.rc("check_conn start");
    life.expect_file("/proc/led", "g3 on\n");
    (void)life.root().shell("interface=nas0 sh /etc/udhcpc.script deconfig");
    life.expect_gone({"/tmp/wan_uptime"});
    (void)life.root().shell("interface=nas0 ip=203.0.113.20 router=203.0.113.1 sh /etc/udhcpc.script bound");
    life.expect_file("/tmp/wan_uptime", kUptime);
}

// ---- the end --------------------------------------------------------------------------------------------

void shutdown(Life &life)
{
    SCOPED_TRACE("shutdown and the next boot");
    bench::Root &root = life.root();
    life.rc("wan stop");
    life.rc("service stop");
    life.rc("stop");
    // The dynamic name's client is ended by the next start of its own alone.
    EXPECT_EQ(life.board("process"), Lines{"ez-ipupdate"});
    EXPECT_EQ(life.board("circuit"), Lines{});
    EXPECT_EQ(life.board("module"), (Lines{"ip_conntrack_sip", "ip_nat_sip"}));
    EXPECT_FALSE(life.has_default_route());
    life.expect_file("/proc/sys/net/ipv4/ip_forward", "0\n");
    life.expect_gone({"/tmp/wan_uptime", "/tmp/wlan_uptime", "/tmp/ntp_start", "/var/tmp/vpn.conf"});
    EXPECT_TRUE(fs::is_empty(root.host_path("/var/run/pluto")));

    // Nothing was committed: the working copy goes with the memory, the flash still holds the defaults.
    EXPECT_EQ(root.setting("lan_ipaddr"), "192.168.7.1");
    root.remove("/tmp/nvram");
    life.rc("init");
    EXPECT_EQ(root.settings(), root.settings("/etc/default"));
    life.rc("start");
    life.expect_line("/etc/hosts", "192.168.0.1 www.routersetup.home");
}

void live(const bench::Target &target)
{
    Life life(target);
    for (const auto step :
         {boot, over_ppp, over_atm, over_ethernet, home_again, change_filter, change_lan, change_router,
          change_names, change_radio, tunnel, line_lost, gateway_silent, shutdown}) {
        step(life);
        if (testing::Test::HasFailure()) {
            return;
        }
    }
}

TEST(WholeLife, OnTheWorkstation)
{
    live(built_rc());
}

TEST(WholeLife, OnTheTarget)
{
    const auto target = built_rc_of_target();
    if (!target) {
        GTEST_SKIP() << kNeedsTarget;
    }
    live(*target);
}

}  // namespace
