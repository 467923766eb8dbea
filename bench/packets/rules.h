// The packet filter as data: tables, chains, and rules made of matches and a target.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace packets {

// The rules or a question cannot be used; says which line or word, and why.
struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

using Address = uint32_t;  // 192.168.0.1 is 0xc0a80001

std::string address_text(Address address);
// Four numbers and dots, as the filter tool reads them ("010" is octal). False: it is none.
bool parse_address(std::string_view text, Address &address);

struct Net {
    Address address = 0;
    Address mask = 0;  // 0: every address
    bool operator==(const Net &) const = default;
    bool has(Address other) const { return (other & mask) == address; }
};

Net net_of(Address address, int bits);

// ---- matches
// ------------------------------------------------------------------------------------------------

enum TcpFlag : uint8_t { kFin = 1, kSyn = 2, kRst = 4, kPsh = 8, kAck = 16, kUrg = 32, kAllFlags = 63 };

// What the connection tracking says of a packet; bits, as a match names several.
enum State : uint8_t { kNew = 1, kEstablished = 2, kRelated = 4, kInvalid = 8 };

constexpr int kIcmp = 1;
constexpr int kTcp = 6;
constexpr int kUdp = 17;

struct InterfaceMatch {
    bool output = false;
    std::string name;  // "ppp+": every name that begins so
    bool negated = false;
    bool operator==(const InterfaceMatch &) const = default;
};

struct AddressMatch {
    bool destination = false;
    Net net;
    bool negated = false;
    bool operator==(const AddressMatch &) const = default;
};

struct ProtocolMatch {
    int number = 0;  // 0: every protocol
    bool negated = false;
    bool operator==(const ProtocolMatch &) const = default;
};

struct PortMatch {
    bool destination = false;
    int first = 0;
    int last = 0;
    bool negated = false;
    bool operator==(const PortMatch &) const = default;
};

struct IcmpMatch {
    int type = 0;  // 255: every type
    int first_code = 0;
    int last_code = 255;
    bool negated = false;
    bool operator==(const IcmpMatch &) const = default;
};

// Of the flags in `looked_at` exactly those in `set` are set.
struct FlagMatch {
    uint8_t looked_at = 0;
    uint8_t set = 0;
    bool negated = false;
    bool operator==(const FlagMatch &) const = default;
};

struct StateMatch {
    uint8_t states = 0;
    bool negated = false;
    bool operator==(const StateMatch &) const = default;
};

struct LimitMatch {
    std::string rate = "3/hour";
    int burst = 5;
    bool operator==(const LimitMatch &) const = default;
};

struct RangeMatch {
    bool destination = false;
    Address first = 0;
    Address last = 0;
    bool negated = false;
    bool operator==(const RangeMatch &) const = default;
};

struct StringMatch {
    std::string text;
    bool negated = false;
    bool operator==(const StringMatch &) const = default;
};

struct MarkMatch {
    uint32_t value = 0;
    uint32_t mask = 0xffffffff;
    bool negated = false;
    bool operator==(const MarkMatch &) const = default;
};

// The kernel's flag "schedule".
struct ScheduleMatch {
    bool negated = false;
    bool operator==(const ScheduleMatch &) const = default;
};

// The platform's scan detection (psd).
struct ScanMatch {
    bool operator==(const ScanMatch &) const = default;
};

using Match =
    std::variant<InterfaceMatch, AddressMatch, ProtocolMatch, PortMatch, IcmpMatch, FlagMatch, StateMatch,
                 LimitMatch, RangeMatch, StringMatch, MarkMatch, ScheduleMatch, ScanMatch>;

// ---- targets
// ------------------------------------------------------------------------------------------------

enum class Action {
    kNothing,  // a rule without a target
    kAccept,
    kDrop,
    kReturn,
    kReject,
    kJump,
    kLog,
    kTcpmss,
    kPnat,  // marks what port triggering lets in
    kDnat,
    kRedirect,
    kSnat,
    kMasquerade
};

struct Target {
    Action action = Action::kNothing;
    std::string chain;          // kJump
    size_t chain_index = 0;     // kJump: its place in the table, once the rule set is complete
    bool maps_address = false;  // kDnat, kSnat
    Address first = 0;          // the addresses to choose from
    Address last = 0;
    bool maps_port = false;  // kDnat, kRedirect, kSnat, kMasquerade
    int first_port = 0;
    int last_port = 0;
    uint32_t mark = 0;   // kPnat
    std::string reject;  // kReject: "http-block", "icmp-port-unreachable"...
    std::string prefix;  // kLog
    std::string level;   // kLog; empty: the tool's default
    bool operator==(const Target &) const = default;
};

// True for the verdicts that end a packet's way through a table.
bool ends_table(Action action);

// ---- rules, chains, tables
// ----------------------------------------------------------------------------------

// What caused a line: a setting, and of a list setting the record (counted from 1; 0: no list). Empty
// setting: the framework, which is always there.
struct Origin {
    std::string setting;
    size_t record = 0;
    bool operator==(const Origin &) const = default;
};

struct Rule {
    std::vector<Match> matches;
    Target target;
    std::string text;  // its words, one space between them: "-A INPUT -i lo -j ACCEPT"
    size_t line = 0;   // in the order in which lines and commands were given, from 1
    Origin origin;
    bool old_negation = false;   // written with "!" behind the option
    bool has_algorithm = false;  // its string match names one

    bool same_as(const Rule &other) const { return matches == other.matches && target == other.target; }
};

struct Chain {
    std::string name;
    bool built_in = false;
    bool drops = false;  // the policy of a built-in chain
    Origin policy_origin = {};
    size_t policy_line = 0;
    std::vector<Rule> rules = {};
};

struct Table {
    std::string name;
    std::vector<Chain> chains;

    const Chain *find(std::string_view chain) const;
    Chain *find(std::string_view chain);
};

// Why the tool refuses a line.
enum class Why {
    kMissingChain,  // works on a chain that is not there
    kChainInUse,    // deletes a chain that is referred to or not empty, or makes one that is there
    kNoSuchRule,    // deletes a rule that is not there
    kBadWords,      // an empty field, a word too many, a value that is none
    kLongPrefix,    // a log prefix of more than 29 characters
};

struct Refusal {
    size_t line = 0;
    std::string text;
    Why why = Why::kBadWords;
    std::string reason;
};

struct RuleSet {
    Table nat;
    Table filter;
    std::vector<Refusal> refused;
    size_t lines = 0;
};

}  // namespace packets
