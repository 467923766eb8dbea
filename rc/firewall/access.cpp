// Access rules: the user's inbound and outbound rules for services, always or by schedule.
//
// Reads:  wan_ifname fw_in_rules lan_if fw_out_rules fw_services fw_services_def
// Needs:  lan wan
//
// A rule names a service; the service's protocol and ports come from the user's definitions or else from the
// built-in ones. Inbound rules forward (or drop) in the nat table before routing, with a second line that
// lets the forwarded traffic through the filter table; outbound rules are in the filter table.
//
// A rule of a service that is not defined is built from what the search left behind, which is why the
// definitions keep book of the fields they set.

#include "rc/firewall/internal.h"

#include <bit>
#include <cstring>

#include "rc/firewall/rules.h"
#include "rc/nvram.h"
#include "rc/record.h"
#include "rc/text.h"

namespace {

constexpr size_t kAddressSize = 63 + 1;  // an address, a subnet or a range
constexpr size_t kTextSize = 256;        // the longest text built below: a match of two addresses

constexpr const char *kWhileActive = "-m condition --condition schedule ";
constexpr const char *kWhileNotActive = "-m condition ! --condition schedule ";

constexpr int kActions = 4;
enum Action { kBlock = 0, kBlockBySchedule = 1, kAllow = 2, kAllowBySchedule = 3 };

// What an access rule record says.
struct Rule {
    int enable;
    char service[sizeof(FwService::name)];
    int action;
    char lan[kAddressSize];
    char wan[kAddressSize];
    int log;  // 1: matches and others, 2: matches, 3: others

