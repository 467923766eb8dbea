// Which setting is behind each line of the packet filter's rules file, found by changing the settings.
//
// Every setting that rc reads is taken away in turn (one that says 0 is set to 1), then given another text;
// each time rc writes its rules anew, and the lines that are gone or read differently are that setting's. Of
// a list, the records are told apart the same way. Nothing here knows what any setting means, so the answer
// is the program's own, whichever program that is.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bench/router.h"

namespace bench {

// Several settings that each take the same lines with them are all named.
struct RuleOrigin {
    std::vector<std::string> settings;  // none: the line is always there
    size_t record = 0;                  // of the one setting's list, counted from 1; 0: not one record's
    bool operator==(const RuleOrigin &) const = default;
};

// "always", "fw_nat", "fw_in_rules 2", "fw_disable, fw_acc_lan".
std::string origin_text(const RuleOrigin &origin);

struct RulesFile {
    std::string text;                 // as rc wrote it
    std::vector<RuleOrigin> origins;  // one a line of it
};

// What `rc firewall create` writes in a router like this. Takes many runs of rc, about two seconds.
RulesFile rules_with_origins(const Target &target, const Setup &setup, const Run &like = {});

}  // namespace bench
