// What the packet filter's own files and the tests call in each other.
#pragma once

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// ---- the sections of the rule set, in the order in which create_firewall_cfg writes them ------------

// Choice: remote management asks for the address of the whole `wan_ifname`; only the names in its lines
// are cut.
void fw_remote_access();
// Choice: fields of a port-triggering record that are not reached keep the values of the record before.
// Choice: the start line of the port-triggering section is printed once.
void fw_port_triggering();
void fw_access_sections();
void fw_virtual_servers();
void fw_dmz();
void fw_ping_response();
// Choice: an empty keyword of the content blocking leaves an empty field.
void fw_content_blocking();
void fw_masquerading(int translation);    // fw_nat
void fw_messenger_blocking(int blocked);  // fw_import

// The router's WAN address, empty when it has none.
// Choice: without a WAN address its field is empty.
std::string fw_wan_address();

// ---- access rules -----------------------------------------------------------------------------------

enum class Direction { kInbound, kOutbound };

// How an address is written.
enum class AddressForm { kSingle = 1, kRange = 2, kSubnet = 3 };

AddressForm ip_type(std::string_view address);

// A service as the access rules use it.
struct FwService {
    char name[14 + 1];
    char protocol[4 + 1];  // tcp, udp, both, any
    int first_port;
    int last_port;
};

// What a record that was empty at the start of a list of definitions holds after walking it as far as this
// one; of its fields, only the first `fields` (in the order of FwService) were set on that way.
struct FwDefinition {
    FwService service;
    int fields;
};

// A list of service definitions, parsed once and indexed by name.
struct FwServiceList {
    std::vector<FwDefinition> definitions;
    // By hash of the name, a power of two of places: 0, or one more than the place of the first definition
    // after which the walk holds the name.
    std::vector<uint32_t> index;
    bool parsed = false;
};

// Fills an empty list.
void parse_services(std::string_view text, FwServiceList &list);

// As if walking the list and parsing every definition into `service` in turn. 0: stopped at the first after
// which its name is `name`; -1: the list ended, `service` holds what the walk left.
int search_serv(FwServiceList &list, FwService &service, const char *name);

// What access rules are built from. The functions are asked only when a rule needs the answer, and once.
struct FwServices {
    std::string (*setting)(const char *key);
    std::string (*wan_address)();
    FwServiceList user = {};
    FwServiceList built_in = {};
    std::optional<std::string> address = {};
};

// -1: found among the user's definitions; 0: found among the built-in ones; -1: found nowhere.
// Choice: the user's services are read at the first enabled rule, the built-in ones at the first name that
// is not among them.
int get_serv(FwServices &services, const char *name, FwService &service);

// Writes the lines of one rule list.
// Choice: an address of an access rule keeps 63 characters, a service name 14 (as its definition does);
// the rest of the field is skipped.
// Choice: an access rule with an action outside 0 to 3 has neither target nor condition: its lines match and
// do nothing. Choice: the live service record and the rule's fields start empty in each direction. An empty
// record repeats the one before.
void fw_access_rules(std::string_view list, Direction direction, FwServices &services);

// ---- schedule ---------------------------------------------------------------------------------------

constexpr int kWeekdays = 7;

// One schedule record: the weekdays ("1" at an index: in the schedule; 0 is Sunday) and a time of day.
struct SchedulePeriod {
    char days[kWeekdays + 1];
    int start_hour;
    int start_minute;
    int end_hour;
    int end_minute;
};

// What the record does not reach is empty or 0.
SchedulePeriod parse_period(const char *record);

// Whether the local time lies inside the period, seen one minute ahead.
bool period_open(const SchedulePeriod &period, const tm &local);

// Appends one schedule record's lines to the open crontab.
void create_schedule(const char *record, FILE *crontab);

// 1: the current local time lies inside the first schedule record, else 0. Prints the record's start.
// Choice: missing fields of the schedule are 0 or empty; with an empty schedule the check prints 0:0 and
// finds it closed.
int check_sche();
