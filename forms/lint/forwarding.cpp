// Virtual servers, the DMZ host and remote management.
#include <algorithm>

#include "forms/lint/internal.h"

namespace forms {

namespace {

constexpr const char *kRules = "/tmp/rules";
constexpr const char *kCreate = "firewall create";

bool forwards_everything(const Store &store)
{
    return store.number("fw_disable") == 1 ||
           (store.number("fw_nat") == 0 && store.number("fw_acc_lan") == 1);
}

// ---- virtual servers --------------------------------------------------------------------------------------

struct VirtualServer {
    long bit;
    const char *field;
    const char *port;         // its first, as it stands in the rules
    std::vector<long> ports;  // all of them
};

const std::vector<VirtualServer> &servers()
{
    static const std::vector<VirtualServer> all = {
        {1, "web", "80", {80, 443}},       {2, "ftp", "20:21", {20, 21}}, {4, "pop", "109", {109, 110}},
        {8, "mail", "25", {25, 143, 220}}, {16, "names", "53", {53, 42}}, {32, "telnet", "23", {23}}};
    return all;
}

std::string joined(const std::vector<long> &ports)
{
    std::string text;
    for (const long port : ports) {
        text += (text.empty() ? "" : ", ") + std::to_string(port);
    }
    return (ports.size() == 1 ? "port " : "ports ") + text;
}

// Its ports that no filter line lets in.
// Choice: a port counts as let in where an inbound rule for the host takes it, by TCP or UDP.
std::vector<long> kept_out(const Store &store, const VirtualServer &server, const std::string &host)
{
    const bool is_dmz = store.begins("fw_dmz_enable", '1') && store.get("fw_dmz") == host;
    const auto rules = forwardings(store);
    std::vector<long> ports;
    for (const long port : is_dmz || !rules ? std::vector<long>() : server.ports) {
        const bool is_let_in = std::any_of(rules->begin(), rules->end(), [&](const Forwarding &rule) {
            return rule.host == host && rule.takes(port);
        });
        if (!is_let_in) {
            ports.push_back(port);
        }
    }
    return ports;
}

void lint_let_in(const Store &store, const Record &record, const VirtualServer &server, const Claim &forwards,
                 Findings &findings)
{
    const std::string &host = record[server.field];
    const std::vector<long> ports = kept_out(store, server, host);
    if (forwards_everything(store) || ports.empty()) {
        return;
    }
    Finding &finding = findings.add(Grade::kError, "server-not-let-in", "fw_vs_serverA", record, server.field,
                                    "the router will forward to " + host + " and write no line that lets " +
                                        joined(ports) + " in; add an inbound rule for the service");
    finding.claims = {forwards};
    for (const long port : ports) {
        for (const char *protocol : {"tcp", "udp"}) {
            finding.claims.push_back(lacks(
                kCreate, kRules,
                "-A IN_FILTER  -d " + host + " -p " + protocol + " --dport " + std::to_string(port) + ":"));
        }
    }
}

// An access rule comes before a virtual server.
void lint_taken(const Store &store, const Record &record, const VirtualServer &server, Findings &findings)
{
    for (const Forwarding &rule : forwardings(store).value_or(std::vector<Forwarding>())) {
        for (const long port : server.ports) {
            if (rule.takes(port) && rule.host != record[server.field]) {
                findings.add(Grade::kWarning, "forwarded-twice", "fw_vs_serverA", record, server.field,
                             "port " + std::to_string(port) + " is forwarded to " + rule.host +
                                 " by record " + std::to_string(rule.record) +
                                 " of fw_in_rules, which comes first");
                return;
            }
        }
    }
}

void lint_server(const Store &store, const Record &record, const VirtualServer &server, Findings &findings)
{
    const std::string &host = record[server.field];
    const auto address = read_address(host);
    if (!address) {
        findings.add(Grade::kWarning, "server-missing", "fw_vs_serverA", record, server.field,
                     "this server is on in fw_vs_enableA and has no address");
        return;
    }
    const Claim forwards =
        has(kCreate, kRules, std::string(" --dport ") + server.port + " -j DNAT --to " + host + "\n");
    const auto lan = lan_net(store);
    if (const NoHost none = lan ? no_host(*lan, *address, "server") : NoHost(); !none.code.empty()) {
        findings
            .add(Grade::kError, none.code.c_str(), "fw_vs_serverA", record, server.field,
                 host + " " + none.why + "; the router will forward to it all the same")
            .claims = {forwards};
    }
    lint_let_in(store, record, server, forwards, findings);
    lint_taken(store, record, server, findings);
}

void lint_servers(const Store &store, Findings &findings)
{
    const std::vector<Record> records = fine_records(store, "fw_vs_serverA");
    if (!store.is_fine("fw_vs_enableA") || store.number("fw_vs_enableA") == 0) {
        return;
    }
    if (store.get("fw_vs_serverA").empty()) {
        findings
            .add(Grade::kWarning, "server-missing", "fw_vs_serverA",
                 "servers are on in fw_vs_enableA and none has an address; the router will forward nothing")
            .claims = {lacks(kCreate, kRules, "-t nat -A VS ")};
    }
    if (records.empty()) {
        return;
    }
    for (const VirtualServer &server : servers()) {
        if ((store.number("fw_vs_enableA") & server.bit) != 0) {
            lint_server(store, records[0], server, findings);
        }
    }
}

// ---- the DMZ host -----------------------------------------------------------------------------------------

void lint_dmz(const Store &store, Findings &findings)
{
    const auto host = store.address("fw_dmz");
    const auto lan = lan_net(store);
    if (!store.begins("fw_dmz_enable", '1') || !host || !lan) {
        return;
    }
    if (const NoHost none = no_host(*lan, *host, "dmz"); !none.code.empty()) {
        findings
            .add(
                Grade::kError, none.code.c_str(), "fw_dmz",
                store.get("fw_dmz") + " " + none.why + "; the router will send everything there all the same")
            .claims = {has(kCreate, kRules, " -p ! icmp -j DNAT --to " + store.get("fw_dmz") + "\n")};
    }
}

// ---- remote management ------------------------------------------------------------------------------------

std::string remote_line(const Store &store)
{
    return "-p tcp --dport " + std::to_string(store.number("fw_remote_port")) + " ";
}

void lint_remote_users(const Store &store, Findings &findings)
{
    const std::string &type = store.get("fw_remote_type");
    if (type == "3") {
        findings
            .add(Grade::kWarning, "remote-everyone", "fw_remote_type",
                 "the router will let everyone on the Internet reach its pages")
            .claims = {has(kCreate, kRules, remote_line(store) + "-d ")};
    } else if (type == "2") {
        const auto first = store.address("fw_remote_range_start");
        const auto last = store.address("fw_remote_range_end");
        if (first && last && *first > *last) {
            findings
                .add(Grade::kError, "range-upside-down", "fw_remote_range_start",
                     "the range begins above its end; the router will write it so, and nobody is in it")
                .claims = {has(kCreate, kRules,
                               " --src-range " + store.get("fw_remote_range_start") + "-" +
                                   store.get("fw_remote_range_end") + " -d ")};
        }
    } else if (type == "4") {
        bool has_entry = false;
        for (int i = 1; i <= 10; ++i) {
            const std::string &entry = store.get("fw_remote_list1_ip" + std::to_string(i));
            has_entry = has_entry || (!entry.empty() && entry[0] >= '0' && entry[0] <= '9');
        }
        if (!has_entry) {
            findings
                .add(Grade::kWarning, "remote-nobody", "fw_remote_type",
                     "the list has no entry; the router will let nobody in")
                .claims = {lacks(kCreate, kRules, remote_line(store) + "-s ")};
        }
    }
}

bool is_served(const Store &store, long port)
{
    const std::vector<Record> records = fine_records(store, "fw_vs_serverA");
    return !records.empty() && store.is_fine("fw_vs_enableA") &&
           std::any_of(servers().begin(), servers().end(), [&](const VirtualServer &server) {
               return (store.number("fw_vs_enableA") & server.bit) != 0 &&
                      read_address(records[0][server.field]) &&
                      std::count(server.ports.begin(), server.ports.end(), port) != 0;
           });
}

void lint_remote_port(const Store &store, Findings &findings)
{
    const long port = store.number("fw_remote_port");
    std::string where;
    for (const Forwarding &rule : forwardings(store).value_or(std::vector<Forwarding>())) {
        if (where.empty() && rule.protocol != "udp" && rule.takes(port)) {
            where = "record " + std::to_string(rule.record) + " of fw_in_rules";
        }
    }
    if (where.empty() && is_served(store, port)) {
        where = "a virtual server (fw_vs_serverA)";
    }
    if (!where.empty()) {
        findings.add(
            Grade::kWarning, "remote-port-forwarded", "fw_remote_port",
            "port " + std::to_string(port) + " is forwarded by " + where + " too; remote management gets it");
    }
}

// Nobody on the Internet has an address of the LAN.
void lint_remote_senders(const Store &store, Findings &findings)
{
    std::vector<std::string> keys;
    const std::string &type = store.get("fw_remote_type");
    if (type == "1") {
        keys = {"fw_remote_single"};
    } else if (type == "2") {
        keys = {"fw_remote_range_start", "fw_remote_range_end"};
    }
    for (int i = 1; type == "4" && i <= 10; ++i) {
        keys.push_back("fw_remote_list1_ip" + std::to_string(i));
    }
    const auto lan = lan_net(store);
    for (const std::string &key : keys) {
        const auto address = store.address(key);
        if (lan && address && lan->holds(*address)) {
            findings.add(Grade::kWarning, "sender-on-lan", key,
                         store.get(key) + " is on the LAN, and remote management is for those who are not");
        }
    }
}

void lint_remote(const Store &store, Findings &findings)
{
    if (store.number("fw_remote") != 1 || !store.is_fine("fw_remote_port")) {
        return;
    }
    lint_remote_users(store, findings);
    lint_remote_senders(store, findings);
    lint_remote_port(store, findings);
    if (store.get("http_password").empty()) {
        findings
            .add(Grade::kError, "remote-without-login", "http_password",
                 "remote management is on and there is no password; the router will ask nobody for a login")
            .claims = {lacks("httpd create", "/etc/htpasswd", ":")};
    }
}

void lint_trusted(const Store &store, Findings &findings)
{
    const auto host = store.address("fw_block_trust");
    const auto lan = lan_net(store);
    if (store.number("fw_block_trust_enable") == 1 && host && lan && !lan->holds(*host)) {
        findings.add(Grade::kWarning, "trusted-outside-lan", "fw_block_trust",
                     store.get("fw_block_trust") + " is not on the LAN, so nobody is exempt from blocking");
    }
}

void lint_blocking(const Store &store, Findings &findings)
{
    if (store.is_fine("fw_block") && store.number("fw_block") != 0 && store.get("fw_block_keyword").empty()) {
        findings
            .add(Grade::kNote, "no-keywords", "fw_block_keyword",
                 "blocking is on without keywords; the router will block nothing by keyword")
            .claims = {lacks(kCreate, kRules, " -j BLOCK\n")};
    }
}

}  // namespace

void lint_forwarding(const Store &store, Findings &findings)
{
    lint_servers(store, findings);
    lint_dmz(store, findings);
    lint_remote(store, findings);
    lint_trusted(store, findings);
    if (store.number("fw_import") != 1) {
        lint_blocking(store, findings);
    }
}

}  // namespace forms
