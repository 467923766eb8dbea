// What the parts of the linter share.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "forms/check.h"
#include "forms/lint/lint.h"

namespace forms {

// The settings as rc would find them.
class Store {
  public:
    explicit Store(const std::vector<Setting> &settings);

    const std::string &get(const std::string &key) const;
    long number(const std::string &key) const { return read_number(get(key)); }
    bool begins(const std::string &key, char first) const
    {
        return !get(key).empty() && get(key)[0] == first;
    }
    // A value that is fine by itself.
    bool is_fine(const std::string &key) const;
    std::optional<uint32_t> address(const std::string &key) const { return read_address(get(key)); }
    // Whether a run of rc reaches the bring-up of this mode.
    bool is_mode(const char *mode) const { return get("wan_mode") == mode; }

  private:
    std::map<std::string, std::string> values_;
};

// One record of a list, by its fields' names; only of records whose fields are all fine.
struct Record {
    int number = 0;
    std::map<std::string, std::string> fields;
    const std::string &operator[](const char *name) const { return fields.at(name); }
    long value(const char *name) const { return read_number(fields.at(name)); }
};

// Every record of the list; empty when one of them is not fine.
std::vector<Record> fine_records(const Store &store, const char *key);

struct Findings {
    std::vector<Finding> all;

    Finding &add(Grade grade, const char *code, const std::string &key, const std::string &message);
    Finding &add(Grade grade, const char *code, const std::string &key, const Record &record,
                 const char *field, const std::string &message);
};

Claim runs(const char *words, const std::string &text);
Claim never_runs(const char *words, const std::string &text);
Claim has(const char *words, const char *path, const std::string &text);
Claim lacks(const char *words, const char *path, const std::string &text);
Claim prints(const char *words, const std::string &text);

// The LAN's net, when address and netmask are fine.
struct Net {
    uint32_t address;
    uint32_t mask;
    bool holds(uint32_t other) const { return (other & mask) == (address & mask); }
    uint32_t first() const { return address & mask; }
    uint32_t last() const { return address | ~mask; }
    // Its number or its broadcast address, which no host has.
    bool ends_with(uint32_t other) const
    {
        return last() - first() > 2 && (other == first() || other == last());
    }
};
std::optional<Net> lan_net(const Store &store);

struct Span {
    uint32_t first;
    uint32_t last;
    bool covers(const Span &other) const { return first <= other.first && other.last <= last; }
    bool meets(const Span &other) const { return first <= other.last && other.first <= last; }
};
// One address, a range or a net.
std::optional<Span> read_span(const std::string &text);

// The hardware address of one device: neither nothing nor a group's.
bool is_one_device(const std::string &hardware);

// Why traffic for this LAN address gets nowhere, with the finding's name; empty: it does.
struct NoHost {
    std::string code;
    std::string why;
};
NoHost no_host(const Net &lan, uint32_t address, const std::string &front);

// What an inbound access rule sends to a LAN host.
struct Forwarding {
    int record = 0;  // of fw_in_rules
    std::string host;
    std::string protocol;
    long first = 0;
    long last = 0;
    bool takes(long port) const { return protocol == "any" || (first <= port && port <= last); }
};
// None when rules or services cannot be read as they are meant.
std::optional<std::vector<Forwarding>> forwardings(const Store &store);

void lint_values(const Store &store, const std::vector<Setting> &settings, Findings &findings);
void lint_texts(const Store &store, Findings &findings);
void lint_lan(const Store &store, Findings &findings);
void lint_wan(const Store &store, Findings &findings);
void lint_rules(const Store &store, Findings &findings);
void lint_forwarding(const Store &store, Findings &findings);
void lint_schedule(const Store &store, Findings &findings);
void lint_wireless(const Store &store, Findings &findings);
void lint_vpn(const Store &store, Findings &findings);

}  // namespace forms