    bool logs_others() const { return log == 1 || log == 3; }
    bool logs_matches() const { return log == 1 || log == 2; }
};

// The texts that a rule's lines are made of.
struct Pieces {
    Direction direction;
    int action;
    const char *lan;
    const char *chain;
    const char *condition;
    char match[kTextSize];
    char others[kTextSize];  // the match with its source negated
    char target[kTextSize];
    char log_match[kTextSize];   // empty: not logged
    char log_others[kTextSize];  // empty: not logged
};

template <size_t N, typename... Values>
void fill(char (&text)[N], const char *format, Values... values)
{
    fw_fill(text, N, format, values...);
}

// ---- services -----------------------------------------------------------------------------------------

// Parses one definition into `service`; fields that it does not reach stay. The number of fields set.
int parse_service(const char *record, FwService &service)
{
    Scan scan = {record};
    const int fields = scan_fields(scan, ':', service.name, service.protocol, service.first_port);
    return fields == 3 && scan_char(scan, '-') && scan_int(scan, service.last_port) ? 4 : fields;
}

// Puts the first `fields` fields of one service into another.
void take_fields(FwService &service, const FwDefinition &definition)
{
    if (definition.fields >= 1) {
        memcpy(service.name, definition.service.name, sizeof service.name);
    }
    if (definition.fields >= 2) {
        memcpy(service.protocol, definition.service.protocol, sizeof service.protocol);
    }
    if (definition.fields >= 3) {
        service.first_port = definition.service.first_port;
    }
    if (definition.fields >= 4) {
        service.last_port = definition.service.last_port;
    }
}

// The next definition worth keeping after `count` others. An empty record behind another changes nothing on
// the way and is passed over, so that a list of mere separators takes no memory.
bool next_definition(std::string_view &list, std::string_view &record, size_t count)
{
    bool found = next_record(list, record);
    while (found && record.empty() && count > 0) {
        found = next_record(list, record);
    }
    return found;
}

// A place of an index for this name: where it is, or the empty one where it would be.
uint32_t &index_place(FwServiceList &list, const char *name)
{
    uint32_t hash = 2166136261U;
    for (const char *c = name; *c != '\0'; ++c) {
        hash = (hash ^ static_cast<unsigned char>(*c)) * 16777619U;
    }
    const size_t last = list.index.size() - 1;
    size_t place = (hash ^ hash >> 15) & last;
    while (list.index[place] != 0 &&
           strcmp(list.definitions[list.index[place] - 1].service.name, name) != 0) {
        place = (place + 1) & last;
    }
    return list.index[place];
}

// At least half of the index stays empty, so that a search is short.
void index_names(FwServiceList &list)
{
    list.index.resize(std::bit_ceil(2 * list.definitions.size() + 1));
    for (uint32_t i = 0; i < list.definitions.size(); ++i) {
        const FwDefinition &definition = list.definitions[i];
        if (definition.fields > 0) {
            if (uint32_t &place = index_place(list, definition.service.name); place == 0) {
                place = i + 1;
            }
        }
    }
}

// ---- records ------------------------------------------------------------------------------------------

// Fields that the record does not reach keep what the record before left.
void parse_rule(const char *record, Rule &rule)
{
    Scan scan = {record};
    (void)scan_fields(scan, ':', rule.enable, rule.service, rule.action, rule.lan, rule.wan, rule.log);
}

// ---- the pieces of a line -----------------------------------------------------------------------------

const char *schedule_condition(const Rule &rule, Direction direction)
{
    switch (rule.action) {
        case kBlockBySchedule:
            // Inbound, to block by schedule is to forward outside it.
            return direction == Direction::kInbound ? kWhileNotActive : kWhileActive;
        case kAllowBySchedule:
            return kWhileActive;
        default:
            return "";
    }
}

// Filled with a mark for the source (a space, or "!" to negate it), the source and the destination. A
// destination that is a subnet is not written.
const char *address_template(AddressForm source, AddressForm destination)
{
    if (source == AddressForm::kRange) {
        switch (destination) {
            case AddressForm::kSingle:
                return "-m iprange %c --src-range %s -d %s ";
            case AddressForm::kRange:
                return "-m iprange %c --src-range %s --dst-range %s ";
            case AddressForm::kSubnet:
                return "-m iprange %c --src-range %s";
        }
    }
    switch (destination) {
        case AddressForm::kSingle:
            return "-s %c %s -d %s";
        case AddressForm::kRange:
            return "-s %c %s -m iprange --dst-range %s ";
        default:
            return "-s %c %s ";
    }
}

const char *router_address(FwServices &services)
{
    if (!services.address) {
        services.address = services.wan_address();
    }
    return services.address->c_str();
}

void fill_matches(const Rule &rule, FwServices &services, Pieces &pieces)
{
    if (pieces.direction == Direction::kOutbound) {
        const char *format = address_template(ip_type(rule.lan), ip_type(rule.wan));
        fill(pieces.match, format, ' ', rule.lan, rule.wan);
        if (rule.logs_others()) {
            fill(pieces.others, format, '!', rule.lan, rule.wan);
        }
        return;
    }
    // Deliberate: the destination is written as the form of the LAN address asks for it, but it is the
    // router's own WAN address.
    const char *format = address_template(ip_type(rule.wan), ip_type(rule.lan));
    const char *router = router_address(services);
    fill(pieces.match, format, ' ', rule.wan, router);
    if (rule.logs_others()) {
        fill(pieces.others, format, '!', rule.wan, router);
    }
}

void fill_target(const Rule &rule, const FwService &service, Pieces &pieces)
{
    if (rule.action < 0 || rule.action >= kActions) {
        // No such action: the lines match and do nothing.
        pieces.target[0] = '\0';
    } else if (rule.action == kBlock) {
        fill(pieces.target, "-j DROP");
    } else if (pieces.direction == Direction::kOutbound) {
        fill(pieces.target, rule.action == kBlockBySchedule ? "-j DROP" : "-j ACCEPT");
    } else if (strcmp(service.protocol, "any") == 0) {
        fill(pieces.target, "-j DNAT --to %s", rule.lan);
    } else {
        fill(pieces.target, "-j DNAT --to %s:%d-%d", rule.lan, service.first_port, service.last_port);
    }
}

void fill_logs(const Rule &rule, const FwService &service, Pieces &pieces)
{
    pieces.log_match[0] = '\0';
    pieces.log_others[0] = '\0';
    if (rule.logs_matches()) {
        fill(pieces.log_match, "-j LOG --log-prefix \"[%s rule match]\" ", service.name);
    }
    if (rule.logs_others()) {
        fill(pieces.log_others, "-j LOG --log-prefix \"[%s rule not match]\" ", service.name);
    }
}

// ---- lines --------------------------------------------------------------------------------------------

// The log lines and the rule itself, for a match and its negation, each complete with any port.
void write_rule(const Pieces &pieces, const char *match, const char *others)
{
    if (pieces.log_others[0] != '\0') {
        fw_rule("%s %s %s %s", pieces.chain, pieces.condition, others, pieces.log_others);
    }
    if (pieces.log_match[0] != '\0') {
        fw_rule("%s %s %s %s", pieces.chain, pieces.condition, match, pieces.log_match);
    }
    fw_rule("%s %s %s %s", pieces.chain, pieces.condition, match, pieces.target);
    if (pieces.direction == Direction::kInbound) {
        return;
    }
    // By schedule, an outbound rule comes with its opposite for the rest of the time.
    if (pieces.action == kBlockBySchedule) {
        fw_rule("%s %s %s -j ACCEPT", pieces.chain, kWhileNotActive, match);
    } else if (pieces.action == kAllowBySchedule) {
        fw_rule("%s %s %s -j DROP", pieces.chain, kWhileNotActive, match);
    }
}

bool forwards(const Pieces &pieces)
{
    return pieces.direction == Direction::kInbound && pieces.action != kBlock;
}

void write_port_lines(const Pieces &pieces, const char *port)
{
    char match[2 * kTextSize];
    char others[2 * kTextSize];
    fill(match, "%s %s", pieces.match, port);
    if (pieces.log_others[0] != '\0') {
        fill(others, "%s %s", pieces.others, port);
    }
    write_rule(pieces, match, others);
    if (forwards(pieces)) {
        fw_rule("%s -d %s %s %s", "-A IN_FILTER ", pieces.lan, port, "-j ACCEPT");
    }
}

void write_any_lines(const Pieces &pieces)
{
    write_rule(pieces, pieces.match, pieces.others);
    if (!forwards(pieces)) {
        return;
    }
    // Deliberate: any "-d" in the match counts, also the start of "--dst-range".
    if (contains(pieces.match, "-d")) {
        fw_rule("%s -d %s %s", "-A IN_FILTER ", pieces.lan, "-j ACCEPT");
    } else {
        fw_rule("%s -d %s %s %s", "-A IN_FILTER ", pieces.lan, pieces.match, "-j ACCEPT");
    }
}

void write_service_lines(const Pieces &pieces, const FwService &service)
{
    const std::string_view protocol = service.protocol;
    if (protocol == "any") {
        write_any_lines(pieces);
        return;
    }
    char port[kTextSize];
    if (protocol == "tcp" || protocol == "both") {
        fill(port, "-p tcp --dport %d:%d ", service.first_port, service.last_port);
        write_port_lines(pieces, port);
    }
    if (protocol == "udp" || protocol == "both") {
        fill(port, "-p udp --dport %d:%d ", service.first_port, service.last_port);
        write_port_lines(pieces, port);
    }
}

// A tunnel's own protocol passes with the service that sets the tunnel up.
void write_pass_through(const Pieces &pieces, int protocol)
{
    char target[kTextSize];
    strccpy(target, sizeof target, pieces.target, ':');
    fw_rule("%s %s %s -p %d %s ", pieces.chain, pieces.condition, pieces.match, protocol, target);
    if (pieces.action != kBlock) {
        // Deliberate: written for outbound rules too, to the LAN users as the destination.
        fw_rule("%s -p %d -d %s %s", "-A IN_FILTER ", protocol, pieces.lan, "-j ACCEPT");
    }
}

void write_tunnel_lines(const Pieces &pieces, std::string_view service)
{
    if (service == "VPN-IPSEC") {
        write_pass_through(pieces, 50);
    } else if (service == "VPN-L2TP") {
        write_pass_through(pieces, 115);
    } else if (service == "VPN-PPTP") {
        write_pass_through(pieces, 47);
    }
}

void write_lines(const Rule &rule, Direction direction, const FwService &service, FwServices &services)
{
    Pieces pieces;
    pieces.direction = direction;
    pieces.action = rule.action;
    pieces.lan = rule.lan;
    pieces.chain = direction == Direction::kOutbound ? "-A OUT_FILTER " : "-t nat -A NAPT ";
    pieces.condition = schedule_condition(rule, direction);
    fill_matches(rule, services, pieces);
    fill_target(rule, service, pieces);
    fill_logs(rule, service, pieces);
    write_service_lines(pieces, service);
    write_tunnel_lines(pieces, rule.service);
}

}  // namespace

