// Access rules: services that nobody defined, addresses that are not there, rules behind others.
#include <algorithm>

#include "forms/lint/internal.h"

namespace forms {

namespace {

constexpr const char *kRules = "/tmp/rules";
constexpr const char *kCreate = "firewall create";
constexpr Span kEverywhere = {0, 0xffffffffU};
constexpr const char *kNobody = "0.0.0.0";

struct Service {
    std::string protocol;
    long first = 0;
    long last = 0;
    bool covers(const Service &other) const
    {
        const bool same = protocol == "any" || protocol == other.protocol ||
                          (protocol == "both" && other.protocol != "any");
        return same && (protocol == "any" || (first <= other.first && other.last <= last));
    }
    bool meets(const Service &other) const
    {
        const bool same = protocol == other.protocol || protocol == "any" || other.protocol == "any" ||
                          protocol == "both" || other.protocol == "both";
        const bool is_any = protocol == "any" || other.protocol == "any";
        return same && (is_any || (first <= other.last && other.first <= last));
    }
};

// The services as rc looks them up: its last reading stays when the name is in no list.
class Services {
  public:
    explicit Services(const Store &store)
        : user_(fine_records(store, "fw_services")), built_in_(fine_records(store, "fw_services_def"))
    {
        is_known_ = (store.get("fw_services").empty() || !user_.empty()) &&
                    (store.get("fw_services_def").empty() || !built_in_.empty()) &&
                    !(user_.empty() && built_in_.empty());
    }
    // Both lists are fine, and there is a service.
    bool is_known() const { return is_known_; }
    const Record *find(const std::string &name) const
    {
        for (const std::vector<Record> *list : {&user_, &built_in_}) {
            for (const Record &one : *list) {
                if (one["name"] == name) {
                    return &one;
                }
            }
        }
        return nullptr;
    }
    // What a rule with another name is built with.
    const Record &last() const { return built_in_.empty() ? user_.back() : built_in_.back(); }

  private:
    std::vector<Record> user_;
    std::vector<Record> built_in_;
    bool is_known_ = false;
};

Service service_of(const Record &record)
{
    return {record["protocol"], record.value("first"), record.value("last")};
}

struct Rule {
    const Record *record;
    Service service;
    Span lan;
    Span wan;
    bool is_always;  // it decides at all times; an outbound rule by schedule has its opposite behind it
};

class RuleLinter {
  public:
    RuleLinter(const Store &store, Findings &findings, bool is_inbound)
        : store_(store),
          findings_(findings),
          services_(store),
          key_(is_inbound ? "fw_in_rules" : "fw_out_rules"),
          is_inbound_(is_inbound)
    {
    }

    void run()
    {
        const std::vector<Record> records = fine_records(store_, key_);
        for (const Record &record : records) {
            if (record["on"] == "1") {
                services_.is_known() ? lint_rule(record) : lint_rule_alone(record);
            }
        }
    }

  private:
    void lint_rule(const Record &record);
    void lint_rule_alone(const Record &record);
    void lint_service(const Record &record, const Record &used);
    void lint_lan(const Record &record);
    void lint_users(const Record &record, const Net &lan, const Span &users);
    void lint_nobody(const Record &record);
    void lint_net(const Record &record);
    void lint_order(const Rule &rule);

