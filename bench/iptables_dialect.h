// The router's iptables and today's: one reads a file of its own command lines ("iptables  -C FILE") in the
// words of its day, the other wants a restore file in the words of ours.
//
// Every difference is translated or, where today's tool refuses what the router's tool also refuses, left
// out; either way it is reported by name. Everything else passes as it is, so that what this translator
// does not know fails loudly at the tool that loads the result.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

// One line of a rules file, taken apart.
struct RuleCommand {
    std::string table = "filter";
    char command =
        '\0';  // F flush, X delete chain, N new chain, P policy, A append, I insert; NUL: none of them
    std::string chain;               // empty: all (F)
    std::vector<std::string> words;  // the rest in order; quoted text is one word with its quotes
};

RuleCommand parse_rule(std::string_view line);

enum class Difference {
    kOldNegation,      // "-i ! ppp0" for "! -i ppp0"
    kStringAlgorithm,  // a string match that names no algorithm
    kScanDetection,    // match psd: the platform's own; never matches here
    kScheduleFlag,     // match condition: the platform's own; decided when translated
    kPortTriggering,   // target PNAT: the platform's own; never marks here
    kBlockPage,        // reject type http-block: the platform's own; a reset here
    kDropInNat,        // refused today; marked there and dropped in the filter table
    kLongLogPrefix,    // more than 29 characters; cut
    kMissingChain,     // -X of a chain that is not there: left out
    kEmptyField,       // an option without its value: left out
};

// Its name for people: "old negation", "drop in nat"...
const char *difference_name(Difference difference);

struct DialectNote {
    size_t line = 0;  // counted from 1
    Difference difference = Difference::kOldNegation;
    bool left_out = false;
    bool operator==(const DialectNote &) const = default;
};

struct Dialect {
    std::string restore;  // for iptables-restore, tables nat and filter
    std::vector<DialectNote> notes;
};

// `schedule_active`: what the kernel's schedule flag says. Throws bench::Error for a line that is no command
// of the router's tool, or that works on a chain that is not there.
Dialect translate_rules(std::string_view rules, bool schedule_active);

}  // namespace bench