AddressForm ip_type(std::string_view address)
{
    if (contains(address, "/")) {
        return AddressForm::kSubnet;
    }
    return contains(address, "-") ? AddressForm::kRange : AddressForm::kSingle;
}

void parse_services(std::string_view text, FwServiceList &list)
{
    FwDefinition walked = {};
    std::string_view record;
    while (next_definition(text, record, list.definitions.size())) {
        const int fields = parse_service(std::string(record).c_str(), walked.service);
        walked.fields = fields > walked.fields ? fields : walked.fields;
        list.definitions.push_back(walked);
    }
    index_names(list);
    list.parsed = true;
}

int search_serv(FwServiceList &list, FwService &service, const char *name)
{
    if (list.definitions.empty()) {
        return -1;
    }
    // Before the first definition with a name, the walk still holds the name it began with.
    if (list.definitions.front().fields == 0 && strcmp(service.name, name) == 0) {
        return 0;
    }
    if (const uint32_t place = index_place(list, name); place != 0) {
        take_fields(service, list.definitions[place - 1]);
        return 0;
    }
    take_fields(service, list.definitions.back());
    return -1;
}

int get_serv(FwServices &services, const char *name, FwService &service)
{
    if (!services.user.parsed) {
        parse_services(services.setting("fw_services"), services.user);
    }
    if (search_serv(services.user, service, name) == 0) {
        // Deliberate: as if it were not found; callers ignore the result, the service counts.
        return -1;
    }
    // Not read before it is needed: the first read adds the list to the working copy.
    if (!services.built_in.parsed) {
        parse_services(services.setting("fw_services_def"), services.built_in);
    }
    return search_serv(services.built_in, service, name);
}

void fw_access_rules(std::string_view list, Direction direction, FwServices &services)
{
    Rule rule = {};
    // Deliberate: not cleared between rules; a service that is not defined is what the last search left.
    FwService service = {};
    std::string text;
    std::string_view record;
    while (next_record(list, record)) {
        text.assign(record);
        parse_rule(text.c_str(), rule);
        if (rule.enable == 0) {
            continue;
        }
        (void)get_serv(services, rule.service, service);
        write_lines(rule, direction, service, services);
    }
}

void fw_access_sections()
{
    FwServices services = {nvram_text, fw_wan_address};
    fw_rule("%s -i ! %s -j RETURN", "-A IN_FILTER ", nvram_text("wan_ifname").c_str());
    fw_access_rules(nvram_text("fw_in_rules"), Direction::kInbound, services);
    fw_rule("%s -i ! %s -j RETURN", "-A OUT_FILTER ", nvram_text("lan_if").c_str());
    fw_access_rules(nvram_text("fw_out_rules"), Direction::kOutbound, services);
}