    const Store &store_;
    Findings &findings_;
    Services services_;
    const char *key_;
    bool is_inbound_;
    std::vector<Rule> rules_;
};

void RuleLinter::lint_rule(const Record &record)
{
    const Record *found = services_.find(record["service"]);
    const Record &used = found != nullptr ? *found : services_.last();
    if (found == nullptr) {
        lint_service(record, used);
    }
    if (used.value("first") > used.value("last") && used["protocol"] != "any") {
        findings_.add(
            Grade::kError, "ports-upside-down", key_, record, "service",
            "the ports of " + used["name"] + " end below their beginning, which the packet filter refuses");
    }
    lint_nobody(record);
    lint_lan(record);
    if (!is_inbound_) {
        lint_net(record);
    }
    Rule rule = {&record, service_of(used), read_span(record["lan"]).value_or(kEverywhere),
                 read_span(record["wan"]).value_or(kEverywhere),
                 !is_inbound_ || record["action"] == "0" || record["action"] == "2"};
    if (!is_inbound_ && record["wan"].find('/') != std::string::npos) {
        rule.wan = kEverywhere;  // a net as the destination is left out
    }
    lint_order(rule);
    rules_.push_back(rule);
}

// Without knowing what its service is.
void RuleLinter::lint_rule_alone(const Record &record)
{
    const std::string lists = "\x01" + store_.get("fw_services") + "\x01" + store_.get("fw_services_def");
    if (lists.find("\x01" + record["service"] + ":") == std::string::npos) {
        findings_.add(Grade::kError, "service-unknown", key_, record, "service",
                      "no service is called \"" + record["service"] + "\"");
    }
    lint_nobody(record);
    lint_lan(record);
    if (!is_inbound_) {
        lint_net(record);
    }
}

void RuleLinter::lint_service(const Record &record, const Record &used)
{
    const bool is_any = used["protocol"] == "any";
    const std::string ports = used["first"] + "-" + used["last"];
    const std::string what =
        is_any ? "every port" : used["protocol"] + " " + ports + ", the ports of " + used["name"];
    Finding &finding = findings_.add(Grade::kError, "service-unknown", key_, record, "service",
                                     "no service is called \"" + record["service"] + "\"");
    if (is_any || used.value("first") > used.value("last")) {
        finding.message += ", so the rule is for " + what;
        return;
    }
    finding.message += "; the router will make the rule for " + what;
    const bool is_tcp = used["protocol"] != "udp";
    finding.claims = {has(kCreate, kRules,
                          std::string("-p ") + (is_tcp ? "tcp" : "udp") + " --dport " +
                              std::to_string(used.value("first")) + ":" + std::to_string(used.value("last")) +
                              " ")};
}

void RuleLinter::lint_lan(const Record &record)
{
    const auto lan = lan_net(store_);
    const auto users = read_span(record["lan"]);
    if (!lan || !users) {
        return;
    }
    if (!is_inbound_) {
        lint_users(record, *lan, *users);
        return;
    }
    const Span senders = read_span(record["wan"]).value_or(kEverywhere);
    if (Span{lan->first(), lan->last()}.covers(senders)) {
        findings_.add(Grade::kWarning, "sender-on-lan", key_, record, "wan",
                      record["wan"] + " is on the LAN, so the rule is for nobody on the Internet");
    }
    const NoHost none = record["action"] == "0" ? NoHost() : no_host(*lan, users->first, "server");
    if (!none.code.empty()) {
        findings_
            .add(Grade::kError, none.code.c_str(), key_, record, "lan",
                 record["lan"] + " " + none.why + "; the router will forward to it all the same")
            .claims = {has(kCreate, kRules, " -j DNAT --to " + record["lan"])};
    }
}

// What is sent by hosts that are not there, or by the router itself, is never forwarded.
void RuleLinter::lint_users(const Record &record, const Net &lan, const Span &users)
{
    const bool is_outside = !Span{lan.first(), lan.last()}.meets(users);
    const bool is_router = users.first == lan.address && users.last == lan.address;
    if (record["lan"] != kNobody && (is_outside || is_router)) {
        findings_.add(Grade::kWarning, is_outside ? "users-outside-lan" : "users-are-router", key_, record,
                      "lan",
                      record["lan"] + (is_outside ? " is not on the LAN" : " is the router itself") +
                          ", so the rule never matches");
    }
}

// People write it for everybody.
void RuleLinter::lint_nobody(const Record &record)
{
    for (const char *field : {"lan", "wan"}) {
        if (record[field] == kNobody) {
            findings_.add(Grade::kError, "nobody", key_, record, field,
                          std::string(kNobody) + " is one address, which nobody has; 0.0.0.0/0 is everybody");
        }
    }
}

void RuleLinter::lint_net(const Record &record)
{
    const std::string &wan = record["wan"];
    const auto span = read_span(wan);
    if (wan.find('/') == std::string::npos || !span || span->covers(kEverywhere)) {
        return;
    }
    Finding &finding = findings_.add(Grade::kError, "destination-net", key_, record, "wan",
                                     "a net cannot be a destination; give a range");
    const std::string others = store_.get("fw_in_rules") + store_.get("fw_services") + store_.get("lan_if") +
                               store_.get("fw_block_keyword");
    const bool is_source = std::any_of(rules_.begin(), rules_.end(),
                                       [&](const Rule &one) { return (*one.record)["lan"] == wan; });
    const std::string &all = store_.get(key_);
    const bool is_users = all.find(":" + wan + ":", all.find(":" + wan + ":") + 1) != std::string::npos;
    if (others.find(wan) == std::string::npos && !is_source && !is_users) {
        finding.message += "; the router will make the rule for every destination";
        finding.claims = {lacks(kCreate, kRules, wan)};
    }
}

void RuleLinter::lint_order(const Rule &rule)
{
    for (const Rule &earlier : rules_) {
        const std::string number = std::to_string(earlier.record->number);
        const bool same_users = is_inbound_ || earlier.lan.covers(rule.lan);
        const bool is_same = (*earlier.record)["service"] == (*rule.record)["service"] &&
                             (*earlier.record)["action"] == (*rule.record)["action"] &&
                             (*earlier.record)["lan"] == (*rule.record)["lan"] &&
                             (*earlier.record)["wan"] == (*rule.record)["wan"];
        const bool covers =
            same_users && earlier.wan.covers(rule.wan) && earlier.service.covers(rule.service);
        if (is_same || (earlier.is_always && covers)) {
            findings_.add(Grade::kWarning, is_same ? "rule-repeated" : "rule-never-matches", key_,
                          *rule.record, "",
                          is_same ? "repeats record " + number
                                  : "never matches: record " + number + " decides for all that it is for");
            return;
        }
        const bool is_forwarded =
            is_inbound_ && (*earlier.record)["action"] != "0" && (*rule.record)["action"] != "0";
        if (is_forwarded && (*earlier.record)["lan"] != (*rule.record)["lan"] &&
            earlier.wan.meets(rule.wan) && earlier.service.meets(rule.service)) {
            findings_.add(
                Grade::kWarning, "forwarded-twice", key_, *rule.record, "service",
                "some of its ports are forwarded by record " + number + " already, which comes first");
            return;
        }
    }
}

// ---- the services themselves ------------------------------------------------------------------------------

void lint_services(const Store &store, const char *key, Findings &findings)
{
    std::map<std::string, int> names;
    for (const Record &record : fine_records(store, key)) {
        const std::string &name = record["name"];
        if (record["protocol"] != "any" && record.value("first") > record.value("last")) {
            findings.add(
                Grade::kError, "ports-upside-down", key, record, "last",
                "the ports of " + name + " end below their beginning, which the packet filter refuses");
        }
        const auto [earlier, is_new] = names.emplace(name, record.number);
        if (!is_new) {
            findings.add(
                Grade::kWarning, "service-twice", key, record, "name",
                "record " + std::to_string(earlier->second) + " has this name too, and is the one found");
        }
    }
}

}  // namespace

std::optional<std::vector<Forwarding>> forwardings(const Store &store)
{
    const Services services(store);
    if (!services.is_known() || !store.is_fine("fw_in_rules")) {
        return std::nullopt;
    }
    std::vector<Forwarding> all;
    for (const Record &rule : fine_records(store, "fw_in_rules")) {
        if (rule["on"] == "1" && rule["action"] != "0") {
            const Record *found = services.find(rule["service"]);
            const Record &used = found != nullptr ? *found : services.last();
            all.push_back(
                {rule.number, rule["lan"], used["protocol"], used.value("first"), used.value("last")});
        }
    }
    return all;
}

void lint_rules(const Store &store, Findings &findings)
{
    lint_services(store, "fw_services", findings);
    lint_services(store, "fw_services_def", findings);
    RuleLinter(store, findings, true).run();
    RuleLinter(store, findings, false).run();
}

}  // namespace forms
