// The words of the router's filter tool: one command line, taken apart as the tool does it. An option takes
// the word behind it whatever that is, so an empty field makes the tool take the next option for the value
// and refuse the line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/packets/rules.h"

namespace packets {

struct Command {
    std::string table = "filter";
    char verb = '\0';    // A append, I insert, D delete, F flush, N new chain, X delete chain, P policy
    std::string chain;   // empty: all (F, X)
    size_t place = 0;    // I, D: the rule's number, from 1; 0: none given
    bool drops = false;  // P
    Rule rule;           // A, I, D; a target that is no built-in one is a jump
};

struct Parsed {
    std::optional<Command> command;  // none: refused
    Why why = Why::kBadWords;
    std::string reason;
};

// `words` without the tool's own name. Throws Error for a match, target, option or table that this model does
// not know, which is more than a refusal: the tool may well know it.
Parsed parse_command(const std::vector<std::string> &words);

}  // namespace packets
